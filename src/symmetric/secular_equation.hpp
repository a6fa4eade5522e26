#pragma once

// The eigenvalues of a diagonal matrix plus one of rank one, D + rho z z^T: they are the roots of the secular equation
//
//     1 / rho + z(1)^2 / (d(1) - lambda) + ... + z(n)^2 / (d(n) - lambda) = 0,
//
// one between each two neighbours of d and one beyond the last. Each is found from its nearest pole by rational
// interpolation, which keeps its distances from all of d accurate to a few units in the last place (R.-C. Li, Solving
// secular equations stably and efficiently, 1994).

#include "base/types.hpp"

namespace nuv {

/// Finds root i of the secular equation.
///
/// n, i    1 <= i <= n
/// d       n elements in increasing order
/// z       n elements, none of them zero, of Euclidean norm one
/// delta   n elements: d(j) - lambda. For n = 1 it is 1, for n = 2 the unit eigenvector
/// rho     positive
/// dlam    the root
/// info    0; 1: thirty steps were not enough
template <RealScalar T>
void laed4(Int n, Int i, const T* d, const T* z, T* delta, T rho, T& dlam, Int& info);

/// The same for n = 2, in closed form.
///
/// delta   the unit eigenvector
template <RealScalar T>
void laed5(Int i, const T* d, const T* z, T* delta, T rho, T& dlam);

/// Finds the root nearest to zero of
///
///     f(x) = rho + z(1) / (d(1) - x) + z(2) / (d(2) - x) + z(3) / (d(3) - x)
///
/// between its poles, one of which is taken to be that root's neighbour on the far side of zero (W. B. Gragg's scheme
/// of third order with bounds).
///
/// kniter  2: the first guess is made from two of the poles; any other: it is zero
/// orgati  true: the root lies between d(2) and d(3); false: between d(1) and d(2)
/// d       3 elements in increasing order, with zero between the two that enclose the root
/// z       3 elements, all positive
/// finit   f(0)
/// tau     the root
/// info    0; 1: forty-nine steps were not enough
template <RealScalar T>
void laed6(Int kniter, Logical orgati, T rho, const T* d, const T* z, T finit, T& tau, Int& info);

}  // namespace nuv
