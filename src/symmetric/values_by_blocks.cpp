#include <algorithm>
#include <cmath>
#include <utility>

#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"
#include "symmetric/bisection_of_representations.hpp"
#include "symmetric/sorted_pairs.hpp"
#include "symmetric/sturm_sweeps.hpp"
#include "symmetric/value_search.hpp"

namespace nuv {
namespace {

/// What a range asks for.
enum class Asked { all, by_value, by_index };

/// The values found so far, in the arrays of the caller.
template <RealScalar R>
struct FoundValues {
  Int& m;
  R* w;
  R* werr;
  Int* iblock;
  Int* indexw;

  void add(R value, R error, Int block, Int index) const {
    w[m] = value;
    werr[m] = error;
    iblock[m] = block;
    indexw[m] = index;
    m += 1;
  }

  void remove(Int at) const {
    m -= 1;
    for (Int k = at; k < m; ++k) {
      w[k] = w[k + 1];
      werr[k] = werr[k + 1];
      iblock[k] = iblock[k + 1];
      indexw[k] = indexw[k + 1];
    }
  }

  void remove_smallest(Int count) const {
    for (; count > 0 && m > 0; --count) remove(static_cast<Int>(std::min_element(w, w + m) - w));
  }

  void remove_largest(Int count) const {
    for (; count > 0 && m > 0; --count) remove(static_cast<Int>(std::max_element(w, w + m) - w));
  }

  void sort() const {
    sort_by_selection(m, w, [&](Int i, Int j) {
      std::swap(werr[i - 1], werr[j - 1]);
      std::swap(iblock[i - 1], iblock[j - 1]);
      std::swap(indexw[i - 1], indexw[j - 1]);
    });
  }
};

template <RealScalar R>
class BlockBisection {
 public:
  BlockBisection(Int n, const R* gers, R reltol, const R* d, const R* e2, R pivmin)
      : n_(n),
        gers_(gers),
        reltol_(reltol),
        d_(d),
        e2_(e2),
        pivmin_(pivmin),
        least_width_(2 * fudge<R> * (Machine<R>::safe_min + pivmin)) {}

  /// The interval in which the spectrum lies.
  Interval<R> whole() const { return of_rows(0, n_, 2 * fudge<R> * pivmin_); }

  /// An interval that holds eigenvalues il ... iu, and hardly others; false if there are not so many in `whole`.
  bool bracket(Int il, Int iu, const Interval<R>& whole, R& wl, R& wu) const {
    if (count_below(n_, d_, e2_, pivmin_, whole.left) >= il) return false;
    if (count_below(n_, d_, e2_, pivmin_, whole.right) < iu) return false;
    const auto find = [&](Int index) {
      auto search = ValueSearch<R>::within(index, whole.left, whole.right, accuracy_in(whole));
      while (!search.is_done()) search.tell(count_below(n_, d_, e2_, pivmin_, search.point()));
      return search;
    };
    wl = find(il).left();
    wu = find(iu).right();
    return true;
  }

  /// Finds the eigenvalues of rows first + 1 ... first + rows that lie in (wl, wu]. Adds the numbers of those up to wl,
  /// and up to wu, to below and up_to.
  void find_in_block(Int block, Int first, Int rows, bool all, R wl, R wu, const FoundValues<R>& found, Int& below,
                     Int& up_to) {
    if (rows == 1) {
      const R value = d_[first];
      const bool is_below = wl >= value - pivmin_, is_up_to = wu >= value - pivmin_;
      below += is_below;
      up_to += is_up_to;
      if (all || (!is_below && is_up_to)) found.add(value, R(0), block, 1);
      return;
    }
    Interval<R> interval = of_rows(first, rows, fudge<R> * pivmin_);
    if (!all) {
      if (interval.right < wl) {
        below += rows;
        up_to += rows;
        return;
      }
      interval = {std::max(interval.left, wl), std::min(interval.right, wu)};
      if (interval.left >= interval.right) return;
    }

    const R* const d = d_ + first;
    const R* const e2 = e2_ + first;
    const Int left_of_all = count_below(rows, d, e2, pivmin_, interval.left);
    const Int left_of_rest = std::max(left_of_all, count_below(rows, d, e2, pivmin_, interval.right));
    below += left_of_all;
    up_to += left_of_rest;
    const Int base = found.m - left_of_all - 1;
    found.m += left_of_rest - left_of_all;
    search_side_by_side<R>(
        left_of_all + 1, left_of_rest,
        [&](Int i) { return ValueSearch<R>::within(i, interval.left, interval.right, accuracy_in(interval)); },
        [&](const R* points, Int* counts, Int active) {
          count_below_each(rows, d, e2, pivmin_, points, counts, active);
        },
        [&](const ValueSearch<R>& search) {
          const Int at = base + search.index();
          const bool converged = search.is_narrow();
          all_converged_ &= converged;
          found.w[at] = search.middle();
          found.werr[at] = R(0.5) * std::abs(search.right() - search.left());
          found.iblock[at] = converged ? block : negated_block(block);
          found.indexw[at] = search.index();
        });
  }

  bool all_converged() const { return all_converged_; }

 private:
  static Int negated_block(Int block) { return 0 - block; }

  /// The Gerschgorin intervals of some rows as one.
  Interval<R> of_rows(Int first, Int rows, R least) const {
    Interval<R> interval{d_[first], d_[first]};
    for (std::ptrdiff_t i = first; i < std::ptrdiff_t{first} + rows; ++i) {
      interval.left = std::min(interval.left, gers_[2 * i]);
      interval.right = std::max(interval.right, gers_[2 * i + 1]);
    }
    return interval.widened(rows, least);
  }

  /// Half of what full widths may be.
  Accuracy<R> accuracy_in(const Interval<R>& interval) const {
    return {least_width_ / 2, reltol_ / 2, halvings_of(interval.right - interval.left, pivmin_)};
  }

  Int n_;
  const R* gers_;
  R reltol_;
  const R* d_;
  const R* e2_;
  R pivmin_, least_width_;
  bool all_converged_ = true;
};

template <RealScalar R>
Int check(char range, char order, Int n, R vl, R vu, Int il, Int iu) {
  if (!is_one_of(range, 'A', 'V', 'I')) return -1;
  if (!is_one_of(order, 'B', 'E')) return -2;
  if (n < 0) return -3;
  if (same_letter(range, 'V') && !(vl < vu)) return -5;
  if (same_letter(range, 'I') && (il < 1 || il > std::max(1, n))) return -6;
  if (same_letter(range, 'I') && (iu < std::min(n, il) || iu > n)) return -7;
  return 0;
}

}  // namespace

template <RealScalar R>
void larrd(char range, char order, Int n, R vl, R vu, Int il, Int iu, const R* gers, R reltol, const R* d, const R*,
           const R* e2, R pivmin, Int nsplit, const Int* isplit, Int& m, R* w, R* werr, R& wl, R& wu, Int* iblock,
           Int* indexw, R*, Int*, Int& info) {
  info = check(range, order, n, vl, vu, il, iu);
  if (info != 0) return;
  m = 0;
  if (n == 0) return;
  Asked asked = same_letter(range, 'A') ? Asked::all : same_letter(range, 'V') ? Asked::by_value : Asked::by_index;
  if (asked == Asked::by_index && il == 1 && iu == n) asked = Asked::all;

  const FoundValues<R> found{m, w, werr, iblock, indexw};
  BlockBisection<R> bisection(n, gers, reltol, d, e2, pivmin);
  const Interval<R> whole = bisection.whole();
  wl = asked == Asked::by_value ? vl : whole.left;
  wu = asked == Asked::by_value ? vu : whole.right;
  if (asked == Asked::by_index && !bisection.bracket(il, iu, whole, wl, wu)) {
    info = 4;
    return;
  }

  Int first = 0, below = 0, up_to = 0;
  for (Int block = 1; block <= nsplit; ++block) {
    const Int end = isplit[block - 1];
    bisection.find_in_block(block, first, end - first, asked == Asked::all, wl, wu, found, below, up_to);
    first = end;
  }

  bool too_few = asked == Asked::all && m != n;
  if (asked == Asked::by_index) {
    // The ends of the bracket may lie among values that are equal to working accuracy.
    found.remove_smallest(il - 1 - below);
    found.remove_largest(up_to - iu);
    too_few = m != iu - il + 1;
  }
  if (same_letter(order, 'E') && nsplit > 1) found.sort();
  info = (bisection.all_converged() ? 0 : 1) + (too_few ? 2 : 0);
}

}  // namespace nuv

#include "symmetric/values_by_blocks.entries.inc"
