#pragma once

// Small linear systems by Gaussian elimination with complete pivoting, which gives a solution of a nearby system also
// where the matrix is singular.

#include "base/types.hpp"

namespace nuv {

/// Factors a matrix as A = P L U Q, with permutations P and Q, L unit lower and U upper triangular. Pivots that are too
/// small are replaced by smin = max(eps max |a(i, j)|, safe_min / eps).
///
/// n       order of A, of a few units: the search for pivots takes as long as the elimination
/// a       n by n, lda >= max(1, n); the matrix in, L and U out
/// ipiv    n indices, out; row i was exchanged with row ipiv(i)
/// jpiv    n indices, out; column j was exchanged with column jpiv(j)
/// info    0; k > 0: |u(k, k)| was less than smin, which is there now, and k is the last such place
template <Scalar T>
void getc2(Int n, T* a, Int lda, Int* ipiv, Int* jpiv, Int& info);

/// Solves A x = scale b with the factors that getc2 leaves.
///
/// n       order of A
/// a       n by n, lda >= max(1, n); L and U
/// rhs     n elements; b in, x out
/// ipiv    n row exchanges, as getc2 leaves them
/// jpiv    n column exchanges, as getc2 leaves them
/// scale   out; in (0, 1], less than 1 where x might overflow otherwise
template <Scalar T>
void gesc2(Int n, const T* a, Int lda, T* rhs, const Int* ipiv, const Int* jpiv, Real<T>& scale);

}  // namespace nuv
