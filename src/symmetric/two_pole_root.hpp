#pragma once

// Roots of secular equations of order two in closed form.

#include "symmetric/quadratic_roots.hpp"

namespace nuv {

/// A root as the pole from which it is seen, 1 or 2, and its distance behind it.
template <RealScalar R>
struct TwoPoleRoot {
  Int origin;
  R tau;
};

/// Root i of 1 / rho + z1 / (0 - x) + z2 / (gap - x): with the root seen from a pole, the equation is quadratic.
template <RealScalar R>
TwoPoleRoot<R> two_pole_root(Int i, R gap, R z1, R z2, R rho) {
  const R in_the_middle = 1 + 2 * rho * (z2 - z1) / gap;
  if (i == 1 && in_the_middle > 0) return {1, left_root(gap + rho * (z1 + z2), rho * z1 * gap, R(1))};
  const R a = rho * (z1 + z2) - gap, b = negated(rho * z2 * gap);
  return {2, i == 1 ? left_root(a, b, R(1)) : right_root(a, b, R(1))};
}

}  // namespace nuv
