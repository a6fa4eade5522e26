#pragma once

// The rotation of sweeps that make theirs in place, without a call.

#include <cmath>

#include "environment/machine_constants.hpp"

namespace nuv {

/// What cosine and sine are of the length r of (f, g): quotients, or products with 1 / r.
enum class Normalised { by_division, by_reciprocal };

/// Rotation (c, s) that takes (f, g) to (r, 0). c is negative where f is and |g| >= |f|, so is r where only f is
/// larger. Numbers whose squares would leave the range are scaled at most twice, by powers of two.
template <Normalised how, RealScalar R>
[[gnu::always_inline]] inline void rotation_of_sweep(R f, R g, R& c, R& s, R& r) {
  constexpr R small = Machine<R>::safmn2, big = Machine<R>::safmx2;
  if (g == 0) {
    c = 1;
    s = 0;
    r = f;
    return;
  }
  if (f == 0) {
    c = 0;
    s = 1;
    r = g;
    return;
  }
  int scalings = 0;
  R inverse_scale = 1;
  const auto scale_while = [&](auto is_out_of_range, R scale, R inverse) {
    inverse_scale = inverse;
    while (scalings < 2 && is_out_of_range()) {
      f *= scale;
      g *= scale;
      ++scalings;
    }
  };
  if (std::abs(f) < small && std::abs(g) < small) {
    scale_while([&] { return std::abs(f) < small && std::abs(g) < small; }, big, small);
  } else if (std::abs(f) > big || std::abs(g) > big) {
    scale_while([&] { return std::abs(f) > big || std::abs(g) > big; }, small, big);
  }
  r = std::sqrt(f * f + g * g);
  if (std::abs(f) > std::abs(g) && f < 0) r = negated(r);
  if constexpr (how == Normalised::by_division) {
    c = f / r;
    s = g / r;
  } else {
    const R inverse = 1 / r;
    c = f * inverse;
    s = g * inverse;
  }
  for (; scalings > 0; --scalings) r *= inverse_scale;
}

}  // namespace nuv
