#pragma once

// Reciprocal condition numbers, 1 / (||A|| ||A^-1||), from the factors of a matrix: the norm of the inverse is estimated
// from a few solves (N. J. Higham, ACM Trans. Math. Softw. 14, 1988), and seldom too small by more than a factor of 3.
//
// norm    '1' or 'O': the one-norm, 'I': the infinity-norm
// anorm   norm of the matrix before it was factored, at least 0
// rcond   1 for order 0; 0 if anorm is 0, if a factor is exactly singular, or if the inverse overflows
// work    elements as told;  second: n integers (real precisions) or n real numbers (complex ones) unless told
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {

/// General matrix. a  n by n factors as left by getrf, lda >= max(1, n); the interchanges do not change the norms.
/// work 4n elements (real), 2n (complex); second n integers (real), 2n real numbers (complex)
template <Scalar T>
void gecon(char norm, Int n, const T* a, Int lda, Real<T> anorm, Real<T>& rcond, T* work, SecondWork<T>* second,
           Int& info);

/// General band matrix. ab, ipiv  as left by gbtrf, ldab >= 2 kl + ku + 1. work 3n (real), 2n (complex)
template <Scalar T>
void gbcon(char norm, Int n, Int kl, Int ku, const T* ab, Int ldab, const Int* ipiv, Real<T> anorm, Real<T>& rcond,
           T* work, SecondWork<T>* second, Int& info);

/// Positive definite matrix, in the one-norm. a  factor as left by potrf. work 3n (real), 2n (complex)
template <Scalar T>
void pocon(char uplo, Int n, const T* a, Int lda, Real<T> anorm, Real<T>& rcond, T* work, SecondWork<T>* second,
           Int& info);

/// The same in packed storage; ap as left by pptrf.
template <Scalar T>
void ppcon(char uplo, Int n, const T* ap, Real<T> anorm, Real<T>& rcond, T* work, SecondWork<T>* second, Int& info);

/// The same for a band matrix; ab as left by pbtrf, ldab >= kd + 1.
template <Scalar T>
void pbcon(char uplo, Int n, Int kd, const T* ab, Int ldab, Real<T> anorm, Real<T>& rcond, T* work,
           SecondWork<T>* second, Int& info);

/// Positive definite tridiagonal matrix, in the one-norm, without an estimate: the inverse of its comparison matrix is
/// that of A up to signs, and its norm the largest element of a single solve (N. J. Higham, "Efficient algorithms for
/// computing the condition number of a tridiagonal matrix", SIAM J. Sci. Stat. Comput. 7, 1986).
///
/// d, e    n and n - 1 elements, as left by pttrf;  work  n real numbers
/// rcond   0 also if an element of d is not positive
template <Scalar T>
void ptcon(Int n, const Real<T>* d, const T* e, Real<T> anorm, Real<T>& rcond, Real<T>* work, Int& info);

/// Triangular matrix itself, whose norm is computed. work 3n (real), 2n (complex)
template <Scalar T>
void trcon(char norm, char uplo, char diag, Int n, const T* a, Int lda, Real<T>& rcond, T* work,
           SecondWork<T>* second, Int& info);

/// The same in packed storage.
template <Scalar T>
void tpcon(char norm, char uplo, char diag, Int n, const T* ap, Real<T>& rcond, T* work, SecondWork<T>* second,
           Int& info);

/// The same for a band matrix, ldab >= kd + 1.
template <Scalar T>
void tbcon(char norm, char uplo, char diag, Int n, Int kd, const T* ab, Int ldab, Real<T>& rcond, T* work,
           SecondWork<T>* second, Int& info);

/// General tridiagonal matrix. dl, d, du, du2, ipiv  as left by gttrf. work 2n; second n integers (real), none (complex)
template <RealScalar T>
void gtcon(char norm, Int n, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, T anorm, T& rcond,
           T* work, Int* iwork, Int& info);
template <ComplexScalar T>
void gtcon(char norm, Int n, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, Real<T> anorm,
           Real<T>& rcond, T* work, Int& info);

/// Symmetric indefinite matrix, in the one-norm; a, ipiv as left by sytrf. work 2n; second n integers (real), none
/// (complex)
template <RealScalar T>
void sycon(char uplo, Int n, const T* a, Int lda, const Int* ipiv, T anorm, T& rcond, T* work, Int* iwork, Int& info);
template <ComplexScalar T>
void sycon(char uplo, Int n, const T* a, Int lda, const Int* ipiv, Real<T> anorm, Real<T>& rcond, T* work, Int& info);

/// The same for a Hermitian matrix; from hetrf.
template <ComplexScalar T>
void hecon(char uplo, Int n, const T* a, Int lda, const Int* ipiv, Real<T> anorm, Real<T>& rcond, T* work, Int& info);

/// The same in packed storage; from sptrf and hptrf.
template <RealScalar T>
void spcon(char uplo, Int n, const T* ap, const Int* ipiv, T anorm, T& rcond, T* work, Int* iwork, Int& info);
template <ComplexScalar T>
void spcon(char uplo, Int n, const T* ap, const Int* ipiv, Real<T> anorm, Real<T>& rcond, T* work, Int& info);
template <ComplexScalar T>
void hpcon(char uplo, Int n, const T* ap, const Int* ipiv, Real<T> anorm, Real<T>& rcond, T* work, Int& info);

}  // namespace nuv
