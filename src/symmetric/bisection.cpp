#include "symmetric/bisection.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/service_math.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "symmetric/sorted_pairs.hpp"
#include "symmetric/sturm_intervals.hpp"

namespace nuv {

template <RealScalar T>
void laebz(Int ijob, Int nitmax, Int n, Int mmax, Int minp, Int nbmin, T abstol, T reltol, T pivmin, const T* d,
           const T* e, const T* e2, Int* nval, T* ab, T* c, Int& mout, Int* nab, T* work, Int* iwork, Int& info) {
  static_cast<void>(nbmin), static_cast<void>(e), static_cast<void>(work), static_cast<void>(iwork);
  info = ijob < 1 || ijob > 3 ? -1 : 0;
  if (info != 0) return;
  Intervals<T> intervals{{n, d, e2, pivmin}, mmax, minp, {ab, mmax}, {nab, mmax}, c, ijob == 3 ? nval : nullptr};
  if (ijob == 1) {
    mout = 0;
    for (Int i = 1; i <= minp; ++i) {
      T ends[Pivots<T>::lanes] = {intervals.ab(i, 1), intervals.ab(i, 2)};
      Int found[Pivots<T>::lanes];
      intervals.pivots.template count<1>(ends, found);
      for (Int side = 1; side <= 2; ++side) intervals.nab(i, side) = found[side - 1];
      mout += found[1] - found[0];
    }
    return;
  }
  if (ijob == 2) intervals.cut_in_the_middle();
  for (Int round = 1; round <= nitmax && intervals.first <= intervals.last; ++round) {
    if (!intervals.narrow()) {
      info = mmax + 1;
      break;
    }
    intervals.move_converged_to_front(abstol, reltol);
    intervals.cut_in_the_middle();
  }
  if (info == 0) info = intervals.last + 1 - intervals.first;
  mout = intervals.last;
}

namespace {

enum class Range { all, values, indices };

/// Whether limits that belong to indices were found.
enum class Limits { found, inconsistent, not_finite };

/// By how much bounds are widened, in units of their rounding errors, and the relative tolerance, in units of eps.
template <RealScalar T>
constexpr T fudge = T(2.1);
template <RealScalar T>
constexpr T twice_fudge = T(4.2);
template <RealScalar T>
constexpr T relative_tolerance = 2 * Machine<T>::precision;

template <RealScalar T>
struct Bounds {
  T low, high;

  T largest() const { return larger_or_nan(std::abs(low), std::abs(high)); }
  bool are_finite() const { return largest() <= Machine<T>::overflow; }

  /// Halvings that bring the interval down to the least pivot.
  Int halvings(T size, T pivmin) const {
    return truncated((std::log(size + pivmin) - std::log(pivmin)) / T(0.69314718055994529)) + 2;
  }
};

/// The union of the discs of S. A. Gerschgorin, with beside(j) for what stands between rows j and j + 1.
template <RealScalar T, class Beside>
Bounds<T> discs(Int n, const T* d, Beside beside) {
  Bounds<T> bounds{d[0], d[0]};
  T before = 0;
  for (Int j = 0; j < n; ++j) {
    const T behind = j < n - 1 ? beside(j) : T(0);
    bounds.high = larger_or_nan(bounds.high, d[j] + before + behind);
    bounds.low = smaller_or_nan(bounds.low, d[j] - before - behind);
    before = behind;
  }
  return bounds;
}

template <RealScalar T>
class Search {
 public:
  Search(Range range, Int n, T abstol, const T* d, const T* e, T* w, Int* iblock, T* work, Int* iwork)
      : range_(range),
        n_(n),
        abstol_(abstol),
        d_(d),
        e_(e),
        w_(w),
        iblock_(iblock),
        e2_(work),
        work_(work + n),
        iwork_(iwork) {}

  Int found() const { return m_; }
  Int info() const { return (some_unconverged_ ? 1 : 0) + (too_few_ ? 2 : 0); }

  void limit_to(T vl, T vu) {
    wl_ = vl;
    wu_ = vu;
  }

  /// Separates the blocks: squares of what stands between rows, zeros where that is negligible; gives their number.
  Int split(Int* isplit) {
    constexpr T ulp = Machine<T>::precision;
    Int nsplit = 0;
    pivmin_ = 1;
    for (Int j = 0; j < n_ - 1; ++j) {
      const T square = e_[j] * e_[j];
      const bool negligible = square <= std::abs(d_[j] * d_[j + 1]) * (ulp * ulp) + Machine<T>::safe_min;
      if (negligible) isplit[nsplit++] = j + 1;
      else pivmin_ = std::max(pivmin_, square);
      e2_[j] = negligible ? T(0) : square;
    }
    isplit[nsplit++] = n_;
    pivmin_ = n_ == 1 ? T(0) : pivmin_ * Machine<T>::safe_min;  // nothing blurs the value of a single row
    return nsplit;
  }

  /// Finds limits below which there are il - 1 values and iu values.
  Limits limit_to_indices(Int il, Int iu) {
    Bounds<T> all = discs(n_, d_, [&](Int j) { return std::sqrt(e2_[j]); });
    const T size = all.largest(), margin = fudge<T> * size * Machine<T>::precision * T(n_);
    all.low = all.low - margin - twice_fudge<T> * pivmin_;
    all.high = all.high + margin + fudge<T> * pivmin_;
    if (!all.are_finite()) return Limits::not_finite;
    T ab[] = {all.low, all.low, all.high, all.high}, cuts[] = {all.low, all.high};
    Int nab[] = {-1, -1, n_ + 1, n_ + 1}, wanted[] = {il - 1, iu};
    Int count, unconverged;
    laebz(3, all.halvings(size, pivmin_), n_, 2, 2, block_width(), tolerance(size), relative_tolerance<T>, pivmin_, d_,
          e_, e2_, wanted, ab, cuts, count, nab, work_, iwork_, unconverged);
    // The two may have changed places.
    const Int lower = wanted[1] == iu ? 0 : 1, upper = 1 - lower;
    wl_ = ab[lower];
    wlu_ = ab[lower + 2];
    wu_ = ab[upper + 2];
    wul_ = ab[upper];
    const Int below_wl = nab[lower], below_wu = nab[upper + 2];
    const bool consistent = 0 <= below_wl && below_wl < n_ && 1 <= below_wu && below_wu <= n_;
    return consistent ? Limits::found : Limits::inconsistent;
  }

  /// Adds values of which nothing can be said, since the matrix has elements that are not finite.
  void add_unknown(Int number, Int count) {
    for (Int j = 0; j < count; ++j) add(std::numeric_limits<T>::quiet_NaN(), -number);
    some_unconverged_ = true;
  }

  /// Adds the values of rows first ... last, counted from zero, which are block `number` of the matrix.
  void add_block(Int number, Int first, Int last) {
    if (first == last) add_row(number, d_[first]);
    else add_rows(number, first, last - first + 1);
  }

  /// Keeps the il-th to the iu-th of all values, of those that were found between the limits.
  void keep_indices(Int il, Int iu) {
    Int excess_below = il - 1 - below_wl_, excess_above = below_wu_ - iu;
    if (excess_below > 0 || excess_above > 0) {
      keep([&](Int j) {
        if (w_[j] <= wlu_ && excess_below > 0) return --excess_below, false;
        if (w_[j] >= wul_ && excess_above > 0) return --excess_above, false;
        return true;
      });
    }
    // Counts that are not monotonic may leave values to remove that are not where they should be.
    for (; excess_below > 0; --excess_below) remove_extreme([](T x, T y) { return x < y; });
    for (; excess_above > 0; --excess_above) remove_extreme([](T x, T y) { return x > y; });
    too_few_ = excess_below < 0 || excess_above < 0;
  }

  void sort() {
    sort_by_selection(m_, w_, [&](Int i, Int j) { std::swap(iblock_[i - 1], iblock_[j - 1]); });
  }

 private:
  T tolerance(T size) const { return abstol_ <= 0 ? Machine<T>::precision * size : abstol_; }

  /// The width of the blocks of intervals, for which none and one are the same.
  Int block_width() const {
    const Int nb = Tuning<T>{RoutineName<T>("STEBZ"), " ", n_}.block_size();
    return nb <= 1 ? 0 : nb;
  }

  void add(T value, Int block) {
    w_[m_] = value;
    iblock_[m_++] = block;
  }

  /// A NaN is within all limits.
  void add_row(Int number, T value) {
    const bool all = range_ == Range::all;
    const bool above_wl = !(wl_ >= value - pivmin_), above_wu = wu_ < value - pivmin_;
    if (!above_wl) ++below_wl_;
    if (!above_wu) ++below_wu_;
    if (all || (above_wl && !above_wu)) add(value, number);
  }

  void add_rows(Int number, Int first, Int count) {
    const T* const e = e_ + first;
    Bounds<T> bounds = discs(count, d_ + first, [=](Int j) { return std::abs(e[j]); });
    const T margin = fudge<T> * bounds.largest() * Machine<T>::precision * T(count) + fudge<T> * pivmin_;
    bounds.low -= margin;
    bounds.high += margin;
    if (!bounds.are_finite()) return add_unknown(number, count);
    const T abstol = tolerance(bounds.largest());
    if (range_ != Range::all) {
      if (bounds.high < wl_) {
        below_wl_ += count;
        below_wu_ += count;
        return;
      }
      bounds.low = std::max(bounds.low, wl_);
      bounds.high = std::min(bounds.high, wu_);
      if (bounds.low >= bounds.high) return;
    }
    bisect(number, first, count, bounds, abstol);
  }

  void bisect(Int number, Int first, Int count, const Bounds<T>& bounds, T abstol) {
    T *const ab = work_, *const cuts = work_ + 2 * std::ptrdiff_t{count};
    Int* const nab = iwork_;
    ab[0] = bounds.low;
    ab[count] = bounds.high;
    Int values, intervals, unconverged;
    const auto run = [&](Int job, Int halvings, Int& found) {
      laebz(job, halvings, count, count, 1, block_width(), abstol, relative_tolerance<T>, pivmin_, d_ + first,
            e_ + first, e2_ + first, nullptr, ab, cuts, found, nab, cuts, nab, unconverged);
    };
    run(1, 0, values);
    const Int below = nab[0];
    below_wl_ += below;
    below_wu_ += nab[count];
    if (values <= 0) return;
    run(2, bounds.halvings(bounds.high - bounds.low, pivmin_), intervals);
    for (std::ptrdiff_t i = 0; i < intervals; ++i) {
      const bool converged = i < intervals - unconverged;
      if (!converged) some_unconverged_ = true;
      // Intervals come in no order, but each knows how many values lie below it.
      for (Int k = nab[i]; k < nab[count + i]; ++k) {
        w_[m_ + k - below] = T(0.5) * (ab[i] + ab[count + i]);
        iblock_[m_ + k - below] = converged ? number : -number;
      }
    }
    m_ += values;
  }

  /// Keeps values j, counted from zero, of which keeps(j) says so.
  template <class Keeps>
  void keep(Keeps keeps) {
    Int kept = 0;
    for (Int j = 0; j < m_; ++j) {
      if (!keeps(j)) continue;
      w_[kept] = w_[j];
      iblock_[kept++] = iblock_[j];
    }
    m_ = kept;
  }

  template <class Before>
  void remove_extreme(Before before) {
    Int extreme = 0;
    for (Int j = 1; j < m_; ++j) {
      if (before(w_[j], w_[extreme])) extreme = j;
    }
    keep([=](Int j) { return j != extreme; });
  }

  Range range_;
  Int n_;
  T abstol_;
  const T *d_, *e_;
  T* w_;
  Int* iblock_;
  T *e2_, *work_;
  Int* iwork_;
  T pivmin_ = 0;
  /// Values in (wl, wu] are looked for. Of indices, the limits are known to lie in [wl, wlu] and [wul, wu].
  T wl_ = 0, wlu_ = 0, wul_ = 0, wu_ = 0;
  Int below_wl_ = 0, below_wu_ = 0, m_ = 0;
  bool some_unconverged_ = false, too_few_ = false;
};

Int check_request(char range, char order, Int n, bool values_in_order, Int il, Int iu) {
  if (!is_one_of(range, 'A', 'V', 'I')) return -1;
  if (!is_one_of(order, 'B', 'E')) return -2;
  if (n < 0) return -3;
  if (same_letter(range, 'V') && !values_in_order) return -5;
  if (same_letter(range, 'I')) {
    if (il < 1 || il > std::max(1, n)) return -6;
    if (iu < std::min(n, il) || iu > n) return -7;
  }
  return 0;
}

Range wanted_range(char range, Int n, Int il, Int iu) {
  if (same_letter(range, 'A')) return Range::all;
  if (same_letter(range, 'V')) return Range::values;
  return il == 1 && iu == n ? Range::all : Range::indices;
}

}  // namespace

template <RealScalar T>
void stebz(char range, char order, Int n, T vl, T vu, Int il, Int iu, T abstol, const T* d, const T* e, Int& m,
           Int& nsplit, T* w, Int* iblock, Int* isplit, T* work, Int* iwork, Int& info) {
  info = check_request(range, order, n, !(vl >= vu), il, iu);
  if (info != 0) return report_bad_argument<T>("STEBZ", info);
  m = 0;
  nsplit = 0;
  if (n == 0) return;
  const Range wanted = wanted_range(range, n, il, iu);
  Search<T> search(wanted, n, abstol, d, e, w, iblock, work, iwork);
  nsplit = search.split(isplit);
  if (wanted == Range::values) search.limit_to(vl, vu);
  const Limits limits = wanted == Range::indices ? search.limit_to_indices(il, iu) : Limits::found;
  if (limits == Limits::inconsistent) {
    info = 4;
    return;
  }
  if (limits == Limits::not_finite) {
    search.add_unknown(1, iu - il + 1);
  } else {
    for (Int number = 1, first = 0; number <= nsplit; ++number) {
      const Int end = isplit[number - 1];
      search.add_block(number, first, end - 1);
      first = end;
    }
    if (wanted == Range::indices) search.keep_indices(il, iu);
  }
  if (same_letter(order, 'E') && nsplit > 1) search.sort();
  m = search.found();
  info = search.info();
}

}  // namespace nuv

#include "symmetric/bisection.entries.inc"
