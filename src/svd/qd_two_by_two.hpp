#pragma once

// Eigenvalues of a qd array of order two.

#include <cmath>
#include <utility>

#include "base/types.hpp"

namespace nuv {

/// The eigenvalues of L U for q1, e, q2, in their places, the larger one first. e is negligible up to `negligible` q2.
template <RealScalar R>
void solve_two_by_two(R& q1, R e, R& q2, R negligible) {
  if (q2 > q1) std::swap(q1, q2);
  if (!(e > q2 * negligible)) return;
  const R t = R(0.5) * ((q1 - q2) + e);
  if (t == 0) return;  // all three are next to nothing
  R s = q2 * (e / t);
  if (s <= t) {
    s = q2 * (e / (t * (1 + std::sqrt(1 + s / t))));
  } else {
    s = q2 * (e / (t + std::sqrt(t) * std::sqrt(t + s)));
  }
  const R larger = q1 + (s + e);
  q2 = q2 * (q1 / larger);
  q1 = larger;
}

}  // namespace nuv
