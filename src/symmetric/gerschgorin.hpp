#pragma once

// Intervals that hold eigenvalues of a symmetric tridiagonal matrix, by S. A. Gerschgorin's theorem: d(i) and as much
// on both sides as stands beside it.

#include <cmath>

#include "environment/extremes.hpp"
#include "symmetric/value_search.hpp"

namespace nuv {

template <RealScalar R>
R width(const Interval<R>& interval) {
  return interval.right - interval.left;
}

/// The union of the intervals of `count` rows, gers(2i-1) to gers(2i).
template <RealScalar R>
Interval<R> union_of_intervals(Int count, const R* gers) {
  Interval<R> all = {gers[0], gers[1]};
  for (std::ptrdiff_t i = 1; i < count; ++i) {
    all = {smaller_or_nan(all.left, gers[2 * i]), larger_or_nan(all.right, gers[2 * i + 1])};
  }
  return all;
}

/// Finds the interval of each row.
template <RealScalar R>
void set_gerschgorin_intervals(Int n, const R* d, const R* e, R* gers) {
  R before = 0;
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    const R behind = i < n - 1 ? std::abs(e[i]) : R(0), radius = before + behind;
    gers[2 * i] = d[i] - radius;
    gers[2 * i + 1] = d[i] + radius;
    before = behind;
  }
}

}  // namespace nuv
