#pragma once

// Inverses and solves of triangular matrices.
//
// uplo    'U' or 'L': the triangle that holds the matrix; the other is not touched
// diag    'N', or 'U' for a diagonal of ones, which is not touched
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Inverts a triangular matrix of order n in place, by blocks; lda >= max(1, n).
///
/// info    k: A(k, k) is exactly zero, a is untouched
template <Scalar T>
void trtri(char uplo, char diag, Int n, T* a, Int lda, Int& info);

/// The same column by column; makes no test for a zero on the diagonal, which leaves infinities and NaN.
template <Scalar T>
void trti2(char uplo, char diag, Int n, T* a, Int lda, Int& info);

/// Solves op(A) X = B for a triangular A.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// a       order n, lda >= max(1, n);  b  n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
/// info    k: A(k, k) is exactly zero, b is untouched
template <Scalar T>
void trtrs(char uplo, char trans, char diag, Int n, Int nrhs, const T* a, Int lda, T* b, Int ldb, Int& info);

}  // namespace nuv
