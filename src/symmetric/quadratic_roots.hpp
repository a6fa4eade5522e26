#pragma once

// Roots of the quadratic equations that the steps of root finders come down to.

#include <cmath>

#include "base/types.hpp"

namespace nuv {

template <RealScalar R>
constexpr R square(R x) {
  return x * x;
}

/// A root of c x^2 - a x + b, (a - s) / (2 c) or (a + s) / (2 c) with s^2 = a^2 - 4 b c, without cancellation. The
/// roots are known to be real, so that a negative s^2 comes from rounding.
template <RealScalar R>
R left_root(R a, R b, R c) {
  const R s = std::sqrt(std::abs(a * a - 4 * b * c));
  return a <= 0 ? (a - s) / (2 * c) : 2 * b / (a + s);
}
template <RealScalar R>
R right_root(R a, R b, R c) {
  const R s = std::sqrt(std::abs(a * a - 4 * b * c));
  return a >= 0 ? (a + s) / (2 * c) : 2 * b / (a - s);
}

}  // namespace nuv
