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
