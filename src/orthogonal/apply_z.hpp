#pragma once

// Products with the orthogonal (unitary) Z of a trapezoidal reduction (trapezoidal.hpp):
//
//     C := op(Z) C (side 'L') or C op(Z) (side 'R')    C m by n, Z of order nq = m or n, the product of k reflectors
//
// trans   'N' for Z; 'T' (real) or 'C' (complex) for Z^H
// k       0 <= k <= nq
// l       elements of each reflector behind its unit element, 0 <= l <= nq
// a       k by nq, lda >= max(1, k): the reduction's, its last l columns being all that is read
// tau     k factors;  c  ldc >= max(1, m)
// info    0, or -i: argument i was bad (reported)
//
// The real members are exported as ?orm.. and the complex ones as ?unm...

#include "base/types.hpp"

namespace nuv {

/// Applies blocks of reflectors.
///
/// a       conjugated in places and taken back on the way in c and z, so that nobody else may read it meanwhile
/// work    lwork elements; work(1) returns the best lwork: (nw + nb) nb, with nw the size of C that is not nq and nb
///         the block size
/// lwork   at least max(1, nw); with less than the best, blocks are narrower, and there are none if they would be too
///         narrow; -1 asks for the best and does nothing else
template <Scalar T>
void ormrz(char side, char trans, Int m, Int n, Int k, Int l, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info);

/// One reflector at a time; work holds nw elements.
template <Scalar T>
void ormr3(char side, char trans, Int m, Int n, Int k, Int l, const T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int& info);

}  // namespace nuv
