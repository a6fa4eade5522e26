#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "symmetric/relatively_robust.hpp"

namespace nuv {
namespace {

/// The elements of a representation, n and n - 1 of them.
template <RealScalar R>
struct Elements {
  Int n;
  const R *d, *l, *ld;
};

/// L D L^T - sigma I = L+ D+ L+^T.
template <RealScalar R>
struct Candidate {
  R sigma;
  R *d, *l;
  R growth = 0;        ///< largest magnitude in D+
  bool sound = false;  ///< all pivots are finite, and none had to be replaced

  /// What goes on from row to row.
  struct Carried {
    R s;
    R growth = 0;
    bool sound = true;
  };

  Carried begin() const { return {negated(sigma)}; }

  R make_pivot(const Elements<R>& root, Int i, R pivmin, Carried& c) const {
    R pivot = root.d[i] + c.s;
    if (std::abs(pivot) < pivmin) {
      pivot = negated(pivmin);
      c.sound = false;
    }
    c.growth = larger_or_nan(c.growth, std::abs(pivot));
    return d[i] = pivot;
  }

  void make_row(const Elements<R>& root, Int i, R pivmin, Carried& c) const {
    const R multiplier = root.ld[i] / make_pivot(root, i, pivmin, c);
    c.s = multiplier * (c.s * root.l[i]) - sigma;
    l[i] = multiplier;
  }

  void end(const Carried& c) {
    growth = c.growth;
    sound = c.sound && std::isfinite(growth);
  }

  void copy_to(Int n, R* to_d, R* to_l) const {
    if (d == to_d) return;
    blas::copy(n, {d, 1}, {to_d, 1});
    blas::copy(n - 1, {l, 1}, {to_l, 1});
  }

  /// Large pivots do no harm where the vectors of the cluster are small: the largest |D+(i) z(i)| for the unit vector z
  /// with L+^T z = 0 but for its last element.
  R growth_beside_vector(Int n) const {
    R largest = std::abs(d[n - 1]), z = 1, squares = 1;
    for (Int i = n - 2; i >= 0; --i) {
      z *= std::abs(l[i]);
      squares += z * z;
      largest = larger_or_nan(largest, std::abs(d[i]) * z);
    }
    return largest / std::sqrt(squares);
  }
};

/// Factors for all candidates side by side, since each row waits for the division of the one before.
template <RealScalar R, class... Candidates>
void factor(const Elements<R>& root, R pivmin, Candidates&... candidates) {
  const auto factor_from = [&](auto... carried) {
    const Int last = root.n - 1;
    for (Int i = 0; i < last; ++i) (candidates.make_row(root, i, pivmin, carried), ...);
    (candidates.make_pivot(root, last, pivmin, carried), ...);
    (candidates.end(carried), ...);
  };
  factor_from(candidates.begin()...);
}

/// Of two candidates, as far as their elements do not grow beyond `most`, the one that determines the values of the
/// cluster better: where these are as small as the roundings of the spectrum, others that are as good elsewhere may not
/// know them at all.
template <RealScalar R>
const Candidate<R>* better_of(Int n, const Candidate<R>& left, const Candidate<R>& right, R most) {
  const auto is_fit = [&](const Candidate<R>& one) { return one.sound && one.growth <= most; };
  if (!is_fit(left)) return is_fit(right) ? &right : nullptr;
  if (!is_fit(right)) return &left;
  return right.growth_beside_vector(n) < left.growth_beside_vector(n) ? &right : &left;
}

}  // namespace

template <RealScalar R>
void larrf(Int n, const R* d, const R* l, const R* ld, Int clstrt, Int clend, const R* w, const R* wgap, const R* werr,
           R spdiam, R clgapl, R clgapr, R pivmin, R& sigma, R* dplus, R* lplus, R* work, Int& info) {
  constexpr R eps = Machine<R>::precision;
  constexpr Int moves = 1;  // of each shift away from the cluster
  const Elements<R> root{n, d, l, ld};
  const Int first = clstrt - 1, last = clend - 1;

  const R width = std::abs(w[last] - w[first]) + werr[last] + werr[first];
  const R average_gap = width / static_cast<R>(last - first);
  const R gap = std::min(clgapl, clgapr);
  const R largest_move = gap / 4 + 2 * pivmin;
  R left_move = std::max(average_gap, wgap[first]) / 2, right_move = std::max(average_gap, wgap[last - 1]) / 2;

  Candidate<R> left{std::min(w[first], w[last]) - werr[first], dplus, lplus};
  Candidate<R> right{std::max(w[first], w[last]) + werr[last], work, work + n};
  left.sigma -= std::abs(left.sigma) * 4 * eps;
  right.sigma += std::abs(right.sigma) * 4 * eps;

  const R harmless_growth = 8 * spdiam;
  const R hopeless_growth = static_cast<R>(n - 1) * gap / (spdiam * std::sqrt(eps));
  const bool isolated = width < gap / 128;
  R best_shift = 0, least_growth = Machine<R>::overflow;

  info = 0;
  for (Int move = 0; move <= moves; ++move) {
    factor(root, pivmin, left, right);
    for (const Candidate<R>* one : {&left, &right}) {
      if (one->sound && one->growth <= least_growth) {
        least_growth = one->growth;
        best_shift = one->sigma;
      }
    }
    if (const auto* one = better_of(n, left, right, harmless_growth)) {
      sigma = one->sigma;
      return one->copy_to(n, dplus, lplus);
    }
    left.sigma -= std::min(left_move, largest_move);
    right.sigma += std::min(right_move, largest_move);
    left_move *= 2;
    right_move *= 2;
  }

  // All shifts make elements grow: the one that does so least may still do.
  sigma = left.sigma = best_shift;
  factor(root, pivmin, left);
  const bool harmless = left.growth_beside_vector(n) <= harmless_growth;
  const bool tolerable = isolated && least_growth < hopeless_growth;
  if (least_growth == Machine<R>::overflow || !(harmless || tolerable)) info = 1;
}

}  // namespace nuv

#include "symmetric/relatively_robust_child.entries.inc"
