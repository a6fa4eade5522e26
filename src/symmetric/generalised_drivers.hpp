#pragma once

// Eigenvalues and, if wanted, eigenvectors of symmetric (Hermitian) A with a positive definite partner B.
//
// itype   1: A x = lambda B x, with Z^H B Z = I;
//         2: A B x = lambda x, with Z^H B Z = I;  3: B A x = lambda x, with Z^H B^-1 Z = I
// jobz    'N': eigenvalues alone; 'V': and eigenvectors, Z
// uplo    'U' or 'L': the triangles that are stored
// n       the order; all leading dimensions of matrices that are looked at are >= max(1, n) in full storage
// b       destroyed: the factor of B, if there is one
// w       n elements: the eigenvalues in ascending order
// z       in its columns, n by n or n by m; ldz >= 1, and for 'V' >= n; 'N': not touched
// info    0; -k: argument k was bad (reported); 1 ... n: the method did not converge, as the driver for one matrix
//         tells it; n + k: the leading minor of order k of B is not positive definite (in band storage: its
//         factorisation came to an end at row k), and nothing has been done to A
//
// Workspaces beside those named here are as of that driver; those of the real members behind the arguments of the
// complex ones are not there.

#include "base/types.hpp"

namespace nuv {

// In full storage.

/// All eigenvalues by QL and QR iteration.
///
/// a       destroyed; 'V': Z out
/// lwork   sygv at least max(1, 3 n - 1), hegv max(1, 2 n - 1); -1 asks for the best, which work(1) returns
/// rwork   max(1, 3 n - 2) elements
template <RealScalar T>
void sygv(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, T* w, T* work, Int lwork, Int& info);
template <ComplexScalar T>
void hegv(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, Real<T>* w, T* work, Int lwork,
          Real<T>* rwork, Int& info);

/// All eigenvalues, the eigenvectors by divide and conquer.
///
/// a       destroyed; 'V': Z out
/// lwork   sygvd at least 2 n + 1 ('N') or 2 n^2 + 6 n + 1 ('V'), hegvd n + 1 or n^2 + 2 n; 1 for n <= 1
/// lrwork  n or 2 n^2 + 5 n + 1; 1 for n <= 1
/// liwork  1 or 5 n + 3; 1 for n <= 1
/// work, rwork, iwork  the first elements return the best sizes; -1 for one of them asks for all and does nothing else
template <RealScalar T>
void sygvd(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, T* w, T* work, Int lwork, Int* iwork,
           Int liwork, Int& info);
template <ComplexScalar T>
void hegvd(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, Real<T>* w, T* work, Int lwork,
           Real<T>* rwork, Int lrwork, Int* iwork, Int liwork, Int& info);

/// Selected eigenvalues: all of them by QL and QR iteration if abstol is zero or less, others by bisection and inverse
/// iteration.
///
/// a       destroyed
/// range   'A': all; 'V': those in (vl, vu], vl < vu; 'I': the il-th to the iu-th in ascending order,
///         1 <= il <= iu <= n (il = 1, iu = 0 for n = 0)
/// abstol  how near the eigenvalues are to be, absolutely; zero or less asks for the best
/// m       their number;  w  they, ascending, in n places
/// lwork   sygvx at least max(1, 8 n), hegvx max(1, 2 n); -1 asks for the best, which work(1) returns
/// rwork   7 n elements;  iwork  5 n elements
/// ifail   n elements; 'V': zeros, or the numbers of the eigenvectors that did not converge
/// info    k <= n: k eigenvectors did not converge
template <RealScalar T>
void sygvx(Int itype, char jobz, char range, char uplo, Int n, T* a, Int lda, T* b, Int ldb, T vl, T vu, Int il, Int iu,
           T abstol, Int& m, T* w, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int* ifail, Int& info);
template <ComplexScalar T>
void hegvx(Int itype, char jobz, char range, char uplo, Int n, T* a, Int lda, T* b, Int ldb, Real<T> vl, Real<T> vu,
           Int il, Int iu, Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork,
           Int* iwork, Int* ifail, Int& info);

// In packed storage: n (n + 1) / 2 elements each of A, which are destroyed, and of B.

/// All eigenvalues by QL and QR iteration.
///
/// work    spgv 3 n elements, hpgv max(1, 2 n - 1);  rwork  max(1, 3 n - 2)
template <RealScalar T>
void spgv(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, T* w, T* z, Int ldz, T* work, Int& info);
template <ComplexScalar T>
void hpgv(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork,
          Int& info);

/// All eigenvalues, the eigenvectors by divide and conquer.
///
/// lwork   spgvd at least 2 n ('N') or 2 n^2 + 2 n l + 5 n + 1 ('V') with 2^l the least power of two from n on, hpgvd n
///         or 2 n; 1 for n <= 1
/// lrwork  n or 2 n^2 + 5 n + 1; 1 for n <= 1
/// liwork  1 or 5 n + 3; 1 for n <= 1
/// work, rwork, iwork  as of sygvd
template <RealScalar T>
void spgvd(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, T* w, T* z, Int ldz, T* work, Int lwork, Int* iwork,
           Int liwork, Int& info);
template <ComplexScalar T>
void hpgvd(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, Real<T>* w, T* z, Int ldz, T* work, Int lwork,
           Real<T>* rwork, Int lrwork, Int* iwork, Int liwork, Int& info);

/// Selected eigenvalues, chosen as by sygvx.
///
/// work    spgvx 8 n elements, hpgvx 2 n;  rwork  7 n;  iwork  5 n
template <RealScalar T>
void spgvx(Int itype, char jobz, char range, char uplo, Int n, T* ap, T* bp, T vl, T vu, Int il, Int iu, T abstol,
           Int& m, T* w, T* z, Int ldz, T* work, Int* iwork, Int* ifail, Int& info);
template <ComplexScalar T>
void hpgvx(Int itype, char jobz, char range, char uplo, Int n, T* ap, T* bp, Real<T> vl, Real<T> vu, Int il, Int iu,
           Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork, Int* iwork, Int* ifail,
           Int& info);

// In band storage, A x = lambda B x alone: ka >= kb >= 0 diagonals beside the main one; ab ka + 1 by n, bb kb + 1 by n,
// the main diagonal in the last row (upper) or the first (lower). Both are destroyed; bb holds the split factor of B.

/// All eigenvalues by QL and QR iteration.
///
/// work    sbgv 3 n elements, hbgv n;  rwork  3 n
template <RealScalar T>
void sbgv(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* w, T* z, Int ldz, T* work,
          Int& info);
template <ComplexScalar T>
void hbgv(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, Real<T>* w, T* z, Int ldz,
          T* work, Real<T>* rwork, Int& info);

/// All eigenvalues, the eigenvectors by divide and conquer.
///
/// lwork   sbgvd at least 2 n ('N') or 2 n^2 + 5 n + 1 ('V'), hbgvd n or 2 n^2; 1 for n <= 1
/// lrwork  n or 2 n^2 + 5 n + 1; 1 for n <= 1
/// liwork  1 or 5 n + 3; 1 for n <= 1
/// work, rwork, iwork  as of sygvd
template <RealScalar T>
void sbgvd(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* w, T* z, Int ldz, T* work,
           Int lwork, Int* iwork, Int liwork, Int& info);
template <ComplexScalar T>
void hbgvd(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, Real<T>* w, T* z, Int ldz,
           T* work, Int lwork, Real<T>* rwork, Int lrwork, Int* iwork, Int liwork, Int& info);

/// Selected eigenvalues, chosen as by sygvx.
///
/// q       'V': n by n, what takes the eigenvectors of the tridiagonal matrix to Z; ldq >= 1, and for 'V' >= n
/// work    sbgvx 7 n elements, hbgvx n;  rwork  7 n;  iwork  5 n
template <RealScalar T>
void sbgvx(char jobz, char range, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* q, Int ldq,
           T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z, Int ldz, T* work, Int* iwork, Int* ifail,
           Int& info);
template <ComplexScalar T>
void hbgvx(char jobz, char range, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* q, Int ldq,
           Real<T> vl, Real<T> vu, Int il, Int iu, Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work,
           Real<T>* rwork, Int* iwork, Int* ifail, Int& info);

}  // namespace nuv
