#pragma once

// Eigenvectors of a symmetric tridiagonal matrix by inverse iteration, on the eigenvalues that bisection has found, and
// the factorisation of a shifted tridiagonal matrix on which it stands (J. H. Wilkinson, "The Algebraic Eigenvalue
// Problem", Oxford, 1965).

#include "base/types.hpp"

namespace nuv {

/// Factors T - lambda I = P L U for a general tridiagonal T of order n, with row exchanges by the magnitudes of pivots
/// relative to their rows.
///
/// a       n diagonal elements of T; becomes the diagonal of U
/// b       n - 1 elements above it; becomes the first superdiagonal of U
/// c       n - 1 elements below it; becomes the multipliers of L
/// tol     relative size of the elements of T; no less than eps is taken
/// d       n - 2 elements: the second superdiagonal of U
/// in      n elements: in(k) is 1 where step k exchanged rows, else 0; in(n) is the first k for which the k-th pivot is
///         negligible beside its row, by tol, or 0 if none is
/// info    0, or -1: n was bad (reported)
template <RealScalar T>
void lagtf(Int n, T* a, T lambda, T* b, T* c, T tol, T* d, Int* in, Int& info);

/// Solves with the factors that lagtf left.
///
/// job     1: (T - lambda I) x = y; 2: (T - lambda I)^T x = y; -1, -2: the same, where diagonal elements of U that are
///         so small that the solution would overflow are perturbed first
/// a, b, c, d, in   the factors
/// y       n elements: right-hand side in, solution out
/// tol     for negative jobs, the first perturbation tried, each further one being twice the one before; zero or less
///         becomes eps times the largest element of U, or eps if U is zero
/// info    0; -k: argument k was bad (reported); k, for positive jobs: element k of the solution would overflow, and y
///         is of no use
template <RealScalar T>
void lagts(Int job, Int n, const T* a, const T* b, const T* c, const T* d, const Int* in, T* y, T& tol, Int& info);

/// Finds the eigenvectors that belong to m given eigenvalues of a tridiagonal matrix of order n, with d on its diagonal
/// and n - 1 elements e beside it. Vectors of values closer than 1e-3 ||T||, or ||T|| / (10 n) if that is more, are
/// made orthogonal to each other, as far as their values lie in one block.
///
/// w       m values: in ascending order in each block, block after block, as stebz gives them by order 'B'
/// iblock  the block of each value, in ascending order; the sign is not looked at
/// isplit  the last row of each block
/// z       n by m, ldz >= max(1, n): unit vectors, in each the element of largest magnitude positive
/// work, iwork  5 n and n elements
/// ifail   m elements: the first info of them are the numbers of the vectors that did not converge in 5 iterations,
///         the rest zero
/// info    0; -k: argument k was bad (reported); k: so many vectors did not converge, their last iterates are in z
template <Scalar T>
void stein(Int n, const Real<T>* d, const Real<T>* e, Int m, const Real<T>* w, const Int* iblock, const Int* isplit,
           T* z, Int ldz, Real<T>* work, Int* iwork, Int* ifail, Int& info);

}  // namespace nuv
