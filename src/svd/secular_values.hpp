#pragma once

// The singular values of a diagonal matrix with one more row z^T in the place of its first, whose element is zero. They
// are the roots of the secular equation
//
//     1 / rho + z(1)^2 / (d(1)^2 - sigma^2) + ... + z(n)^2 / (d(n)^2 - sigma^2) = 0,
//
// one between each two neighbours of d and one beyond the last (M. Gu, S. C. Eisenstat, "A divide-and-conquer algorithm
// for the bidiagonal SVD", SIAM J. Matrix Anal. Appl. 16, 1995). They are found as those of the symmetric problem, with
// squares of d for poles (R.-C. Li, Solving secular equations stably and efficiently, 1994), which keeps the distances
// from all of d accurate to a few units in the last place.

#include "base/types.hpp"

namespace nuv {

/// Finds root i of the secular equation.
///
/// n, i    1 <= i <= n
/// d       n elements in increasing order, none negative
/// z       n elements, none of them zero, of Euclidean norm one
/// delta   n elements: d(j) - sigma. For n = 1 it is 1
/// rho     positive
/// sigma   the root
/// work    n elements: d(j) + sigma. For n = 1 it is 1
/// info    0; 1: forty steps beside the first were not enough, and sigma is what the last one gave
template <RealScalar T>
void lasd4(Int n, Int i, const T* d, const T* z, T* delta, T rho, T& sigma, T* work, Int& info);

/// The same for n = 2, in closed form; the root is dsigma.
template <RealScalar T>
void lasd5(Int i, const T* d, const T* z, T* delta, T rho, T& dsigma, T* work);

}  // namespace nuv
