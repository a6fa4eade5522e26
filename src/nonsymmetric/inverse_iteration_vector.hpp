#pragma once

// One eigenvector of an upper Hessenberg matrix by inverse iteration (J. M. Varah, "The calculation of the eigenvectors
// of a general complex matrix by inverse iteration", Math. Comp. 22, 1968; I. C. F. Ipsen, "Computing an eigenvector
// with inverse iteration", SIAM Rev. 39, 1997). Nothing is checked.
//
// rightv    true: x with H x = w x, false: y with y^H H = w y^H
// noinit    true: the iteration starts with equal elements, false: with the vector given
// h         n by n, ldh >= n; what is below its subdiagonal is not looked at
// b         room for n columns, ldb rows each
// eps3      what a smaller pivot is replaced by, and the size of start vectors
// smlnum    least number to be computed with
// info      0, or 1: no start vector grew enough in n iterations
//
// The vector is scaled so that its largest element has |re| + |im| = 1, also where the iteration failed.

#include "base/types.hpp"

namespace nuv {

/// wr, wi  real and imaginary part of the eigenvalue
/// vr, vi  n elements each, the vector; the second, its imaginary part, is not touched if wi is zero
/// ldb     at least n + 1
/// work    n elements
/// bignum  the reciprocal of smlnum or less, limit of what is computed with
template <RealScalar T>
void laein(Logical rightv, Logical noinit, Int n, const T* h, Int ldh, T wr, T wi, T* vr, T* vi, T* b, Int ldb, T* work,
           T eps3, T smlnum, T bignum, Int& info);

/// w       eigenvalue
/// v       n elements, the vector
/// ldb     at least n
/// rwork   n elements
template <ComplexScalar T>
void laein(Logical rightv, Logical noinit, Int n, const T* h, Int ldh, T w, T* v, T* b, Int ldb, Real<T>* rwork,
           Real<T> eps3, Real<T> smlnum, Int& info);

}  // namespace nuv
