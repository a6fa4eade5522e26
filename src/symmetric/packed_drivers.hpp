#pragma once

// Eigenvalues and, if wanted, eigenvectors of a symmetric or Hermitian matrix in packed storage.
//
// jobz    'N': eigenvalues alone; 'V': and eigenvectors
// uplo    'U' or 'L': the triangle that is stored
// ap      order n, n (n + 1) / 2 elements: A in; its reduction to tridiagonal form out, scaled if that was needed
// w       n elements: the eigenvalues in ascending order
// z       'V': their orthonormal eigenvectors in its columns, 'N': not touched; ldz >= 1, and for 'V' >= n
// info    0; -k: argument k was bad (reported)
//
// A matrix whose elements are so small or so large that their squares would leave the exponent range is scaled for the
// time being.

#include "base/types.hpp"

namespace nuv {

/// All eigenvalues; the eigenvectors by QL and QR iteration.
///
/// z       n by n
/// work    spev 3 n elements, hpev max(1, 2 n - 1);  rwork  max(1, 3 n - 2)
/// info    k: k off-diagonals of the tridiagonal matrix did not converge; the first k - 1 of w are scaled back
template <RealScalar T>
void spev(char jobz, char uplo, Int n, T* ap, T* w, T* z, Int ldz, T* work, Int& info);
template <ComplexScalar T>
void hpev(char jobz, char uplo, Int n, T* ap, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork, Int& info);

/// All eigenvalues; the eigenvectors by divide and conquer.
///
/// z       n by n
/// lwork   spevd at least 2 n ('N') or n^2 + 6 n + 1 ('V'), hpevd n or 2 n; 1 for n <= 1
/// lrwork  n or 2 n^2 + 5 n + 1; 1 for n <= 1
/// liwork  1 or 5 n + 3; 1 for n <= 1
/// work, rwork, iwork  the first elements return those sizes; -1 for one of them asks for all and does nothing else
/// info    k: as stedc and sterf tell
template <RealScalar T>
void spevd(char jobz, char uplo, Int n, T* ap, T* w, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int liwork,
           Int& info);
template <ComplexScalar T>
void hpevd(char jobz, char uplo, Int n, T* ap, Real<T>* w, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork,
           Int lrwork, Int* iwork, Int liwork, Int& info);

/// Selected eigenvalues: all of them by QL and QR iteration, unless abstol > 0; else by bisection and inverse
/// iteration.
///
/// range   'A': all; 'V': those in (vl, vu]; 'I': the il-th to the iu-th, 1 <= il <= iu <= n (for n = 0 il = 1, iu = 0)
/// abstol  width of an interval that counts as an eigenvalue; not positive: eps times the norm of what is bisected
/// m       eigenvalues found
/// z       n by m
/// work    spevx 8 n elements, hpevx 2 n;  rwork  7 n;  iwork  5 n
/// ifail   n elements, for 'V': zeros, or the eigenvectors that did not converge
/// info    k: k eigenvectors did not converge; if all did, as stebz tells of the eigenvalues
template <RealScalar T>
void spevx(char jobz, char range, char uplo, Int n, T* ap, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z,
           Int ldz, T* work, Int* iwork, Int* ifail, Int& info);
template <ComplexScalar T>
void hpevx(char jobz, char range, char uplo, Int n, T* ap, Real<T> vl, Real<T> vu, Int il, Int iu, Real<T> abstol,
           Int& m, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork, Int* iwork, Int* ifail, Int& info);

}  // namespace nuv
