#include "symmetric/sturm_counts.hpp"

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"
#include "symmetric/sturm_sweeps.hpp"

namespace nuv {

template <RealScalar R>
Int laneg(Int n, const R* d, const R* lld, R sigma, R, Int r) {
  Int count = 0;
  const R from_top = run(Sweep<R>::down(d, lld, r), sigma, negated(sigma), count);
  const R from_bottom = run(Sweep<R>::up(n, d, lld, r), sigma, d[n - 1] - sigma, count);
  const R gamma = (from_top + sigma) + from_bottom;
  return gamma < 0 ? count + 1 : count;
}

namespace {

/// A pivot by which can be divided.
template <RealScalar R>
R away_from_zero(R pivot, R pivmin) {
  return std::abs(pivot) < pivmin ? negated(pivmin) : pivot;
}

/// Number of pivots of T - x I that are not positive.
template <RealScalar R>
Int count_up_to(Int n, const R* d, const R* e, R pivmin, R x) {
  Int count = 0;
  R pivot = 0;
  for (Int i = 0; i < n; ++i) {
    pivot = i == 0 ? d[0] - x : (d[i] - x) - e[i - 1] * e[i - 1] / pivot;
    pivot = away_from_zero(pivot, pivmin);
    if (pivot <= 0) ++count;
  }
  return count;
}

/// The same of L D L^T - x I.
template <RealScalar R>
Int count_of_representation_up_to(Int n, const R* d, const R* l, R pivmin, R x) {
  Int count = 0;
  R s = negated(x);
  for (Int i = 0; i < n; ++i) {
    const R pivot = away_from_zero(d[i] + s, pivmin);
    if (pivot <= 0) ++count;
    if (i == n - 1) break;
    const R product = l[i] * d[i] * l[i];
    const R ratio = product / pivot;
    s = ratio == 0 ? product - x : s * ratio - x;  // s may be infinite then
  }
  return count;
}

}  // namespace

template <RealScalar R>
void larrc(char jobt, Int n, R vl, R vu, const R* d, const R* e, R pivmin, Int& eigcnt, Int& lcnt, Int& rcnt,
           Int& info) {
  info = 0;
  const bool of_matrix = same_letter(jobt, 'T');
  const auto count = [&](R x) {
    return of_matrix ? count_up_to(n, d, e, pivmin, x) : count_of_representation_up_to(n, d, e, pivmin, x);
  };
  lcnt = count(vl);
  rcnt = count(vu);
  eigcnt = rcnt - lcnt;
}

template <RealScalar R>
void larra(Int n, const R* d, R* e, R* e2, R spltol, R tnrm, Int& nsplit, Int* isplit, Int& info) {
  info = 0;
  nsplit = 1;
  if (n <= 0) return;
  for (Int i = 0; i < n - 1; ++i) {
    const R negligible =
        spltol < 0 ? std::abs(spltol) * tnrm : spltol * std::sqrt(std::abs(d[i])) * std::sqrt(std::abs(d[i + 1]));
    if (!(std::abs(e[i]) <= negligible)) continue;
    e[i] = 0;
    e2[i] = 0;
    isplit[nsplit - 1] = i + 1;
    nsplit += 1;
  }
  isplit[nsplit - 1] = n;
}

template <RealScalar R>
void larrr(Int n, const R* d, const R* e, Int& info) {
  constexpr R greatest_sum = R(0.999);
  const R least_root = std::sqrt(Machine<R>::safe_min / Machine<R>::precision);
  info = 0;
  if (n <= 0) return;
  info = 1;
  R root = std::sqrt(std::abs(d[0])), above = 0;
  if (!(root >= least_root)) return;
  for (Int i = 0; i < n - 1; ++i) {
    const R next_root = std::sqrt(std::abs(d[i + 1]));
    if (!(next_root >= least_root)) return;
    const R below = std::abs(e[i]) / (root * next_root);
    if (!(above + below < greatest_sum)) return;
    root = next_root;
    above = below;
  }
  info = 0;
}

}  // namespace nuv

#include "symmetric/sturm_counts.entries.inc"
