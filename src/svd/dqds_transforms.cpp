#include "svd/dqds_transforms.hpp"

#include <algorithm>
#include <cmath>

#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "svd/qd_array.hpp"

namespace nuv {
namespace {

/// The least e of rows i0 to n0 of a set, and of e0; NaN if one is.
template <RealScalar R>
R least_e(QdArray<R> Z, Int set, Int i0, Int n0, R e0) {
  R emin = e0;
  for (Int i = i0; i <= n0; ++i) emin = smaller_or_nan(emin, Z.e(i, set));
  return emin;
}

/// Runs through the rows of a transform: `next(i, d)` makes q'(i) and e'(i) from d(i), turns d into d(i+1), and says
/// whether it could. The last two steps stand alone since what they tell chooses the next shift.
///
/// Each step waits for the quotient of the one before; the minima go on beside it, in registers and without a test for
/// NaN. A d that is NaN leaves none behind it that is not, and among the e it is looked for at the end.
template <RealScalar R, class Next>
void run_through(Int i0, Int n0, QdArray<R> Z, Int pp, R tau, R& dmin, R& dmin1, R& dmin2, R& dn, R& dnm1, R& dnm2,
                 Next next) {
  if (n0 - i0 < 2) return;
  const Int out = 1 - pp;
  R d = Z.q(i0, pp) - tau, least = d;
  R emin = Z.q(i0 + 1, pp), zeros = emin * 0;
  dmin1 = negated(Z.q(i0, pp));
  const auto least_d = [&] { return std::isnan(d) ? d : least; };
  for (Int i = i0; i <= n0 - 3; ++i) {
    if (!next(i, d)) {
      dmin = least_d();
      return;
    }
    const R e = Z.e(i, out);
    least = std::min(least, d);
    emin = std::min(emin, e);
    zeros += e * 0;
  }
  dmin = least_d();
  dnm2 = d;
  dmin2 = dmin;
  if (!next(n0 - 2, d)) return;
  dnm1 = d;
  dmin = smaller_or_nan(dmin, d);
  dmin1 = dmin;
  if (!next(n0 - 1, d)) return;
  dn = d;
  dmin = smaller_or_nan(dmin, d);
  Z.q(n0, out) = dn;
  Z.e(n0, out) = zeros == 0 ? emin : least_e(Z, out, i0, n0 - 3, Z.q(i0 + 1, pp));
}

}  // namespace

template <RealScalar R>
void lasq5(Int i0, Int n0, R* z, Int pp, R tau, R& dmin, R& dmin1, R& dmin2, R& dn, R& dnm1, R& dnm2, Logical ieee) {
  const QdArray<R> Z(z);
  const Int out = 1 - pp;
  const auto unguarded = [=](Int i, R& d) {
    Z.q(i, out) = d + Z.e(i, pp);
    const R ratio = Z.q(i + 1, pp) / Z.q(i, out);
    Z.e(i, out) = Z.e(i, pp) * ratio;
    d = d * ratio - tau;
    return true;
  };
  const auto guarded = [=](Int i, R& d) {
    Z.q(i, out) = d + Z.e(i, pp);
    if (d < 0) return false;
    // The quotients are at most one, so that the products can't overflow.
    Z.e(i, out) = Z.q(i + 1, pp) * (Z.e(i, pp) / Z.q(i, out));
    d = Z.q(i + 1, pp) * (d / Z.q(i, out)) - tau;
    return true;
  };
  if (ieee & 1) {
    run_through(i0, n0, Z, pp, tau, dmin, dmin1, dmin2, dn, dnm1, dnm2, unguarded);
  } else {
    run_through(i0, n0, Z, pp, tau, dmin, dmin1, dmin2, dn, dnm1, dnm2, guarded);
  }
}

template <RealScalar R>
void lasq6(Int i0, Int n0, R* z, Int pp, R& dmin, R& dmin1, R& dmin2, R& dn, R& dnm1, R& dnm2) {
  constexpr R safe_min = Machine<R>::safe_min;
  const QdArray<R> Z(z);
  const Int out = 1 - pp;
  run_through(i0, n0, Z, pp, R(0), dmin, dmin1, dmin2, dn, dnm1, dnm2, [=](Int i, R& d) {
    const R e = Z.e(i, pp), following = Z.q(i + 1, pp);
    const R q = d + e;
    Z.q(i, out) = q;
    if (q == 0) {  // the row is zero, and the next one begins a block of its own
      Z.e(i, out) = 0;
      d = following;
    } else if (safe_min * following < q && safe_min * q < following) {
      const R ratio = following / q;
      Z.e(i, out) = e * ratio;
      d *= ratio;
    } else {
      Z.e(i, out) = following * (e / q);
      d = following * (d / q);
    }
    return true;
  });
}

}  // namespace nuv

#include "svd/dqds_transforms.entries.inc"
