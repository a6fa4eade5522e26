#pragma once

// Generalised Sylvester equations between pairs in generalised Schur form, diagonal block by diagonal block (B.
// Kagstrom and L. Westin, "Generalized Schur methods with condition estimators for solving the generalized Sylvester
// equation", IEEE Trans. Autom. Control 34, 1989).
//
//     trans 'N':           A R - L B     = scale C       trans 'T', 'C':  A^H R + D^H L  = scale C
//                          D R - L E     = scale F                        R B^H + L E^H  = -scale F
//
// trans    'N': the equation on the left, else the adjoint one: 'T' for real matrices, 'C' for complex ones
// ijob     0: solves it; 1: for trans 'N', chooses a right side of elements 1 and -1 on the way, so that (R, L) becomes
//          large; 2: the same with a right side from condition estimates of the small systems. C and F are added to it
//          then, and are zero for an estimate of Dif. Not looked at for the adjoint
// m        order of A and D
// n        order of B and E
// a        m by m, lda >= max(1, m); upper quasi-triangular (real) or triangular (complex)
// b        n by n, ldb >= max(1, n); the same
// c        m by n, ldc >= max(1, m); the right side in, R out
// d        m by m upper triangular, ldd >= max(1, m)
// e        n by n upper triangular, lde >= max(1, n)
// f        m by n, ldf >= max(1, m); the right side in, L out
// scale    out; in (0, 1], less than 1 where the solution might overflow otherwise; 1 for m = 0 or n = 0
// rdsum    for ijob 1, 2: the sum of squares of all elements so far is rdscal^2 rdsum; out with those of R and L
// rdscal   scale of that sum, so that no square overflows; 0 and a rdsum of 1 begin a sum
// info     0; above 0: (A, D) and (B, E) have common or very close eigenvalues, R and L solve an equation with
//          perturbed ones; or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Solves an equation with real matrices.
///
/// iwork   m + n + 2 integers, for where the diagonal blocks of both pairs begin
/// pq      out; number of the small systems that were solved, each for a diagonal block of either pair
template <RealScalar T>
void tgsy2(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, T& scale, T& rdsum, T& rdscal, Int* iwork, Int& pq, Int& info);

/// Solves an equation with complex matrices.
template <ComplexScalar T>
void tgsy2(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, Real<T>& scale, Real<T>& rdsum, Real<T>& rdscal, Int& info);

}  // namespace nuv
