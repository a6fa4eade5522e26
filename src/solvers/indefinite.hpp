#pragma once

// Symmetric and Hermitian indefinite systems by diagonal pivoting: A = U D U^T or L D L^T (sy..., sp...; the complex ones
// are symmetric without conjugation), A = U D U^H or L D L^H (he..., hp...), with D of blocks of order one and two (J. R.
// Bunch and L. Kaufman, "Some stable methods for calculating inertia and solving symmetric linear systems", Math. Comp.
// 31, 1977). The matrix is stored in full (sy, he) or packed (sp, hp: the columns of the triangle one behind the other).
//
// uplo    'U' or 'L': the triangle that holds the matrix and then its factors: D, and the multipliers that make up U or
//         L. The other triangle of a full matrix is neither read nor written.
// ipiv    n numbers. Positive at k: D has a block of order one there, rows and columns k and ipiv(k) were exchanged.
//         Negative at k and its neighbour k+1 (lower) or k-1 (upper), equal there: a block of order two, the neighbour
//         and -ipiv(k) were exchanged.
// info    0; -k: argument k was bad (reported); where a routine factors, k: the block of D at k is exactly zero. The
//         factorisation is complete all the same, but nothing can be solved with it. If the element on the diagonal is
//         not a number there, the factorisation stopped before k.

#include "base/types.hpp"

namespace nuv {

/// Factors a symmetric matrix by panels.
///
/// a       order n, lda >= max(1, n); the matrix in, its factors out
/// work    lwork elements; work(1) returns the best lwork, n times the block size. Small real matrices are left to a
///         kernel that needs none, and work(1) returns 1.
/// lwork   at least 1; -1 asks for the best and does nothing else
template <Scalar T>
void sytrf(char uplo, Int n, T* a, Int lda, Int* ipiv, T* work, Int lwork, Int& info);

/// The same for a Hermitian matrix.
template <ComplexScalar T>
void hetrf(char uplo, Int n, T* a, Int lda, Int* ipiv, T* work, Int lwork, Int& info);

/// Factors a symmetric matrix column by column; lda >= max(1, n).
template <Scalar T>
void sytf2(char uplo, Int n, T* a, Int lda, Int* ipiv, Int& info);

/// The same for a Hermitian matrix.
template <ComplexScalar T>
void hetf2(char uplo, Int n, T* a, Int lda, Int* ipiv, Int& info);

/// Factors the last columns of a symmetric matrix (upper) or the first (lower), nb of them or, where a block of order
/// two would be cut, one less, and brings the rest of the triangle up to date with them; all columns if nb >= n. The
/// serial body behind the layer stub `lasyf`. Nothing is checked; uplo other than 'U' counts as 'L'.
///
/// nb      at least 2
/// kb      the columns that were factored
/// w       n by nb, ldw >= max(1, n), scratch
/// info    0 or k: the block of D at k is exactly zero, or not a number: then kb is n, and the columns not factored count
///         as blocks of order one without exchanges
template <Scalar T>
void xlasyf(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info);

/// The same for a Hermitian matrix.
template <ComplexScalar T>
void xlahef(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info);

}  // namespace nuv
