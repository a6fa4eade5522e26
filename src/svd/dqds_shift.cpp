#include "svd/dqds_shift.hpp"

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "svd/qd_array.hpp"

namespace nuv {
namespace {

// The shift comes from a lower bound of the least eigenvalue. Where the least d stands at the end of the block or close
// to it, the unit vector of its row is close to an eigenvector: its residual, and how far the second eigenvalue is
// away, give the bound.

template <RealScalar R>
inline constexpr R third = R(0.333);

/// Beyond this squared length the vector is no better than any other.
template <RealScalar R>
inline constexpr R longest_vector = R(0.563);

/// What the rest of a series that was cut off may add.
template <RealScalar R>
inline constexpr R for_the_rest = R(1.05);

/// The same for the bound by residual and gap.
template <RealScalar R>
inline constexpr R for_the_residual = R(1.01);

/// What the last transform told, in the names of the arguments.
template <RealScalar R>
struct TransformSummary {
  R dmin, dmin1, dmin2, dn, dn1, dn2;
};

template <RealScalar R>
struct Shift {
  R tau;
  Int ttype;
};

template <RealScalar R>
class ShiftChoice {
 public:
  ShiftChoice(Int i0, Int n0, const R* z, Int pp, const TransformSummary<R>& last)
      : i0_(i0), n0_(n0), Z_(z), pp_(pp), last_(last) {}

  Shift<R> choose(Int deflated, Int last_type, R& g) const {
    if (last_.dmin <= 0) return {negated(last_.dmin), -1};
    switch (deflated) {
      case 0:
        return without_deflation(last_type, g);
      case 1:
        return after_one();
      case 2:
        return after_two();
      default:
        return {R(0), -12};
    }
  }

 private:
  R q(Int i) const { return Z_.q(i, pp_); }
  R e(Int i) const { return Z_.e(i, pp_); }
  R former_q(Int i) const { return Z_.q(i, 1 - pp_); }
  R former_e(Int i) const { return Z_.e(i, 1 - pp_); }

  /// Adds to the squared length of a vector, 1 at row k, its components above, which are products of e(i) / q(i) for
  /// i < k, until they count no more or the length is beyond a limit. They are not for use if one of them grows.
  bool add_components_above(Int k, R limit, R& length) const {
    R component = 1;
    for (Int i = k - 1; i >= i0_ && component != 0; --i) {
      if (e(i) > q(i)) return false;
      const R last = component;
      component *= e(i) / q(i);
      length += component;
      if (100 * std::max(component, last) < length || limit < length) break;
    }
    return true;
  }

  /// Cases 2 to 6: all rows are still there.
  Shift<R> without_deflation(Int last_type, R& g) const {
    const auto& [dmin, dmin1, dmin2, dn, dn1, dn2] = last_;
    if (dmin == dn && dmin1 == dn1) return by_gap_at_the_end();
    if (dmin == dn) return by_vector({dmin / 4, -4}, n0_, dn, R(0));
    if (dmin == dn1) {
      if (former_e(n0_ - 1) > former_q(n0_)) return {dmin / 4, -4};
      return by_vector({dmin / 4, -4}, n0_ - 1, dn1, former_e(n0_ - 1) / former_q(n0_));
    }
    if (dmin == dn2) {
      const R b1 = former_q(n0_), b2 = former_q(n0_ - 1);
      if (former_e(n0_ - 2) > b2 || former_e(n0_ - 1) > b1) return {dmin / 4, -5};
      return by_vector({dmin / 4, -5}, n0_ - 2, dn2, (former_e(n0_ - 2) / b2) * (1 + former_e(n0_ - 1) / b1));
    }
    // Case 6: nothing is known. After a failure there is less to hope for.
    if (last_type == -6) {
      g += third<R> * (1 - g);
    } else if (last_type == -18) {
      g = third<R> / 4;
    } else {
      g = first_shift_factor<R>;
    }
    return {g * dmin, -6};
  }

  /// Cases 2 and 3: the two least d's are the last ones. Gerschgorin discs of the last two rows.
  Shift<R> by_gap_at_the_end() const {
    const auto& [dmin, dmin1, dmin2, dn, dn1, dn2] = last_;
    const R b1 = std::sqrt(q(n0_)) * std::sqrt(e(n0_ - 1));
    const R b2 = std::sqrt(q(n0_ - 1)) * std::sqrt(e(n0_ - 2));
    const R a2 = q(n0_ - 1) + e(n0_ - 1);
    const R gap2 = dmin2 - a2 - dmin2 / 4;
    const R gap1 = gap2 > 0 && gap2 > b2 ? a2 - dn - (b2 / gap2) * b2 : a2 - dn - (b1 + b2);
    if (gap1 > 0 && gap1 > b1) return {std::max(dn - (b1 / gap1) * b1, dmin / 2), -2};
    R s = dn > b1 ? dn - b1 : R(0);
    if (a2 > b1 + b2) s = std::min(s, a2 - (b1 + b2));
    return {std::max(s, third<R> * dmin), -3};
  }

  /// Cases 4 and 5: the least d stands at row k; the vector of this row has the squared length 1 + `below` from there
  /// down.
  Shift<R> by_vector(Shift<R> otherwise, Int k, R dk, R below) const {
    R length = below;
    if (!add_components_above(k, longest_vector<R>, length)) return otherwise;
    length *= for_the_rest<R>;
    if (length < longest_vector<R>) otherwise.tau = dk * (1 - std::sqrt(length)) / (1 + length);
    return otherwise;
  }

  /// Cases 7 to 9: a row was split off.
  Shift<R> after_one() const {
    const auto& [dmin, dmin1, dmin2, dn, dn1, dn2] = last_;
    if (dmin1 != dn1) return {dmin1 / 4, -9};
    if (dmin2 != dn2) return {dmin1 / 2, -9};
    return by_residual({third<R> * dmin1, -7}, dmin1, [this](R a2) { return last_.dmin2 / 2 - a2; });
  }

  /// Cases 10 and 11: two rows were split off.
  Shift<R> after_two() const {
    const R dmin2 = last_.dmin2;
    if (dmin2 != last_.dn2 || !(2 * e(n0_ - 1) < q(n0_ - 1))) return {dmin2 / 4, -11};
    return by_residual({third<R> * dmin2, -10}, dmin2, [&](R a2) {
      return q(n0_ - 1) + e(n0_ - 2) - std::sqrt(q(n0_ - 2)) * std::sqrt(e(n0_ - 2)) - a2;
    });
  }

  /// A Rayleigh quotient, and its residual against the gap to the second eigenvalue.
  template <class Gap>
  Shift<R> by_residual(Shift<R> otherwise, R dmin, Gap gap) const {
    R length = 0;
    if (!add_components_above(n0_, Machine<R>::overflow, length)) return otherwise;
    const R b2 = std::sqrt(for_the_rest<R> * length);
    const R a2 = dmin / (1 + b2 * b2);
    const R gap2 = gap(a2);
    if (gap2 > 0 && gap2 > b2 * a2) {
      otherwise.tau = std::max(otherwise.tau, a2 * (1 - for_the_residual<R> * a2 * (b2 / gap2) * b2));
    } else {
      otherwise.tau = std::max(otherwise.tau, a2 * (1 - for_the_residual<R> * b2));
      if (otherwise.ttype == -7) otherwise.ttype = -8;
    }
    return otherwise;
  }

  Int i0_, n0_;
  QdArray<const R> Z_;
  Int pp_;
  const TransformSummary<R>& last_;
};

}  // namespace

template <RealScalar R>
void lasq4_internal(Int i0, Int n0, const R* z, Int pp, Int n0in, R dmin, R dmin1, R dmin2, R dn, R dn1, R dn2, R& tau,
                    Int& ttype, R& g) {
  const TransformSummary<R> last{dmin, dmin1, dmin2, dn, dn1, dn2};
  const Shift<R> shift = ShiftChoice<R>(i0, n0, z, pp, last).choose(n0in - n0, ttype, g);
  tau = shift.tau;
  ttype = shift.ttype;
}

template <RealScalar R>
void lazq4(Int i0, Int n0, const R* z, Int pp, Int n0in, R dmin, R dmin1, R dmin2, R dn, R dn1, R dn2, R& tau,
           Int& ttype, R& g) {
  lasq4_internal(i0, n0, z, pp, n0in, dmin, dmin1, dmin2, dn, dn1, dn2, tau, ttype, g);
}

}  // namespace nuv

#include "svd/dqds_shift.entries.inc"
