#pragma once

// Drivers for eigenproblems of symmetric tridiagonal matrices. They scale a matrix whose elements are very small or
// very large, choose a method, and scale the eigenvalues back.
//
// jobz    'N': eigenvalues; 'V': eigenvectors too
// range   'A': all; 'V': those in (vl, vu], vl < vu; 'I': the il-th to the iu-th, 1 <= il <= iu <= n if n > 0
// d, e    n numbers on the diagonal, n - 1 beside it; overwritten
// abstol  error that an eigenvalue may have; zero or less: as small as the norm of the matrix lets it be
// m       number of eigenvalues found;  w  they, in ascending order, in n places
// z       n by n, or n by m; the eigenvectors in its columns; ldz >= 1, for 'V' max(1, n)
// info    0; -k: argument k was bad (reported); above 0: of the method

#include "base/types.hpp"

namespace nuv {

/// Finds all eigenvalues and, if wanted, eigenvectors by QL and QR iteration.
///
/// d       the eigenvalues out, in ascending order
/// work    max(1, 2 n - 2) elements for 'V', else not used
/// info    k: k off-diagonals are not zero after the last sweep
template <RealScalar T>
void stev(char jobz, Int n, T* d, T* e, T* z, Int ldz, T* work, Int& info);

/// The same with the eigenvectors by divide and conquer.
///
/// lwork   >= 1 + 4 n + n^2 for 'V' and n > 1, else 1;  liwork >= 3 + 5 n, else 1. -1 for either: a query; work(1) and
///         iwork(1) tell the sizes, nothing is computed
/// info    k: as stedc's
template <RealScalar T>
void stevd(char jobz, Int n, T* d, T* e, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int liwork, Int& info);

/// Finds selected eigenvalues and, if wanted, eigenvectors: all of them by QL and QR iteration unless abstol allows for
/// errors or the iteration fails, others by bisection and inverse iteration.
///
/// work, iwork  5 n elements each
/// ifail   n elements for 'V': the numbers of the eigenvectors that did not converge, as stein leaves them
/// info    k: k eigenvectors did not converge
template <RealScalar T>
void stevx(char jobz, char range, Int n, T* d, T* e, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z, Int ldz,
           T* work, Int* iwork, Int* ifail, Int& info);

/// The same with relatively robust representations for all eigenvectors, and the iteration without square roots for all
/// eigenvalues alone. What that can't do is left to bisection and inverse iteration.
///
/// isuppz  2 max(1, m) elements for 'V' and all eigenvalues: the first and the last row that is not zero in each vector
/// lwork   >= max(1, 20 n), liwork >= max(1, 10 n); -1 for either: a query
/// info    k: as stebz's or stein's
template <RealScalar T>
void stevr(char jobz, char range, Int n, T* d, T* e, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z, Int ldz,
           Int* isuppz, T* work, Int lwork, Int* iwork, Int liwork, Int& info);

}  // namespace nuv
