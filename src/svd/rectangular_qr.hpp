#pragma once

// Singular values and vectors of a bidiagonal matrix that may have one column, or one row, more than it should: the
// leaves of divide and conquer.

#include "base/types.hpp"

namespace nuv {

/// Rotates the matrix to a square upper bidiagonal one, and goes on with bdsqr: B = Q S P^T.
///
/// uplo    'U': B is upper bidiagonal, n by n + sqre; 'L': lower bidiagonal, n + sqre by n
/// sqre    0 or 1
/// d       n elements, the diagonal in, the values in increasing order out
/// e       n - 1 + sqre elements beside it; scratch on return
/// vt      n by ncvt, or n + 1 for an upper B with sqre 1; P^T VT out; ldvt >= 1, and at least these rows if ncvt > 0
/// u       nru by n, or n + 1 for a lower B with sqre 1; U Q out; ldu >= max(1, nru)
/// c       as many rows as u has columns, by ncc; Q^T C out; ldc >= 1, and at least these rows if ncc > 0
/// work    4 n elements
/// info    0, or -k: argument k was bad (reported); above 0 as from bdsqr, with nothing sorted then
template <RealScalar T>
void lasdq(char uplo, Int sqre, Int n, Int ncvt, Int nru, Int ncc, T* d, T* e, T* vt, Int ldvt, T* u, Int ldu, T* c,
           Int ldc, T* work, Int& info);

}  // namespace nuv
