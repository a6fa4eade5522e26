#pragma once

// Drivers that solve a system and say how far the solution can be trusted: scaling of the matrix where asked for and
// worth while, factorisation, condition number, solution, refinement and error bounds.
//
// fact    'F': the factors are given (and the scaling that A went through, by equed); 'N': A is factored as it is;
//         'E': A is scaled if that is worth while, then factored (general and positive definite matrices)
// trans   'N': A X = B, 'T': A^T X = B, 'C': A^H X = B;  uplo  'U' or 'L': the triangle that is stored
// a...    the matrix; scaled on return if equed says so.  af..., ipiv  its factors, as the routines of that storage
//         leave them, in or out
// equed   what was done to A, as the ?laq routines say it; in for 'F', else out
// r, c, s  scale factors; in for 'F' if equed tells of them, else out if it does
// b       n by nrhs, ldb >= max(1, n); scaled on return as the equations were
// x       n by nrhs, ldx >= max(1, n); solutions of the original system
// rcond   reciprocal condition number of the (scaled) matrix
// ferr, berr  nrhs error bounds as ?rfs gives them
// work, second   as told; for n = 0 one element all the same where a result is left there
// info    0; -k: argument k was bad (reported); k <= n: the factorisation came to an end there, there is no solution,
//         and rcond is 0; n + 1: rcond is less than eps, everything is there

#include "base/types.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {

/// General matrix by getrf; lda, ldaf >= max(1, n).
///
/// work    4n elements (real), 2n (complex);  second  n integers (real), 2n real numbers (complex). The first of the
///         real numbers among them returns the reciprocal pivot growth, the largest entry of A over that of U: where it
///         is much less than 1, neither the solution nor what is said of it is to be trusted. If info is k in 1 ... n,
///         it is that of the first k columns.
template <Scalar T>
void gesvx(char fact, char trans, Int n, Int nrhs, T* a, Int lda, T* af, Int ldaf, Int* ipiv, char& equed, Real<T>* r,
           Real<T>* c, T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info);

/// Positive definite matrix by potrf; lda, ldaf >= max(1, n).
///
/// work    3n elements (real), 2n (complex);  second  n elements
template <Scalar T>
void posvx(char fact, char uplo, Int n, Int nrhs, T* a, Int lda, T* af, Int ldaf, char& equed, Real<T>* s, T* b,
           Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second,
           Int& info);

/// The same in packed storage.
template <Scalar T>
void ppsvx(char fact, char uplo, Int n, Int nrhs, T* ap, T* afp, char& equed, Real<T>* s, T* b, Int ldb, T* x, Int ldx,
           Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// Symmetric matrix by sytrf, never scaled; lda, ldaf >= max(1, n).
///
/// work    lwork elements, at least max(1, 3n) (real) or max(1, 2n) (complex); the first returns the best lwork, and
///         lwork = -1 asks for that and does nothing else;  second  n elements
template <Scalar T>
void sysvx(char fact, char uplo, Int n, Int nrhs, const T* a, Int lda, T* af, Int ldaf, Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Int lwork, SecondWork<T>* second,
           Int& info);

/// Hermitian matrix by hetrf.
template <ComplexScalar T>
void hesvx(char fact, char uplo, Int n, Int nrhs, const T* a, Int lda, T* af, Int ldaf, Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Int lwork, Real<T>* rwork, Int& info);

/// The same in packed storage, by sptrf and hptrf. Workspace as for posvx.
template <Scalar T>
void spsvx(char fact, char uplo, Int n, Int nrhs, const T* ap, T* afp, Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);
template <ComplexScalar T>
void hpsvx(char fact, char uplo, Int n, Int nrhs, const T* ap, T* afp, Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info);

/// General band matrix by gbtrf; ldab >= kl + ku + 1, ldafb >= 2 kl + ku + 1.
///
/// work    3n elements (real), 2n (complex);  second  n elements; the first real number is as for gesvx
template <Scalar T>
void gbsvx(char fact, char trans, Int n, Int kl, Int ku, Int nrhs, T* ab, Int ldab, T* afb, Int ldafb, Int* ipiv,
           char& equed, Real<T>* r, Real<T>* c, T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr,
           Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// Positive definite band matrix by pbtrf; ldab, ldafb >= kd + 1. Workspace as for posvx.
template <Scalar T>
void pbsvx(char fact, char uplo, Int n, Int kd, Int nrhs, T* ab, Int ldab, T* afb, Int ldafb, char& equed, Real<T>* s,
           T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second,
           Int& info);

/// General tridiagonal matrix by gttrf, never scaled. Workspace as for posvx.
///
/// d       n elements of the diagonal;  dlf, df, duf  its factors, as gttrf leaves them, in or out
template <Scalar T>
void gtsvx(char fact, char trans, Int n, Int nrhs, const T* dl, const T* d, const T* du, T* dlf, T* df, T* duf, T* du2,
           Int* ipiv, const T* b, Int ldb, T* x, Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info);

/// Positive definite tridiagonal matrix by pttrf, never scaled.
///
/// d, e    n elements of the diagonal and n - 1 below it;  df, ef  its factors, as pttrf leaves them, in or out
/// work    2n elements
template <RealScalar T>
void ptsvx(char fact, Int n, Int nrhs, const T* d, const T* e, T* df, T* ef, const T* b, Int ldb, T* x, Int ldx,
           T& rcond, T* ferr, T* berr, T* work, Int& info);

/// The same for complex matrices. work  n elements;  rwork  n
template <ComplexScalar T>
void ptsvx(char fact, Int n, Int nrhs, const Real<T>* d, const T* e, Real<T>* df, T* ef, const T* b, Int ldb, T* x,
           Int ldx, Real<T>& rcond, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info);

}  // namespace nuv
