#pragma once

// Symmetric and Hermitian indefinite systems by diagonal pivoting: A = U D U^T or L D L^T (sy..., sp...; the complex
// ones are symmetric without conjugation), A = U D U^H or L D L^H (he..., hp...), with D of blocks of order one and two
// (J. R. Bunch and L. Kaufman, "Some stable methods for calculating inertia and solving symmetric linear systems",
// Math. Comp. 31, 1977). The matrix is stored in full (sy, he) or packed (sp, hp: the columns of the triangle one
// behind the other).
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
/// info    0 or k: the block of D at k is exactly zero, or not a number: then kb is n, and the columns that were not
///         factored count as blocks of order one without exchanges
template <Scalar T>
void xlasyf(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info);

/// The same for a Hermitian matrix.
template <ComplexScalar T>
void xlahef(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info);

/// Solves A X = B from the factors of a symmetric A, by strips of right-hand sides; the serial body behind the layer
/// stub `sytrs`. A block of D that is zero is not noticed: what is divided by it is infinite or NaN.
///
/// a       order n, lda >= max(1, n), as left by sytrf, with its ipiv
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
template <Scalar T>
void xsytrs(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info);

/// The same for a Hermitian A.
template <ComplexScalar T>
void xhetrs(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info);

/// Solves for one strip of right-hand sides, however wide; reports under the name of sytrs.
template <Scalar T>
void syts2(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info);

/// The same for a Hermitian A, under the name of hetrs.
template <ComplexScalar T>
void hets2(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info);

/// Solves A X = B for a symmetric A.
///
/// a       order n, lda >= max(1, n); the matrix in, its factors out, with ipiv
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out; untouched if info is not zero
/// work    lwork elements; work(1) returns n times the block size, the best lwork
/// lwork   at least 1; -1 asks for the best and does nothing else
template <Scalar T>
void sysv(char uplo, Int n, Int nrhs, T* a, Int lda, Int* ipiv, T* b, Int ldb, T* work, Int lwork, Int& info);

/// The same for a Hermitian A.
template <ComplexScalar T>
void hesv(char uplo, Int n, Int nrhs, T* a, Int lda, Int* ipiv, T* b, Int ldb, T* work, Int lwork, Int& info);

/// Inverts a symmetric A from its factors, in place: one triangle of the inverse.
///
/// a       order n, lda >= max(1, n), as left by sytrf, with its ipiv
/// work    n elements
/// info    k: the block of order one of D at k is exactly zero, a is untouched and no inverse
template <Scalar T>
void sytri(char uplo, Int n, T* a, Int lda, const Int* ipiv, T* work, Int& info);

/// The same for a Hermitian A.
template <ComplexScalar T>
void hetri(char uplo, Int n, T* a, Int lda, const Int* ipiv, T* work, Int& info);

// ---------------------------------------------------------------------------------------------------- packed storage

/// Factors a symmetric matrix by panels that are unpacked; without memory for that column by column.
///
/// ap      order n, packed; the matrix in, its factors out
template <Scalar T>
void sptrf(char uplo, Int n, T* ap, Int* ipiv, Int& info);

/// The same for a Hermitian matrix.
template <ComplexScalar T>
void hptrf(char uplo, Int n, T* ap, Int* ipiv, Int& info);

/// Factors a symmetric matrix column by column.
template <Scalar T>
void sptf2(char uplo, Int n, T* ap, Int* ipiv, Int& info);

/// The same for a Hermitian matrix.
template <ComplexScalar T>
void hptf2(char uplo, Int n, T* ap, Int* ipiv, Int& info);

/// Factors the last columns of a symmetric matrix (upper) or the first (lower) as xlasyf does; the serial body behind
/// the layer stub `laspf`.
///
/// w       scratch for three blocks of ldw by nb, ldw >= max(1, n): the panel, the panel times D, and a block of the
///         rest. Null asks for the number of blocks beside two, which kb returns; nothing else is done then.
template <Scalar T>
void xlaspf(char uplo, Int n, Int nb, Int& kb, T* ap, Int* ipiv, T* w, Int ldw, Int& info);

/// The same for a Hermitian matrix.
template <ComplexScalar T>
void xlahpf(char uplo, Int n, Int nb, Int& kb, T* ap, Int* ipiv, T* w, Int ldw, Int& info);

/// Solves A X = B from the factors of a symmetric A, by strips of right-hand sides; the serial body behind the layer
/// stub `sptrs`. Arguments as for xsytrs.
template <Scalar T>
void xsptrs(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info);

/// The same for a Hermitian A.
template <ComplexScalar T>
void xhptrs(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info);

/// Solves for one strip of right-hand sides, however wide; reports under the name of sptrs.
template <Scalar T>
void spts2(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info);

/// The same for a Hermitian A, under the name of hptrs.
template <ComplexScalar T>
void hpts2(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info);

/// Solves A X = B for a symmetric A. Arguments as for sysv, but for the workspace.
template <Scalar T>
void spsv(char uplo, Int n, Int nrhs, T* ap, Int* ipiv, T* b, Int ldb, Int& info);

/// The same for a Hermitian A.
template <ComplexScalar T>
void hpsv(char uplo, Int n, Int nrhs, T* ap, Int* ipiv, T* b, Int ldb, Int& info);

/// Inverts a symmetric A from its factors, in place; as sytri.
template <Scalar T>
void sptri(char uplo, Int n, T* ap, const Int* ipiv, T* work, Int& info);

/// The same for a Hermitian A.
template <ComplexScalar T>
void hptri(char uplo, Int n, T* ap, const Int* ipiv, T* work, Int& info);

}  // namespace nuv
