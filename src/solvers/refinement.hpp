#pragma once

// Iterative refinement of solutions in working precision, and bounds of their errors (M. Arioli, J. W. Demmel and I. S.
// Duff, "Solving sparse linear systems with sparse backward error", SIAM J. Matrix Anal. Appl. 10, 1989).
//
// berr is the componentwise backward error: the smallest relative change to the elements of A and b that makes x exact.
// x is improved while berr exceeds eps and has at least halved, in at most five steps. ferr bounds the largest error of
// an element of x relative to the largest element of x; it is nearly always more than the error, seldom by much.
//
// a...    the matrix as it was;  af...  its factors, as the routine of that storage left them
// b       n by nrhs, ldb >= max(1, n);  x  n by nrhs, ldx >= max(1, n); solutions in, improved ones out
// ferr, berr  nrhs elements each
// work    3n elements (real precisions) or 2n (complex);  second: n integers or n real numbers; unless told
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {

/// op(A) X = B for a general A; af, ipiv from getrf.
template <Scalar T>
void gerfs(char trans, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const Int* ipiv, const T* b,
           Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// A X = B for a positive definite A; af from potrf.
template <Scalar T>
void porfs(char uplo, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const T* b, Int ldb, T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// The same in packed storage; afp from pptrf.
template <Scalar T>
void pprfs(char uplo, Int n, Int nrhs, const T* ap, const T* afp, const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr,
           Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// A X = B for a symmetric A; af, ipiv from sytrf.
template <Scalar T>
void syrfs(char uplo, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// A X = B for a Hermitian A; af, ipiv from hetrf.
template <ComplexScalar T>
void herfs(char uplo, Int n, Int nrhs, const T* a, Int lda, const T* af, Int ldaf, const Int* ipiv, const T* b, Int ldb,
           T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info);

/// The same in packed storage; afp, ipiv from sptrf and hptrf.
template <Scalar T>
void sprfs(char uplo, Int n, Int nrhs, const T* ap, const T* afp, const Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);
template <ComplexScalar T>
void hprfs(char uplo, Int n, Int nrhs, const T* ap, const T* afp, const Int* ipiv, const T* b, Int ldb, T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info);

/// op(A) X = B for a general band matrix; ldab >= kl + ku + 1; afb, ipiv from gbtrf.
template <Scalar T>
void gbrfs(char trans, Int n, Int kl, Int ku, Int nrhs, const T* ab, Int ldab, const T* afb, Int ldafb, const Int* ipiv,
           const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// A X = B for a positive definite band matrix; ldab, ldafb >= kd + 1; afb from pbtrf.
template <Scalar T>
void pbrfs(char uplo, Int n, Int kd, Int nrhs, const T* ab, Int ldab, const T* afb, Int ldafb, const T* b, Int ldb,
           T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// op(A) X = B for a general tridiagonal matrix dl, d, du; dlf, df, duf, du2, ipiv from gttrf.
template <Scalar T>
void gtrfs(char trans, Int n, Int nrhs, const T* dl, const T* d, const T* du, const T* dlf, const T* df, const T* duf,
           const T* du2, const Int* ipiv, const T* b, Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work,
           SecondWork<T>* second, Int& info);

/// A X = B for a positive definite tridiagonal matrix d, e; df, ef from pttrf. The bound takes no estimate, and the
/// whole of the residual as if it were as large as its largest element. work  2n elements
template <RealScalar T>
void ptrfs(Int n, Int nrhs, const T* d, const T* e, const T* df, const T* ef, const T* b, Int ldb, T* x, Int ldx,
           T* ferr, T* berr, T* work, Int& info);

/// The same for complex matrices. uplo 'U': e is above the diagonal, and ef that of U in U^H D U; 'L': below, of L.
/// work  n elements;  rwork  n
template <ComplexScalar T>
void ptrfs(char uplo, Int n, Int nrhs, const Real<T>* d, const T* e, const Real<T>* df, const T* ef, const T* b,
           Int ldb, T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, Real<T>* rwork, Int& info);

/// op(A) X = B for a triangular A: bounds alone. The solutions stay as they are: a triangular solve is as good as
/// refinement would make it.
template <Scalar T>
void trrfs(char uplo, char trans, char diag, Int n, Int nrhs, const T* a, Int lda, const T* b, Int ldb, const T* x,
           Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// The same in packed storage.
template <Scalar T>
void tprfs(char uplo, char trans, char diag, Int n, Int nrhs, const T* ap, const T* b, Int ldb, const T* x, Int ldx,
           Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

/// The same for a band matrix, ldab >= kd + 1.
template <Scalar T>
void tbrfs(char uplo, char trans, char diag, Int n, Int kd, Int nrhs, const T* ab, Int ldab, const T* b, Int ldb,
           const T* x, Int ldx, Real<T>* ferr, Real<T>* berr, T* work, SecondWork<T>* second, Int& info);

}  // namespace nuv
