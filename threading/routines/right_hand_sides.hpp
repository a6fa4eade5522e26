#pragma once

// How solves with several right-hand sides share them among threads.

#include <algorithm>

#include "threading/runtime.hpp"

namespace nuv::threading {

/// Where right-hand sides are cut into strips.
struct Strips {
  Int nrhs;
  Int wide;   ///< most right-hand sides in a strip
  Int grain;  ///< cuts are at multiples of it

  Int count() const { return nrhs > wide ? (nrhs - 1) / wide + 1 : 1; }

  /// Right-hand sides before strip i, or all of them behind the last.
  Int cut(Int i) const {
    const std::int64_t grains = (nrhs - 1) / grain + 1;
    return static_cast<Int>(std::min<std::int64_t>(nrhs, grains * i / count() * grain));
  }
};

/// Runs solve(first, count, info) on strips of right-hand sides, counted from zero, on all threads. Where the strips are
/// depends on the problem alone, so that any number of threads gives the same bits. A single strip, or little work, stays
/// on the calling thread, and products in it find the threads by themselves.
///
/// Solves with no right-hand side at all are made first: they check the arguments, for all strips.
///
/// multiply_adds   of all, real ones
template <class Solve>
void solve_by_strips(const Strips& strips, double multiply_adds, Int& info, Solve solve) {
  if (strips.count() == 1 || multiply_adds < work_for_two_threads) return solve(Int{0}, strips.nrhs, info);
  solve(Int{0}, Int{0}, info);
  if (info != 0) return;
  split(strips.count(), {1, 1}, multiply_adds, [&](Int from, Int until) {
    for (Int i = from; i < until; ++i) {
      Int info_of_strip = 0;
      solve(strips.cut(i), strips.cut(i + 1) - strips.cut(i), info_of_strip);
    }
  });
}

}  // namespace nuv::threading
