#include "svd/dqds_step.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "svd/dqds_transforms.hpp"
#include "svd/qd_array.hpp"
#include "svd/qd_two_by_two.hpp"

namespace nuv {
namespace {

template <RealScalar R>
inline constexpr R tolerance = 100 * Machine<R>::precision;
template <RealScalar R>
inline constexpr R squared_tolerance = tolerance<R>* tolerance<R>;

template <RealScalar R>
class Step {
 public:
  explicit Step(DqdsState<R>& state) : s_(state), Z_(state.z), pp_(state.pp), out_(1 - state.pp) {}

  void run() {
    const Int n0in = s_.n0;
    deflate();
    if (s_.n0 < s_.i0) return;
    if (s_.dmin <= 0 || s_.n0 < n0in) reverse_if_growing();
    if (!(is_far_from_underflow() && transform_with_shift(n0in))) transform_without_shift();
    add_shift();
  }

 private:
  void deflate() {
    while (s_.n0 >= s_.i0) {
      const Int above = s_.n0 - s_.i0;
      if (above == 0 || (above > 1 && last_row_is_alone())) {
        store_value(s_.n0, Z_.q(s_.n0, pp_));
        s_.n0 -= 1;
      } else if (above == 1 || last_two_rows_are_alone()) {
        R larger = Z_.q(s_.n0 - 1, pp_), smaller = Z_.q(s_.n0, pp_);
        solve_two_by_two(larger, Z_.e(s_.n0 - 1, pp_), smaller, squared_tolerance<R>);
        store_value(s_.n0 - 1, larger);
        store_value(s_.n0, smaller);
        s_.n0 -= 2;
      } else {
        return;
      }
    }
  }

  void store_value(Int i, R shifted) const { Z_.q(i, 0) = shifted + s_.sigma; }

  /// An e is negligible beside what the shifts have come to, or by the element from which it was made beside the q
  /// before it.
  bool last_row_is_alone() const {
    const Int n = s_.n0;
    return !(Z_.e(n - 1, pp_) > squared_tolerance<R> * (s_.sigma + Z_.q(n, pp_)) &&
             Z_.e(n - 1, out_) > squared_tolerance<R> * Z_.q(n - 1, pp_));
  }

  bool last_two_rows_are_alone() const {
    const Int n = s_.n0;
    return !(Z_.e(n - 2, pp_) > squared_tolerance<R> * s_.sigma &&
             Z_.e(n - 2, out_) > squared_tolerance<R> * Z_.q(n - 2, pp_));
  }

  /// Turns the block about if its small elements stand on top: values are found at the end, the smallest first.
  void reverse_if_growing() {
    const Int first = s_.i0, last = s_.n0;
    if (!(R(1.5) * Z_.q(first, pp_) < Z_.q(last, pp_))) return;
    for (Int i = first, j = last; i < j; ++i, --j) {
      for (const Int set : {0, 1}) std::swap(Z_.q(i, set), Z_.q(j, set));
    }
    for (Int i = first, j = last - 1; i < j; ++i, --j) {
      for (const Int set : {0, 1}) std::swap(Z_.e(i, set), Z_.e(j, set));
    }
    if (last - first <= 4) {
      Z_.e(last, pp_) = Z_.e(first, pp_);
      Z_.e(last, out_) = Z_.e(first, out_);
    }
    // The least e at the place of e(n0) leaves out what were the last two.
    s_.dmin2 = smaller_or_nan(s_.dmin2, Z_.e(last, pp_));
    for (const Int set : {0, 1}) {
      Z_.e(last, set) = std::min({Z_.e(last, set), Z_.e(first, set), Z_.e(first + 1, set)});
    }
    s_.qmax = std::max({s_.qmax, Z_.q(first, pp_), Z_.q(first + 1, pp_)});
    s_.dmin = 0;
  }

  bool is_far_from_underflow() const {
    if (s_.dmin < 0) return true;
    return Machine<R>::safe_min * s_.qmax <
           std::min({Z_.e(s_.n0, pp_), Z_.e(s_.n0 - 2, pp_), s_.dmin2 + Z_.e(s_.n0, out_)});
  }

  void count_transform() {
    s_.ndiv += s_.n0 - s_.i0 + 2;
    s_.iter += 1;
  }

  /// Tries shift after shift; false if none will do.
  bool transform_with_shift(Int n0in) {
    lasq4_internal(s_.i0, s_.n0, s_.z, pp_, n0in, s_.dmin, s_.dmin1, s_.dmin2, s_.dn, s_.dn1, s_.dn2, s_.tau, s_.ttype,
                   s_.g);
    while (true) {
      lasq5(s_.i0, s_.n0, s_.z, pp_, s_.tau, s_.dmin, s_.dmin1, s_.dmin2, s_.dn, s_.dn1, s_.dn2, s_.ieee);
      count_transform();
      if (s_.dmin >= 0 && s_.dmin1 > 0) return true;
      if (!(s_.dmin < 0)) return false;  // NaN, or an underflow
      if (has_converged_below_zero()) {
        Z_.q(s_.n0, out_) = 0;
        s_.dmin = 0;
        return true;
      }
      if (s_.tau == 0) return false;
      s_.nfail += 1;
      lessen_shift();
    }
  }

  /// The last d came out negative by no more than a rounding of the shift, which is the value then. Beyond that a
  /// lesser shift costs one transform, and a wider tolerance would cost digits.
  bool has_converged_below_zero() const {
    return s_.dmin1 > 0 && Z_.e(s_.n0 - 1, out_) < tolerance<R> * (s_.sigma + s_.dn1) &&
           std::abs(s_.dn) < Machine<R>::precision * s_.sigma;
  }

  void lessen_shift() {
    if (s_.ttype < -22) {  // failed twice
      s_.tau = 0;
    } else if (s_.dmin1 > 0) {  // only the last d is negative: it tells how far the shift was off
      s_.tau = (s_.tau + s_.dmin) * (1 - 2 * Machine<R>::precision);
      s_.ttype -= 11;
    } else {
      s_.tau /= 4;
      s_.ttype -= 12;
    }
  }

  void transform_without_shift() {
    lasq6(s_.i0, s_.n0, s_.z, pp_, s_.dmin, s_.dmin1, s_.dmin2, s_.dn, s_.dn1, s_.dn2);
    count_transform();
    s_.tau = 0;
  }

  /// sigma + desig := sigma + desig + tau
  void add_shift() {
    if (s_.tau < s_.sigma) {
      s_.desig += s_.tau;
      const R sum = s_.sigma + s_.desig;
      s_.desig -= sum - s_.sigma;
      s_.sigma = sum;
    } else {
      const R sum = s_.sigma + s_.tau;
      s_.desig += s_.sigma - (sum - s_.tau);
      s_.sigma = sum;
    }
  }

  DqdsState<R>& s_;
  QdArray<R> Z_;
  Int pp_, out_;
};

/// What lasq3 and lasq4 keep between calls.
template <RealScalar R>
struct Kept {
  Int ttype = 0;
  R dmin1 = 0, dmin2 = 0, dn = 0, dn1 = 0, dn2 = 0, tau = 0;
  R g = first_shift_factor<R>;

  static constinit Kept shared;
};
template <RealScalar R>
constinit Kept<R> Kept<R>::shared = {};

}  // namespace

template <RealScalar R>
void advance(DqdsState<R>& state) {
  Step<R>(state).run();
}
template void advance(DqdsState<float>&);
template void advance(DqdsState<double>&);

namespace {

/// The step with its state in arguments, as lasq3_internal has them, and g.
template <RealScalar R>
void advance_in_arguments(Int i0, Int& n0, R* z, Int pp, R& dmin, R& sigma, R& desig, R& qmax, Int& nfail, Int& iter,
                          Int& ndiv, Logical ieee, Int& ttype, R& dmin1, R& dmin2, R& dn, R& dn1, R& dn2, R& tau,
                          R& g) {
  DqdsState<R> state{i0,   n0,   z,     pp,    dmin,  sigma, desig, qmax, nfail, iter,
                     ndiv, ieee, ttype, dmin1, dmin2, dn,    dn1,   dn2,  tau,   g};
  advance(state);
  n0 = state.n0;
  dmin = state.dmin;
  sigma = state.sigma;
  desig = state.desig;
  qmax = state.qmax;
  nfail = static_cast<Int>(state.nfail);
  iter = static_cast<Int>(state.iter);
  ndiv = static_cast<Int>(state.ndiv);
  ttype = state.ttype;
  dmin1 = state.dmin1;
  dmin2 = state.dmin2;
  dn = state.dn;
  dn1 = state.dn1;
  dn2 = state.dn2;
  tau = state.tau;
  g = state.g;
}

}  // namespace

template <RealScalar R>
void lasq3_internal(Int i0, Int& n0, R* z, Int pp, R& dmin, R& sigma, R& desig, R& qmax, Int& nfail, Int& iter,
                    Int& ndiv, Logical ieee, Int& ttype, R& dmin1, R& dmin2, R& dn, R& dn1, R& dn2, R& tau) {
  R g = first_shift_factor<R>;
  advance_in_arguments(i0, n0, z, pp, dmin, sigma, desig, qmax, nfail, iter, ndiv, ieee, ttype, dmin1, dmin2, dn, dn1,
                       dn2, tau, g);
}

template <RealScalar R>
void lazq3(Int i0, Int& n0, R* z, Int pp, R& dmin, R& sigma, R& desig, R& qmax, Int& nfail, Int& iter, Int& ndiv,
           Logical ieee, Int& ttype, R& dmin1, R& dmin2, R& dn, R& dn1, R& dn2, R& tau) {
  lasq3_internal(i0, n0, z, pp, dmin, sigma, desig, qmax, nfail, iter, ndiv, ieee, ttype, dmin1, dmin2, dn, dn1, dn2,
                 tau);
}

template <RealScalar R>
void lasq3(Int i0, Int& n0, R* z, Int pp, R& dmin, R& sigma, R& desig, R& qmax, Int& nfail, Int& iter, Int& ndiv,
           Logical ieee) {
  auto& kept = Kept<R>::shared;
  advance_in_arguments(i0, n0, z, pp, dmin, sigma, desig, qmax, nfail, iter, ndiv, ieee, kept.ttype, kept.dmin1,
                       kept.dmin2, kept.dn, kept.dn1, kept.dn2, kept.tau, kept.g);
}

template <RealScalar R>
void lasq4(Int i0, Int n0, const R* z, Int pp, Int n0in, R dmin, R dmin1, R dmin2, R dn, R dn1, R dn2, R& tau,
           Int& ttype) {
  lasq4_internal(i0, n0, z, pp, n0in, dmin, dmin1, dmin2, dn, dn1, dn2, tau, ttype, Kept<R>::shared.g);
}

}  // namespace nuv

#include "svd/dqds_step.entries.inc"
