#include "symmetric/bisection_of_representations.hpp"

#include <algorithm>
#include <cmath>

#include "symmetric/sturm_counts.hpp"
#include "symmetric/sturm_sweeps.hpp"
#include "symmetric/value_search.hpp"

namespace nuv {
namespace {

template <RealScalar R>
void store_if_moved(const ValueSearch<R>& search, Int offset, R* w, R* werr) {
  if (!search.has_moved()) return;
  const Int at = search.index() - offset - 1;
  w[at] = search.middle();
  werr[at] = search.right() - w[at];
}

/// Refines the eigenvalues ifirst, ifirst + step, ..., ilast of L D L^T; arguments are those of larrb.
template <RealScalar R>
void refine_each(Int n, const R* d, const R* lld, Int ifirst, Int ilast, Int step, R rtol1, R rtol2, Int offset, R* w,
                 const R* wgap, R* werr, R pivmin, R spdiam, Int twist) {
  const Int r = twist >= 1 && twist <= n ? twist : n;
  const Int halvings = halvings_of(spdiam, pivmin);
  const auto begin = [&](Int k) {
    const Int i = ifirst + k * step, at = i - offset - 1;
    const R gap = at > 0 ? std::min(wgap[at - 1], wgap[at]) : wgap[at];
    return ValueSearch<R>::around(i, w[at], werr[at], {std::max(rtol1 * gap, 2 * pivmin), rtol2, halvings});
  };
  const auto count = [&](const R* points, Int* counts) { count_representation(n, d, lld, points, r, counts); };
  search_side_by_side<R>(0, (ilast - ifirst) / step, begin, count,
                         [&](const ValueSearch<R>& search) { store_if_moved(search, offset, w, werr); });
}

}  // namespace

template <RealScalar R>
void larrb(Int n, const R* d, const R* lld, Int ifirst, Int ilast, R rtol1, R rtol2, Int offset, R* w, R* wgap, R* werr,
           R*, Int*, R pivmin, R spdiam, Int twist, Int& info) {
  info = 0;
  if (n <= 0 || ifirst > ilast) return;
  refine_each(n, d, lld, ifirst, ilast, 1, rtol1, rtol2, offset, w, wgap, werr, pivmin, spdiam, twist);
  for (Int at = ifirst - offset; at < ilast - offset; ++at) {
    wgap[at - 1] = std::max(R(0), w[at] - werr[at] - w[at - 1] - werr[at - 1]);
  }
}

template <RealScalar R>
void refine_ends(Int n, const R* d, const R* lld, Int ifirst, Int ilast, R rtol, Int offset, R* w, const R* wgap,
                 R* werr, R pivmin, R spdiam) {
  refine_each(n, d, lld, ifirst, ilast, ilast - ifirst, rtol, rtol, offset, w, wgap, werr, pivmin, spdiam, n);
}
template void refine_ends(Int, const float*, const float*, Int, Int, float, Int, float*, const float*, float*, float,
                          float);
template void refine_ends(Int, const double*, const double*, Int, Int, double, Int, double*, const double*, double*,
                          double, double);

template <RealScalar R>
void larrj(Int n, const R* d, const R* e2, Int ifirst, Int ilast, R rtol, Int offset, R* w, R* werr, R*, Int*, R pivmin,
           R spdiam, Int& info) {
  info = 0;
  if (n <= 0) return;
  const Pivots<R> T{n, d, e2, pivmin};
  const Accuracy<R> accuracy{R(0), rtol, halvings_of(spdiam, pivmin)};
  const auto begin = [&](Int i) {
    const Int at = i - offset - 1;
    const auto given = ValueSearch<R>::within(i, w[at] - werr[at], w[at] + werr[at], accuracy);
    return given.is_done() ? given : ValueSearch<R>::around(i, w[at], werr[at], accuracy);
  };
  const auto count = [&](const R* points, Int* counts) { count_below(T, points, counts); };
  search_side_by_side<R>(ifirst, ilast, begin, count,
                         [&](const ValueSearch<R>& search) { store_if_moved(search, offset, w, werr); });
}

template <RealScalar R>
void larrk(Int n, Int iw, R gl, R gu, const R* d, const R* e2, R pivmin, R reltol, R& w, R& werr, Int& info) {
  info = 0;
  if (n <= 0) return;
  const Pivots<R> T{n, d, e2, pivmin};
  const R least = 2 * fudge<R> * pivmin, norm = std::max(std::abs(gl), std::abs(gu));
  const Interval<R> whole = Interval<R>{gl, gu}.widened(n, least);
  const Accuracy<R> accuracy{least / 2, reltol / 2, halvings_of(norm, pivmin)};  // half of what full widths may be
  auto search = ValueSearch<R>::within(iw, whole.left, whole.right, accuracy);
  while (!search.is_done()) search.tell(count_below(T, search.point()));
  info = search.is_narrow() ? 0 : -1;
  w = search.middle();
  werr = R(0.5) * std::abs(search.right() - search.left());
}

}  // namespace nuv

#include "symmetric/bisection_of_representations.entries.inc"
