#pragma once

// Eigenvalues and eigenvectors of real symmetric tridiagonal matrices by multiple relatively robust representations
// (I. S. Dhillon and B. N. Parlett, Multiple representations to compute orthogonal eigenvectors of symmetric
// tridiagonal matrices, Linear Algebra Appl. 387, 2004): O(n) operations for each pair, and vectors orthogonal without
// being made so. c and z keep the real vectors in complex matrices.
//
// jobz    'N': eigenvalues; 'V': eigenvectors too
// range   'A': all; 'V': those in (vl, vu], vl < vu; 'I': the il-th to the iu-th, 1 <= il <= iu <= n, or 1 to 0 of none
// d, e    n numbers each: the diagonal, and what stands beside it in n - 1 of them; scratch on return
// m       number of eigenvalues;  w  they, in ascending order, in n places
// z       n by m, ldz >= 1 and, for 'V', ldz >= n; orthonormal eigenvectors
// isuppz  2 m places: the first and the last row that is not zero in each vector
// lwork   >= 18 n, for 'N' 12 n, at least 1; -1: a query: work(1) and iwork(1) are set, nothing is computed
// liwork  >= 10 n, for 'N' 8 n, at least 1; -1: a query alike
// info    0; -k: argument k was bad (reported); 10 + k: larre ended with info k or -k, 20 + k: larrv did

#include "base/types.hpp"

namespace nuv {

/// nzc     columns of z, at least as many as there are vectors; -1: z(1, 1) tells how many that takes, nothing is
///         computed
/// tryrac  in: eigenvalues are to be as accurate as the matrix determines them; out: whether it does so to high
///         relative accuracy, and they are
template <Scalar T>
void stemr(char jobz, char range, Int n, Real<T>* d, Real<T>* e, Real<T> vl, Real<T> vu, Int il, Int iu, Int& m,
           Real<T>* w, T* z, Int ldz, Int nzc, Int* isuppz, Logical& tryrac, Real<T>* work, Int lwork, Int* iwork,
           Int liwork, Int& info);

/// The same without nzc, which is n, and tryrac, which is false; bad arguments are reported as stemr's. abstol is not
/// looked at.
template <Scalar T>
void stegr(char jobz, char range, Int n, Real<T>* d, Real<T>* e, Real<T> vl, Real<T> vu, Int il, Int iu, Real<T> abstol,
           Int& m, Real<T>* w, T* z, Int ldz, Int* isuppz, Real<T>* work, Int lwork, Int* iwork, Int liwork, Int& info);

}  // namespace nuv
