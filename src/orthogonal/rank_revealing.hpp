#pragma once

// Least squares with matrices of any rank, by a complete orthogonal factorisation: QR with column pivoting, of which
// the leading triangle of well-conditioned columns is kept (G. Quintana-Orti, X. Sun, C. H. Bischof, "A BLAS-3 version
// of the QR factorization with column pivoting", SIAM J. Sci. Comput. 19, 1998) and what is right of it is taken to
// zero from the right (R. J. Hanson and C. L. Lawson, "Extensions and applications of the Householder algorithm for
// solving linear least squares problems", Math. Comp. 23, 1969),
//
//     A P = Q (R11 R12)    (R11 R12) = (T 0) Z    X = P Z^H (T^-1 Q1^H B)
//             ( 0  R22)                                     (     0     )
//
// The rank is the order of the largest R11 whose condition number, by incremental estimation, is at most 1 / rcond; R22
// counts as zero. Each column of X is the shortest of the vectors that minimise the norm of its residual.

#include "base/types.hpp"

namespace nuv {

/// Factors by panels and blocks of reflectors.
///
/// a       m by n, lda >= max(1, m); the matrix in; out, T in the upper triangle of the first rank columns; the rest is
///         of no use: the factors of its reflectors are lost
/// b       ldb >= max(1, m, n); m by nrhs right-hand sides in, n by nrhs solutions out, zeros where m = 0 or A = 0;
///         what lies below these is of no use
/// jpvt    n places; in, not zero for a column that is to stand in front and not to be pivoted; out, the place from
///         which each column of A P came. Not touched where the rank is zero because there is nothing to factor: min(m,
///         n) = 0, nrhs = 0 or A = 0.
/// rcond   reciprocal of the largest condition number that R11 may have; below about eps, roundings count as columns.
///         Zero or less: every column counts, and where one depends on others what the solutions hold means nothing
/// rank    order of R11; zero if min(m, n) or nrhs is zero
/// work    lwork elements; work(1) returns the best lwork, also where an argument is bad
/// lwork   at least mn + max(2 mn, n + 1, mn + nrhs) with mn = min(m, n), 1 where m = n = 0. With less than the best,
///         panels and blocks are narrower; with less than mn + 3 n + 1 in s and d, columns are pivoted by norms that
///         are computed anew in each step, up to rounding with the same result. -1 asks for the best and does nothing
///         else
/// info    0, or -k: argument k was bad (reported)
template <RealScalar T>
void gelsy(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, T rcond, Int& rank, T* work, Int lwork,
           Int& info);

/// rwork   2 n elements
template <ComplexScalar T>
void gelsy(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, Real<T> rcond, Int& rank, T* work,
           Int lwork, Real<T>* rwork, Int& info);

/// The same with one column and one reflector after another, an older form. New programs should call gelsy.
///
/// work    max(mn + 3 n, 2 mn + nrhs) elements with mn = min(m, n)
template <RealScalar T>
void gelsx(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, T rcond, Int& rank, T* work, Int& info);

/// work    mn + max(n, 2 mn + nrhs) elements with mn = min(m, n)
/// rwork   2 n elements
template <ComplexScalar T>
void gelsx(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, Real<T> rcond, Int& rank, T* work,
           Real<T>* rwork, Int& info);

}  // namespace nuv
