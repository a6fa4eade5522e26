#include <algorithm>
#include <cmath>
#include <limits>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"
#include "generators/random_numbers.hpp"
#include "svd/dqds.hpp"
#include "symmetric/bisection_of_representations.hpp"
#include "symmetric/gerschgorin.hpp"
#include "symmetric/relatively_robust.hpp"
#include "symmetric/sturm_counts.hpp"

namespace nuv {
namespace {

/// Approximations to eigenvalues, from one place of the arrays on.
template <RealScalar R>
struct Approximations {
  R *w, *werr, *wgap;
  Int *iblock, *indexw;

  Approximations from(Int place) const {
    return {w + place, werr + place, wgap + place, iblock + place, indexw + place};
  }

  R left(Int i) const { return w[i] - werr[i]; }
  R right(Int i) const { return w[i] + werr[i]; }

  void set_gap(Int i, R next) const { wgap[i] = std::max(R(0), next - right(i)); }

  /// The gaps of `count` values, that of the last one up to `bound`.
  void set_gaps(Int count, R bound) const {
    for (Int i = 0; i + 1 < count; ++i) set_gap(i, left(i + 1));
    set_gap(count - 1, bound);
  }
};

template <RealScalar R>
struct Tolerances {
  R rtol1, rtol2;
};

/// A diagonal block of T, of order two at least, on its way to its root representation and the eigenvalues of that.
template <RealScalar R>
struct RootOfBlock {
  Int n;
  R *d, *e;  ///< of T, then of the root
  const R* e2;
  R pivmin;
  Interval<R> rows;          ///< the union of the Gerschgorin intervals
  Interval<R> range;         ///< where the wanted eigenvalues of T lie
  bool all;                  ///< of them are wanted
  Int first, last;           ///< of those of the block, counted from one
  Approximations<R> values;  ///< to them, unless all are wanted; then to those of the root
  R* work;
  Int* iwork;

  Interval<R> ends = {};  ///< of the spectrum, or of its wanted part
  R diameter = 0;         ///< of the spectrum
  R shift = 0, step = 0;  ///< of the root, and how far it is to be moved if it won't do
  int sign = 1;           ///< of the root if it is definite

  /// Gives info.
  Int find(const Tolerances<R>& tolerances) {
    const bool by_dqds = all || 2 * wanted() > n;
    if (!all) values.set_gaps(wanted(), range.right);
    if (!find_ends(by_dqds)) return -1;
    choose_shift(by_dqds);
    if (!search(by_dqds)) return 2;
    if (wanted() > 1) perturb();
    return by_dqds ? find_values_by_dqds() : find_values_by_bisection(tolerances);
  }

 private:
  static constexpr R eps = Machine<R>::precision;

  Int wanted() const { return last - first + 1; }

  /// By how much a number may be off that was computed with some hundred roundings.
  static R slack(R x) { return 100 * eps * std::abs(x); }

  /// Bounds of the spectrum closer than Gerschgorin's, or of the wanted part of it.
  bool find_ends(bool by_dqds) {
    diameter = width(rows);
    if (!by_dqds) {
      const R left = values.left(0), right = values.right(wanted() - 1);
      ends = {larger_or_nan(rows.left, left - slack(left)), smaller_or_nan(rows.right, right + slack(right))};
      return true;
    }
    const R tolerance = std::min(std::sqrt(eps), 100 * eps);
    Interval<R> least, largest;
    if (!enclose(1, tolerance, least) || !enclose(n, tolerance, largest)) return false;
    ends = {larger_or_nan(rows.left, least.left - slack(least.left)),
            smaller_or_nan(rows.right, largest.right + slack(largest.right))};
    diameter = width(ends);
    return true;
  }

  bool enclose(Int index, R tolerance, Interval<R>& interval) const {
    R w, werr;
    Int info;
    larrk(n, index, rows.left, rows.right, d, e2, pivmin, tolerance, w, werr, info);
    interval = {w - werr, w + werr};
    return info == 0;
  }

  /// The shift starts at the end of the spectrum where more of the wanted eigenvalues lie: it is these whose relative
  /// gaps grow. sign tells the sign of L D L^T for a shift beyond that end.
  void choose_shift(bool by_dqds) {
    const Interval<R> part =
        by_dqds ? ends : Interval<R>{std::max(ends.left, range.left), std::min(ends.right, range.right)};
    bool at_left = true;
    if (wanted() > 1) {
      Int between, below_left, below_right, info;
      const R quarter = width(part) / 4;
      larrc('T', n, part.left + quarter, part.right - quarter, d, e, pivmin, between, below_left, below_right, info);
      at_left = below_left - first + 1 > last - below_right;
    }
    sign = at_left ? 1 : -1;
    shift = wanted() == 1 ? rows.left : at_left ? part.left : part.right;

    if (by_dqds) {
      step = std::max(diameter * eps * static_cast<R>(n) + 2 * pivmin, 2 * eps * std::abs(shift));
    } else if (wanted() == 1) {
      step = values.werr[0];
    } else {
      const Int end = wanted() - 1;
      const R average_gap = std::abs((values.right(end) - values.left(0)) / static_cast<R>(end));
      step = at_left ? std::max(std::max(values.wgap[0], average_gap) / 2, values.werr[0])
                     : std::max(std::max(values.wgap[end - 1], average_gap) / 2, values.werr[end]);
    }
  }

  /// Moves the shift away from the spectrum until the representation has no large elements, and is definite if dqds is
  /// to work on it. A shift of which that is known comes last.
  bool search(bool by_dqds) {
    constexpr int attempts = 6;
    const R harmless_growth = 2 * diameter, largest_growth = 64 * diameter;
    R best_shift = shift, least_growth = Machine<R>::overflow;
    for (int attempt = 1; attempt <= attempts && !(least_growth <= harmless_growth); ++attempt) {
      const R growth = factor(by_dqds);
      if (growth < least_growth) {
        least_growth = growth;
        best_shift = shift;
      }
      if (attempt == attempts - 1) {
        const R beyond = 2 * (width(rows) * eps * static_cast<R>(n) + 2 * pivmin);
        shift = sign > 0 ? rows.left - beyond : rows.right + beyond;
      } else {
        shift -= static_cast<R>(sign) * step;
        step *= 2;
      }
    }
    if (!(least_growth <= largest_growth)) return false;
    shift = best_shift;
    factor(by_dqds);
    blas::copy(n, {work, 1}, {d, 1});
    blas::copy(n - 1, {work + n, 1}, {e, 1});
    e[n - 1] = shift;
    return true;
  }

  /// Factors T - shift I into work, D in front of L. Gives the largest element of D, or infinity if D should be
  /// definite and is not.
  R factor(bool definite) const {
    R *const root_d = work, *const root_l = work + n;
    R pivot = d[0] - shift, growth = std::abs(pivot);
    bool right_signs = true;
    for (Int i = 0;; ++i) {
      root_d[i] = pivot;
      right_signs = right_signs && static_cast<R>(sign) * pivot >= 0;
      if (i == n - 1) break;
      root_l[i] = e[i] / pivot;
      pivot = (d[i + 1] - shift) - root_l[i] * e[i];
      growth = larger_or_nan(growth, std::abs(pivot));
    }
    return right_signs || !definite ? growth : std::numeric_limits<R>::infinity();
  }

  /// Changes the root by a few units in the last place, so that eigenvalues that are equal come apart: the relative
  /// gaps of a cluster would otherwise never open. Elements larger than the spectrum is wide change by units of that.
  void perturb() const {
    constexpr R most = 8 * eps;
    Int seed[4] = {1, 1, 1, 1};
    larnv(2, seed, 2 * n - 1, work);
    for (Int i = 0; i < n - 1; ++i) {
      const R size = std::abs(d[i]) * std::max(R(1), e[i] * e[i]);
      const R unit = size > diameter ? most * (diameter / size) : most;
      d[i] *= 1 + unit * work[i];
      e[i] *= 1 + unit * work[n + i];
    }
    const R unit = std::abs(d[n - 1]) > diameter ? most / 2 * (diameter / std::abs(d[n - 1])) : most / 2;
    d[n - 1] *= 1 + unit * work[n - 1];
  }

  Int find_values_by_dqds() const {
    R* const z = work;
    for (Int i = 0; i < n; ++i) {
      z[2 * i] = std::abs(d[i]);
      z[2 * i + 1] = i < n - 1 ? e[i] * e[i] * z[2 * i] : R(0);
    }
    Int info;
    lasq2(n, z, info);
    if (info != 0) return -5;
    if (std::any_of(z, z + n, [](R value) { return value < 0; })) return -6;
    const R tolerance = 4 * eps * std::log(static_cast<R>(n));
    for (Int index = first; index <= last; ++index) {
      const R w = sign > 0 ? z[n - index] : negated(z[index - 1]);
      values.w[index - first] = w;
      values.werr[index - first] = tolerance * std::abs(w);
    }
    values.set_gaps(wanted(), range.right - shift);
    return 0;
  }

  Int find_values_by_bisection(const Tolerances<R>& tolerances) const {
    const Int count = wanted();
    for (Int i = 0; i < count; ++i) {
      values.w[i] -= shift;
      values.werr[i] += std::abs(values.w[i]) * eps;
    }
    R* const lld = work;
    for (Int i = 0; i < n - 1; ++i) lld[i] = d[i] * e[i] * e[i];
    Int info;
    larrb(n, d, lld, first, last, tolerances.rtol1, tolerances.rtol2, first - 1, values.w, values.wgap, values.werr,
          work + n, iwork, pivmin, width(rows), n, info);
    if (info != 0) return -3;
    values.set_gap(count - 1, range.right - shift);
    return 0;
  }
};

}  // namespace

template <RealScalar R>
void larre(char range, Int n, R& vl, R& vu, Int il, Int iu, R* d, R* e, R* e2, R rtol1, R rtol2, R spltol, Int& nsplit,
           Int* isplit, Int& m, R* w, R* werr, R* wgap, Int* iblock, Int* indexw, R* gers, R& pivmin, R* work,
           Int* iwork, Int& info) {
  info = 0;
  nsplit = 0;
  m = 0;
  if (n <= 0) return;
  const bool all = same_letter(range, 'A');
  const Approximations<R> values{w, werr, wgap, iblock, indexw};

  set_gerschgorin_intervals(n, d, e, gers);
  const Interval<R> rows = union_of_intervals(n, gers);
  R largest_e = 0;
  for (Int i = 0; i < n - 1; ++i) largest_e = larger_or_nan(largest_e, std::abs(e[i]));
  pivmin = Machine<R>::safe_min * std::max(R(1), largest_e * largest_e);
  larra(n, d, e, e2, spltol, width(rows), nsplit, isplit, info);

  Int found = 0;
  if (all) {
    vl = rows.left;
    vu = rows.right;
  } else {
    R wl, wu;
    larrd(range, 'B', n, vl, vu, il, iu, gers, std::sqrt(Machine<R>::precision), d, e, e2, pivmin, nsplit, isplit,
          found, w, werr, wl, wu, iblock, indexw, work, iwork, info);
    if (info != 0) {
      info = -1;
      return;
    }
    vl = wl;
    vu = wu;
  }

  Int begin = 0;
  for (Int block = 1; block <= nsplit; begin = isplit[block - 1], ++block) {
    const Int order = isplit[block - 1] - begin;
    const Approximations<R> here = values.from(m);
    Int wanted = order;
    if (!all) {
      for (wanted = 0; m + wanted < found && here.iblock[wanted] == block;) ++wanted;
    }
    R& shift = e[isplit[block - 1] - 1];
    shift = 0;
    if (wanted == 0) continue;
    const Int first = all ? 1 : here.indexw[0];
    if (order == 1) {
      here.w[0] = d[begin];
      here.werr[0] = here.wgap[0] = 0;
    } else {
      RootOfBlock<R> root{.n = order,
                          .d = d + begin,
                          .e = e + begin,
                          .e2 = e2 + begin,
                          .pivmin = pivmin,
                          .rows = union_of_intervals(order, gers + 2 * std::ptrdiff_t{begin}),
                          .range = {vl, vu},
                          .all = all,
                          .first = first,
                          .last = first + wanted - 1,
                          .values = here,
                          .work = work,
                          .iwork = iwork};
      info = root.find({rtol1, rtol2});
      if (info != 0) return;
    }
    for (Int i = 0; i < wanted; ++i) {
      here.iblock[i] = block;
      here.indexw[i] = first + i;
    }
    m += wanted;
  }
}

}  // namespace nuv

#include "symmetric/relatively_robust_root.entries.inc"
