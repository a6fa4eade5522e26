#pragma once

// The loops behind Sturm counts, for one shift and for several side by side: a division waits for the one before it, so
// that several shifts take hardly longer than one.

#include <algorithm>
#include <cmath>

#include "base/types.hpp"
#include "symmetric/sturm_intervals.hpp"

namespace nuv {

/// So many shifts go side by side.
inline constexpr Int shifts_at_once = 8;

/// So many rows pass before somebody looks for NaN.
inline constexpr Int rows_between_tests = 128;

/// One direction of a twisted factorisation of L D L^T - sigma I. In row j, with what came from the row before as t,
///
///     pivot = add(j) + t,     t := t / pivot * times(j) - sigma
///
/// From the top down these are d and lld, from the bottom up lld and d.
template <RealScalar R>
struct Sweep {
  Int rows;
  const R* add;
  const R* times;
  std::ptrdiff_t step;  ///< to the next row

  /// Rows 1 ... r - 1 from the top.
  static Sweep down(const R* d, const R* lld, Int r) { return {r - 1, d, lld, 1}; }
  /// Rows n ... r + 1 from the bottom.
  static Sweep up(Int n, const R* d, const R* lld, Int r) { return {n - r, lld + (n - 2), d + (n - 2), -1}; }
};

namespace detail {

/// A number for each of the shifts.
template <RealScalar R>
struct Shifts {
  using Pack = typename BaselineVectors<R>::Numbers;
  using Count = typename BaselineVectors<R>::Counts;
  static constexpr int lanes = Pivots<R>::lanes, packs = int(shifts_at_once) / lanes;

  Pack pack[packs];

  static Shifts load(const R* x) {
    Shifts shifts;
    __builtin_memcpy(shifts.pack, x, sizeof shifts.pack);
    return shifts;
  }
  R get(int k) const { return pack[k / lanes][k % lanes]; }
  void set(int k, R x) { pack[k / lanes][k % lanes] = x; }
};

/// Rows of a sweep, safe from infinities: their quotient counts as 1, which is its limit.
template <RealScalar R>
R sweep_safely(const Sweep<R>& sweep, Int first, Int end, R sigma, R t, Int& count) {
  for (std::ptrdiff_t j = first; j < end; ++j) {
    const R pivot = sweep.add[j * sweep.step] + t;
    count += pivot < 0;
    const R ratio = t / pivot;
    t = (std::isnan(ratio) ? R(1) : ratio) * sweep.times[j * sweep.step] - sigma;
  }
  return t;
}

}  // namespace detail

/// Adds the number of negative pivots to count, and gives what goes on to the row behind the last.
///
/// A zero pivot makes an infinity, and that a NaN one row later, which stays; the rows since the last test are gone
/// through again then.
template <RealScalar R>
R run(const Sweep<R>& sweep, R sigma, R t, Int& count) {
  for (Int first = 0; first < sweep.rows; first += rows_between_tests) {
    const Int end = std::min(first + rows_between_tests, sweep.rows);
    const R start = t;
    Int negative = 0;
    for (std::ptrdiff_t j = first; j < end; ++j) {
      const R pivot = sweep.add[j * sweep.step] + t;
      negative += pivot < 0;
      t = (t / pivot) * sweep.times[j * sweep.step] - sigma;
    }
    if (std::isnan(t)) {
      negative = 0;
      t = detail::sweep_safely(sweep, first, end, sigma, start, negative);
    }
    count += negative;
  }
  return t;
}

/// The same for several shifts, to the same bits.
template <RealScalar R>
void run_side_by_side(const Sweep<R>& sweep, const detail::Shifts<R>& sigma, detail::Shifts<R>& t, Int* counts) {
  using detail::Shifts;
  constexpr int packs = Shifts<R>::packs;
  for (Int first = 0; first < sweep.rows; first += rows_between_tests) {
    const Int end = std::min(first + rows_between_tests, sweep.rows);
    const Shifts<R> start = t;
    typename Shifts<R>::Count negative[packs] = {};
    for (std::ptrdiff_t j = first; j < end; ++j) {
      const R add = sweep.add[j * sweep.step], times = sweep.times[j * sweep.step];
#pragma GCC unroll 8
      for (int p = 0; p < packs; ++p) {
        const auto pivot = add + t.pack[p];
        negative[p] -= pivot < 0;
        t.pack[p] = (t.pack[p] / pivot) * times - sigma.pack[p];
      }
    }
    for (int k = 0; k < shifts_at_once; ++k) {
      Int count = static_cast<Int>(negative[k / Shifts<R>::lanes][k % Shifts<R>::lanes]);
      if (std::isnan(t.get(k))) {
        count = 0;
        t.set(k, detail::sweep_safely(sweep, first, end, sigma.get(k), start.get(k), count));
      }
      counts[k] += count;
    }
  }
}

/// laneg for several shifts.
template <RealScalar R>
void count_representation(Int n, const R* d, const R* lld, const R* sigmas, Int r, Int* counts) {
  using Shifts = detail::Shifts<R>;
  const Shifts sigma = Shifts::load(sigmas);
  Shifts from_top, from_bottom;
  for (int p = 0; p < Shifts::packs; ++p) {
    from_top.pack[p] = R(0) - sigma.pack[p];
    from_bottom.pack[p] = d[n - 1] - sigma.pack[p];
  }
  std::fill_n(counts, shifts_at_once, 0);
  run_side_by_side(Sweep<R>::down(d, lld, r), sigma, from_top, counts);
  run_side_by_side(Sweep<R>::up(n, d, lld, r), sigma, from_bottom, counts);
  for (int k = 0; k < shifts_at_once; ++k) {
    const R gamma = (from_top.get(k) + sigmas[k]) + from_bottom.get(k);
    counts[k] += gamma < 0;
  }
}

/// The number of eigenvalues of T below x; T has a row at least, here and below.
template <RealScalar R>
Int count_below(const Pivots<R>& T, R x) {
  R points[Pivots<R>::lanes];
  Int counts[Pivots<R>::lanes];
  std::fill_n(points, Pivots<R>::lanes, x);
  T.template count<1>(points, counts);
  return counts[0];
}

/// The same for `shifts_at_once` of x.
template <RealScalar R>
void count_below(const Pivots<R>& T, const R* x, Int* counts) {
  T.template count<int(shifts_at_once) / Pivots<R>::lanes>(x, counts);
}

}  // namespace nuv
