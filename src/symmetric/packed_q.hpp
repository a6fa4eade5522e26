#pragma once

// The orthogonal (unitary) matrix Q of a tridiagonal reduction in packed storage, A = Q T Q^H, from what it left in ap
// and tau (packed_reduction.hpp).
//
// Reflectors are taken in blocks, which are copied to full storage; one by one where there is no memory for that, or
// few reflectors.
//
// uplo    as in the reduction
// info    0, or -k: argument k was bad (reported)
//
// The real members are exported as ?op.. and the complex ones as ?up...

#include "base/types.hpp"

namespace nuv {

/// Forms Q.
///
/// q       n by n, ldq >= max(1, n)
/// work    n - 1 elements
template <Scalar T>
void opgtr(char uplo, Int n, const T* ap, const T* tau, T* q, Int ldq, T* work, Int& info);

/// C := op(Q) C (side 'L') or C op(Q) ('R') for a Q of order nq = m or n.
///
/// trans   'N': Q, 'T' (real) or 'C' (complex): Q^H
/// ap      read; the unit elements of the reflectors are put in place and taken back on the way
/// c       m by n, ldc >= max(1, m)
/// work    n (left) or m elements
template <Scalar T>
void opmtr(char side, char uplo, char trans, Int m, Int n, T* ap, const T* tau, T* c, Int ldc, T* work, Int& info);

}  // namespace nuv
