#pragma once

// Eigenvalues and eigenvectors of symmetric and Hermitian matrices in full storage.
//
// jobz    'N': eigenvalues; 'V': eigenvectors too
// uplo    'U' or 'L': the triangle of a that holds the matrix
// a       order n, lda >= max(1, n); destroyed
// work    lwork elements, rwork lrwork real and iwork liwork integers; work(1), rwork(1) and iwork(1) return the sizes
//         with which the driver does its best. A length of -1 asks for them, for all of them where there are several,
//         and does nothing else
// info    0, or -k: argument k was bad (reported); above zero: the method of the driver did not converge
//
// Matrices whose elements are so large or so small that their squares leave the exponent range are scaled, and their
// eigenvalues scaled back.

#include "base/types.hpp"

namespace nuv {

/// All eigenvalues by QL and QR iteration. Where eigenvalues alone are wanted, orders from some thousand on go the way
/// of a band, if the workspace is large enough for it (two_stage.hpp).
///
/// a       jobz 'V': the eigenvectors out
/// w       n eigenvalues, ascending
/// lwork   at least max(1, 3 n - 1)
/// info    k: k elements beside the diagonal of an intermediate tridiagonal matrix did not converge to zero; of w those
///         before the k-th are eigenvalues
template <RealScalar T>
void syev(char jobz, char uplo, Int n, T* a, Int lda, T* w, T* work, Int lwork, Int& info);

/// lwork   at least max(1, 2 n - 1)
/// rwork   max(1, 3 n - 2) elements
template <ComplexScalar T>
void heev(char jobz, char uplo, Int n, T* a, Int lda, Real<T>* w, T* work, Int lwork, Real<T>* rwork, Int& info);

/// All eigenvalues, the eigenvectors by divide and conquer. a and w as above.
///
/// lwork   at least 1 for n <= 1, else 2 n^2 + 6 n + 1 ('V'), 2 n + 1 ('N')
/// liwork  at least 5 n + 3 for 'V' and n > 1, else 1
/// info    k, 'N': as above; 'V': an eigenvalue of the part from row and column k / (n + 1) to k % (n + 1) is missing
template <RealScalar T>
void syevd(char jobz, char uplo, Int n, T* a, Int lda, T* w, T* work, Int lwork, Int* iwork, Int liwork, Int& info);

/// lwork   at least 1 for n <= 1, else n^2 + 2 n ('V'), n + 1 ('N')
/// lrwork  at least 1 for n <= 1, else 2 n^2 + 5 n + 1 ('V'), n ('N')
/// liwork  as above
template <ComplexScalar T>
void heevd(char jobz, char uplo, Int n, T* a, Int lda, Real<T>* w, T* work, Int lwork, Real<T>* rwork, Int lrwork,
           Int* iwork, Int liwork, Int& info);

/// Selected eigenvalues: all of them by relatively robust representations, others by bisection and inverse iteration,
/// to which the driver also turns where representations fail.
///
/// range   'A': all; 'V': those in (vl, vu], vl < vu; 'I': the il-th to the iu-th in ascending order,
///         1 <= il <= iu <= n (il = 1, iu = 0 for n = 0)
/// abstol  how near the eigenvalues are to be, absolutely; zero or less asks for the best that each method gives
/// m       their number;  w  they, ascending, in n places
/// z       n by m, orthonormal eigenvectors, ldz >= 1 and, for 'V', ldz >= n; for range 'V' n columns are room enough
/// isuppz  2 max(1, m) places: the first and the last row that is not zero in each eigenvector of the tridiagonal
///         matrix, where all were wanted and representations gave them
/// lwork   at least max(1, 26 n)
/// liwork  at least max(1, 10 n)
/// info    k: as bisection and inverse iteration report it
template <RealScalar T>
void syevr(char jobz, char range, char uplo, Int n, T* a, Int lda, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w,
           T* z, Int ldz, Int* isuppz, T* work, Int lwork, Int* iwork, Int liwork, Int& info);

/// lwork   at least max(1, 2 n)
/// lrwork  at least max(1, 24 n)
template <ComplexScalar T>
void heevr(char jobz, char range, char uplo, Int n, T* a, Int lda, Real<T> vl, Real<T> vu, Int il, Int iu,
           Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, Int* isuppz, T* work, Int lwork, Real<T>* rwork,
           Int lrwork, Int* iwork, Int liwork, Int& info);

/// Selected eigenvalues: all of them by QL and QR iteration if abstol is zero or less, others by bisection and inverse
/// iteration, to which the driver also turns where iteration fails. The arguments up to ldz as above.
///
/// lwork   at least 8 n, 1 for n <= 1
/// iwork   5 n elements
/// ifail   n elements; jobz 'V': zeros, or the numbers of the eigenvectors that did not converge
/// info    k: k eigenvectors did not converge
template <RealScalar T>
void syevx(char jobz, char range, char uplo, Int n, T* a, Int lda, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w,
           T* z, Int ldz, T* work, Int lwork, Int* iwork, Int* ifail, Int& info);

/// lwork   at least 2 n, 1 for n <= 1
/// rwork   7 n elements
template <ComplexScalar T>
void heevx(char jobz, char range, char uplo, Int n, T* a, Int lda, Real<T> vl, Real<T> vu, Int il, Int iu,
           Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork, Int* iwork,
           Int* ifail, Int& info);

}  // namespace nuv
