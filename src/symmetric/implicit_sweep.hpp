#pragma once

// One sweep of the implicit QL or QR iteration with Wilkinson's shift, its rotations generated in place.

#include <cmath>

#include "environment/machine_constants.hpp"
#include "environment/sums_of_squares.hpp"

namespace nuv {

/// Rotation (c, s) that takes (g, f) to (r, 0). c is negative where g is and |f| >= |g|, so is r where only g is
/// larger. Numbers whose squares would leave the range are scaled at most twice, by powers of two.
template <RealScalar R>
[[gnu::always_inline]] inline void rotation_of_sweep(R g, R f, R& c, R& s, R& r) {
  constexpr R small = Machine<R>::safmn2, big = Machine<R>::safmx2;
  if (f == 0) {
    c = 1;
    s = 0;
    r = g;
    return;
  }
  if (g == 0) {
    c = 0;
    s = 1;
    r = f;
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
  if (std::abs(g) > std::abs(f) && g < 0) r = negated(r);
  s = f / r;
  c = g / r;
  for (; scalings > 0; --scalings) r *= inverse_scale;
}

/// The sweep over an unreduced matrix of order n + 1, diagonal d and e beside it: with n rotations from the first row
/// down (QR), the shift taken from the last rows, or from the last row up (QL), the shift from the first rows. Where
/// `keeps` says so, cosine and sine of the rotation in the plane (i, i + 1) become cosine[i - 1] and sine[i - 1].
template <bool downwards, RealScalar R>
void implicit_sweep(bool keeps, Int n, R* d, R* e, R* cosine, R* sine) {
  // Both sweeps in the order of the first: D(k) and E(k) are counted from where the sweep begins.
  const auto place = [=](Int k) { return downwards ? k - 1 : n - k; };
  const auto D = [=](Int k) -> R& { return d[downwards ? k - 1 : n + 1 - k]; };
  const auto E = [=](Int k) -> R& { return e[place(k)]; };

  R g = (D(n) - D(n + 1)) / (2 * E(n));
  R r = lapy2(g, R(1));
  g = (D(1) - D(n + 1)) + E(n) / (g >= 0 ? g + r : g - r);
  R s = 1, c = 1, p = 0;
  for (Int k = 1; k <= n; ++k) {
    const R f = s * E(k), b = c * E(k);
    rotation_of_sweep(g, f, c, s, r);
    if (k != 1) E(k - 1) = r;
    g = D(k) - p;
    r = (c + c) * b + (D(k + 1) - g) * s;
    p = s * r;
    D(k) = g + p;
    g = r * c - b;
    if (keeps) {
      cosine[place(k)] = c;
      sine[place(k)] = downwards ? s : negated(s);
    }
  }
  D(n + 1) -= p;
  E(n) = g;
}

}  // namespace nuv
