#pragma once

// Eigenvalues of a positive definite tridiagonal matrix to high relative accuracy, and its eigenvectors: the singular
// values of its Cholesky factor, squared, and their left vectors (J. Barlow and J. Demmel, "Computing accurate
// eigensystems of scaled diagonally dominant matrices", SIAM J. Numer. Anal. 27, 1990). Real in all precisions.

#include "base/types.hpp"

namespace nuv {

/// compz   'N': eigenvalues alone; 'I': also the eigenvectors of the tridiagonal matrix; 'V': the eigenvectors of
///         Z T Z^H
/// d       n elements, the diagonal in, the eigenvalues in decreasing order out
/// e       n - 1 elements beside it; scratch on return
/// z       n by n, not used for 'N'; for 'V' Z in; the eigenvectors out; ldz >= 1 and, with vectors, >= max(1, n)
/// work    4 n elements
/// info    0; -k: argument k was bad (reported); k <= n: the leading minor of order k is not positive definite; n + k:
///         k elements of the factor beside its diagonal did not converge
template <Scalar T>
void pteqr(char compz, Int n, Real<T>* d, Real<T>* e, T* z, Int ldz, Real<T>* work, Int& info);

}  // namespace nuv
