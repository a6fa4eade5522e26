#include "svd/dqds_transforms.hpp"

#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "svd/qd_array.hpp"

namespace nuv {
namespace {

/// Runs through the rows of a transform: `next(i, d)` makes q'(i) and e'(i) from d(i), turns d into d(i+1), and says
/// whether it could. The last two steps stand alone since what they tell chooses the next shift.
template <RealScalar R, class Next>
void run_through(Int i0, Int n0, QdArray<R> Z, Int pp, R tau, R& dmin, R& dmin1, R& dmin2, R& dn, R& dnm1, R& dnm2,
                 Next next) {
  if (n0 - i0 < 2) return;
  const Int out = 1 - pp;
  R d = Z.q(i0, pp) - tau;
  R emin = Z.q(i0 + 1, pp);
  dmin = d;
  dmin1 = negated(Z.q(i0, pp));
  for (Int i = i0; i <= n0 - 3; ++i) {
    if (!next(i, d)) return;
    dmin = smaller_or_nan(dmin, d);
    emin = smaller_or_nan(emin, Z.e(i, out));
  }
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
  Z.e(n0, out) = emin;
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
