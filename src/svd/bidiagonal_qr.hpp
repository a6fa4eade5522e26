#pragma once

// Singular values of a real bidiagonal matrix, and its vectors in products with given matrices, by the implicit QR
// iteration with zero shifts (J. Demmel, W. Kahan, "Accurate singular values of bidiagonal matrices", SIAM J. Sci.
// Stat. Comput. 11, 1990): B = Q S P^T.

#include "base/types.hpp"

namespace nuv {

/// Without any of the three matrices the values come from lasq1, whose info is returned then. Values have high relative
/// accuracy. Sweeps are collected and applied together, where there is memory for a table of them.
///
/// uplo    'U' or 'L': B is upper or lower bidiagonal
/// n       order of B
/// d       n elements, the diagonal in, the values in decreasing order out
/// e       n - 1 elements beside it; scratch on return
/// vt      n by ncvt, P^T VT out; ldvt >= 1, and >= max(1, n) if ncvt > 0
/// u       nru by n, U Q out; ldu >= max(1, nru)
/// c       n by ncc, Q^T C out; ldc >= 1, and >= max(1, n) if ncc > 0
/// work    4 n - 4 elements, without any matrix 4 n
/// info    0, or -k: argument k was bad (reported); k > 0: k elements of e did not converge in 6 n^2 steps. d and e
///         then are those of a matrix that is Q^T B P, not sorted, with the matrices as they belong to it
template <Scalar T>
void bdsqr(char uplo, Int n, Int ncvt, Int nru, Int ncc, Real<T>* d, Real<T>* e, T* vt, Int ldvt, T* u, Int ldu, T* c,
           Int ldc, Real<T>* work, Int& info);

}  // namespace nuv
