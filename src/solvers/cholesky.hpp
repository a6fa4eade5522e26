#pragma once

// Symmetric (Hermitian) positive definite systems by Cholesky factorisation: A = U^H U or A = L L^H.
//
// uplo    'U' or 'L': the triangle that holds the matrix and then its factor; the other is neither read nor written
// info    0; -k: argument k was bad (reported); where a routine factors, k: the leading minor of order k is not
//         positive definite, and the columns before the block it lies in are factored; what the rest of the triangle
//         holds then is neither the matrix nor a factor and not to be used

#include "base/types.hpp"

namespace nuv {

/// Factors a matrix of order n by blocks; the serial body behind the layer stub `potrf`, which checks the arguments for
/// it. lda >= max(1, n). Imaginary parts on the diagonal count as zero. Where there is more than one block, any uplo
/// but 'U' counts as 'L'.
template <Scalar T>
void xpotrf(char uplo, Int n, T* a, Int lda, Int& info);

/// Factors a matrix of order n in one piece; lda >= max(1, n).
template <Scalar T>
void potf2(char uplo, Int n, T* a, Int lda, Int& info);

/// Solves A X = B from the factor of A, which has to be one: its diagonal is not looked at.
///
/// a       order n, lda >= max(1, n), as left by potrf
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
template <Scalar T>
void potrs(char uplo, Int n, Int nrhs, const T* a, Int lda, T* b, Int ldb, Int& info);

/// Solves A X = B for a positive definite A.
///
/// a       order n, lda >= max(1, n); the matrix in, its factor out
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out; untouched if info is not zero
template <Scalar T>
void posv(char uplo, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int& info);

/// Inverts A from its factor, in place: one triangle of the inverse.
///
/// a       order n, lda >= max(1, n), as left by potrf
/// info    k: element (k, k) of the factor is exactly zero, a is untouched and no inverse
template <Scalar T>
void potri(char uplo, Int n, T* a, Int lda, Int& info);

/// The product U U^H of an upper triangle, or L^H L of a lower one, in place: one triangle of it, by blocks. Order n,
/// lda >= max(1, n). The diagonal of U or L is real.
template <Scalar T>
void lauum(char uplo, Int n, T* a, Int lda, Int& info);

/// The same row by row.
template <Scalar T>
void lauu2(char uplo, Int n, T* a, Int lda, Int& info);

}  // namespace nuv
