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

  void sort() const {
    sort_by_selection(m, w, [&](Int i, Int j) {
      std::swap(werr[i - 1], werr[j - 1]);
      std::swap(iblock[i - 1], iblock[j - 1]);
      std::swap(indexw[i - 1], indexw[j - 1]);
    });
  }
};

/// Where values are wanted.
template <RealScalar R>
struct Borders {
  Interval<R> whole;        ///< they are looked for in here
  Interval<R> first, last;  ///< around the first and the last of them, as closely as counts can tell
  Int surplus_at_first = 0, surplus_at_last = 0;  ///< of values in these two

  explicit Borders(const Interval<R>& all) : whole(all), first{all.left, all.left}, last{all.right, all.right} {}

  /// Takes what is surplus from values start + 1 ... end of a block, count_up_to(x) of which lie up to x. Of values
  /// that are equal to working accuracy it does not matter which ones go.
  void cut(Int& start, Int& end, auto count_up_to) {
    if (surplus_at_first > 0) {
      const Int number = std::clamp(std::min(end, count_up_to(first.right)) - start, 0, surplus_at_first);
      start += number;
      surplus_at_first -= number;
    }
    if (surplus_at_last > 0) {
      const Int number = std::clamp(end - std::max(start, count_up_to(last.left)), 0, surplus_at_last);
      end -= number;
      surplus_at_last -= number;
    }
  }
};

template <RealScalar R>
class BlockBisection {
 public:
  BlockBisection(const Pivots<R>& T, const R* gers, R reltol)
      : T_(T), gers_(gers), reltol_(reltol), least_width_(2 * fudge<R> * (Machine<R>::safe_min + T.pivmin)) {}

  /// The interval in which the spectrum lies.
  Interval<R> whole() const { return of_rows(0, T_.n, 2 * fudge<R> * T_.pivmin); }

  /// Finds the borders around eigenvalues il ... iu, which lie in borders.whole; false if there are not so many.
  bool bracket(Int il, Int iu, Borders<R>& borders) const {
    const Interval<R> whole = borders.whole;
    if (count_below(T_, whole.left) >= il) return false;
    if (count_below(T_, whole.right) < iu) return false;
    const auto narrow = [&](Int index, const Interval<R>& interval, const Accuracy<R>& accuracy) {
      auto search = ValueSearch<R>::within(index, interval.left, interval.right, accuracy);
      while (!search.is_done()) search.tell(count_below(T_, search.point()));
      return Interval<R>{search.left(), search.right()};
    };
    const Accuracy<R> given = accuracy_in(whole);
    const R norm = std::max(std::abs(whole.left), std::abs(whole.right));
    const Accuracy<R> finest{std::max(Machine<R>::precision * norm, T_.pivmin), R(0), given.halvings};
    borders.first = narrow(il, whole, given);
    borders.last = narrow(iu, whole, given);
    borders.whole = {borders.first.left, borders.last.right};
    borders.first = narrow(il, borders.first, finest);
    borders.last = narrow(iu, borders.last, finest);
    borders.surplus_at_first = il - 1 - count_below(T_, borders.first.left);
    borders.surplus_at_last = count_below(T_, borders.last.right) - iu;
    return true;
  }

  /// Finds the eigenvalues of rows first + 1 ... first + rows that lie between the borders.
  void find_in_block(Int block, Int first, Int rows, bool all, Borders<R>& borders, const FoundValues<R>& found) {
    const Pivots<R> T{rows, T_.d + first, T_.e2 + first, T_.pivmin};
    const Interval<R> interval = of_rows(first, rows, fudge<R> * T.pivmin);
    const auto count_up_to = [&](R x) {
      if (rows == 1) return Int(x >= T.d[0] - T.pivmin);
      return count_below(T, std::clamp(x, interval.left, interval.right));
    };
    Int start = count_up_to(borders.first.left), end = std::max(start, count_up_to(borders.last.right));
    borders.cut(start, end, count_up_to);
    if (rows == 1) {
      if (all || start < end) found.add(T.d[0], R(0), block, 1);
      return;
    }
    const R left = std::max(interval.left, borders.whole.left), right = std::min(interval.right, borders.whole.right);
    const Accuracy<R> accuracy = accuracy_in({left, right});
    const Int base = found.m - start - 1;
    found.m += end - start;
    search_side_by_side<R>(
        start + 1, end, [&](Int i) { return ValueSearch<R>::within(i, left, right, accuracy); },
        [&](const R* points, Int* counts) { count_below(T, points, counts); },
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
    Interval<R> interval{T_.d[first], T_.d[first]};
    for (std::ptrdiff_t i = first; i < std::ptrdiff_t{first} + rows; ++i) {
      interval.left = std::min(interval.left, gers_[2 * i]);
      interval.right = std::max(interval.right, gers_[2 * i + 1]);
    }
    return interval.widened(rows, least);
  }

  /// Half of what full widths may be.
  Accuracy<R> accuracy_in(const Interval<R>& interval) const {
    return {least_width_ / 2, reltol_ / 2, halvings_of(interval.right - interval.left, T_.pivmin)};
  }

  Pivots<R> T_;
  const R* gers_;
  R reltol_, least_width_;
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
  BlockBisection<R> bisection({n, d, e2, pivmin}, gers, reltol);
  Borders<R> borders(asked == Asked::by_value ? Interval<R>{vl, vu} : bisection.whole());
  const bool bracketed = asked != Asked::by_index || bisection.bracket(il, iu, borders);
  wl = borders.whole.left;
  wu = borders.whole.right;
  if (!bracketed) {
    info = 4;
    return;
  }

  Int first = 0;
  for (Int block = 1; block <= nsplit; ++block) {
    const Int end = isplit[block - 1];
    bisection.find_in_block(block, first, end - first, asked == Asked::all, borders, found);
    first = end;
  }
  const bool too_few = (asked == Asked::all && m != n) || (asked == Asked::by_index && m != iu - il + 1);
  if (same_letter(order, 'E') && nsplit > 1) found.sort();
  info = (bisection.all_converged() ? 0 : 1) + (too_few ? 2 : 0);
}

}  // namespace nuv

#include "symmetric/values_by_blocks.entries.inc"
