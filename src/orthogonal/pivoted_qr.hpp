#pragma once

// QR factorisation with column pivoting, A P = Q R: of the columns that are left the one whose part below the finished
// rows is longest comes next, so that the diagonal of R decreases and shows the rank (P. Businger and G. H. Golub,
// "Linear least squares solutions by Householder transformations", Numer. Math. 7, 1965), by panels (G. Quintana-Orti,
// X. Sun, C. H. Bischof, "A BLAS-3 version of the QR factorization with column pivoting", SIAM J. Sci. Comput. 19,
// 1998). The norms of these parts are downdated from step to step, and computed anew before the downdates have lost
// half of their digits (Z. Drmac and Z. Bujanovic, "On the failure of rank-revealing QR factorization software - a case
// study", ACM Trans. Math. Softw. 35, 2008).
//
// a       m by n, lda >= max(1, m); out R in the upper triangle and the reflectors below it, as geqrf leaves them
// jpvt    n places; in, not zero for a column that is to stand in front, in any order among themselves as they come,
//         and is not pivoted; out, the place from which each column of A P came
// tau     min(m, n) factors, out
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// The fixed columns by the layer's `geqrf`, those that are left by panels, the last of them unblocked.
///
/// work    lwork elements; work(1) returns the best lwork
/// lwork   s, d: at least 3 n + 1, best 2 n + (n + 1) nb with nb columns to a panel; c, z: at least n + 1, best
///         (n + 1) nb; with less than the best, panels are narrower, and there are none if they would be too narrow; -1
///         asks for the best and does nothing else
template <RealScalar T>
void geqp3(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Int lwork, Int& info);

/// rwork   2 n elements
template <ComplexScalar T>
void geqp3(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Int lwork, Real<T>* rwork, Int& info);

/// One column after another.
///
/// work    3 n elements
template <RealScalar T>
void geqpf(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Int& info);

/// work    n elements;  rwork  2 n elements
template <ComplexScalar T>
void geqpf(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Real<T>* rwork, Int& info);

/// One column after another, with norms that are computed anew in each step: half as much work again as in geqpf, in
/// less memory. Checks nothing.
///
/// work    n elements
template <RealScalar T>
void factor_by_exact_norms(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work);

// What these two are given are the n columns that are left, with all of their m rows, of which the first `offset` are
// finished, and the parts of jpvt and tau that belong to them. They check nothing.
//
// vn1, vn2  n elements: the norms below the finished rows in both, as they are on the way in; they follow the columns.
//           vn1 is downdated, vn2 keeps the norm as it was last computed

/// Factors up to nb columns, and updates the others by them. It ends early where the norm of a column has to be
/// computed anew, for which its elements must be there.
///
/// offset  rows that are finished;  vn1, vn2  norms of the columns below them, and those from which they were downdated
/// nb      1 <= nb <= min(m - offset, n);  kb  columns factored, out
/// auxv    nb elements of workspace
/// f       n by nb, ldf >= n: what the others lose is A(offset+1:m, 1:kb) f^H, with the unit elements in place
template <Scalar T>
void laqps(Int m, Int n, Int offset, Int nb, Int& kb, T* a, Int lda, Int* jpvt, T* tau, Real<T>* vn1, Real<T>* vn2,
           T* auxv, T* f, Int ldf);

/// Factors all columns, as long as there are rows.
///
/// offset  rows that are finished;  vn1, vn2  norms of the columns below them, and those from which they were downdated
/// work    n elements
template <Scalar T>
void laqp2(Int m, Int n, Int offset, T* a, Int lda, Int* jpvt, T* tau, Real<T>* vn1, Real<T>* vn2, T* work);

}  // namespace nuv
