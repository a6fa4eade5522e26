#include "symmetric/secular_equation.hpp"

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "symmetric/secular_sums.hpp"

namespace nuv {
namespace {

constexpr int most_steps = 30;
constexpr int most_steps_of_three_poles = 49;

/// By how much the function has to shrink in a step, or the other way of interpolation gets its turn.
constexpr int least_progress = 10;

template <RealScalar R>
constexpr R square(R x) {
  return x * x;
}

/// A root of c x^2 - a x + b, (a - s) / (2 c) or (a + s) / (2 c) with s^2 = a^2 - 4 b c, without cancellation. The roots
/// are known to be real, so that a negative s^2 comes from rounding.
template <RealScalar R>
R left_root(R a, R b, R c) {
  const R s = std::sqrt(std::abs(a * a - 4 * b * c));
  return a <= 0 ? (a - s) / (2 * c) : 2 * b / (a + s);
}
template <RealScalar R>
R right_root(R a, R b, R c) {
  const R s = std::sqrt(std::abs(a * a - 4 * b * c));
  return a >= 0 ? (a + s) / (2 * c) : 2 * b / (a - s);
}

// ------------------------------------------------------------------------------------------------- any number of poles

/// The search for one root, n > 2. It lies between the poles `left` and `right`, or, the last one, beyond both of them.
/// All is seen from the pole next to it, the origin: the root is d(origin) + tau.
template <RealScalar R>
class SecularRoot {
 public:
  SecularRoot(Int n, Int i, const R* d, const R* z, R* delta, R rho)
      : n_(n),
        left_(std::min(i, n - 1)),
        is_last_(i == n),
        d_(d),
        z_(z),
        delta_(delta),
        rho_(rho),
        inverse_rho_(1 / rho) {}

  bool find() {
    guess();
    evaluate();
    // Where the function without the origin's term has its zero on the wrong side of the root, two poles can't follow it.
    three_poles_ = !is_last_ && (origin_ == left_ ? rest_ < 0 : rest_ > 0) && origin_ != 1 && origin_ != n_;
    bool middle_way = is_last_;
    for (int step = 1; !has_converged(); ++step) {
      if (step > most_steps) return false;
      narrow_bounds();
      const R before = w_;
      tau_ += bounded(three_poles_ ? step_by_three_poles(middle_way, step) : step_by_two_poles(middle_way));
      evaluate();
      if (!is_last_ && w_ * before > 0 && std::abs(w_) > std::abs(before) / least_progress) middle_way = !middle_way;
    }
    return true;
  }

  R value() const { return d(origin_) + tau_; }

 private:
  R d(Int j) const { return d_[j - 1]; }
  R z(Int j) const { return z_[j - 1]; }
  R delta(Int j) const { return delta_[j - 1]; }
  Int right() const { return left_ + 1; }

  /// Sums up all poles but those from `first` to `last`, at a distance of tau from the origin.
  void sum_up_around(Int first, Int last) {
    before_ = sum_of_side<Side::before>(first - 1, d_, z_, d(origin_), tau_, delta_);
    behind_ = sum_of_side<Side::behind>(n_ - last, d_ + last, z_ + last, d(origin_), tau_, delta_ + last);
  }

  /// Decides by the sign of the function between the poles (or at half its greatest distance from the last) on which
  /// side the root is. With the terms of the two poles next to it as they are and the others as in the point looked at,
  /// a quadratic equation gives the first tau.
  void guess() {
    const R gap = d(right()) - d(left_), zl = square(z(left_)), zr = square(z(right()));
    const R half = is_last_ ? rho_ / 2 : gap / 2;
    origin_ = is_last_ ? n_ : left_;
    tau_ = half;
    sum_up_around(left_, right());
    const R rest = inverse_rho_ + before_.value + behind_.value;
    const R dl = is_last_ ? negated(gap) - half : negated(half), dr = is_last_ ? negated(half) : gap - half;
    const bool is_right_of_it = !(rest + zl / dl + zr / dr > 0);

    if (is_last_) {
      lower_ = is_right_of_it ? half : 0;
      upper_ = is_right_of_it ? rho_ : half;
      const bool is_at_the_end = is_right_of_it && rest <= zl / (gap + rho_) + zr / rho_;
      tau_ = is_at_the_end ? rho_ : right_root(zl + zr - rest * gap, negated(zr * gap), rest);
    } else if (is_right_of_it) {
      origin_ = right();
      lower_ = negated(half);
      upper_ = 0;
      tau_ = left_root(zl + zr - rest * gap, negated(zr * gap), rest);
    } else {
      lower_ = 0;
      upper_ = half;
      tau_ = left_root(rest * gap + zl + zr, zl * gap, rest);
    }
  }

  void evaluate() {
    sum_up_around(origin_, origin_);
    delta_[origin_ - 1] = negated(tau_);
    const R quotient = z(origin_) / delta(origin_), term = z(origin_) * quotient;
    origin_slope_ = square(quotient);
    rest_ = inverse_rho_ + behind_.value + before_.value;
    w_ = rest_ + term;
    slope_ = before_.slope + behind_.slope + origin_slope_;
    error_ = 8 * (behind_.value - before_.value) + before_.error + behind_.error + 2 * inverse_rho_ +
             3 * std::abs(term) + std::abs(tau_) * slope_;
  }

  bool has_converged() const { return std::abs(w_) <= Machine<R>::eps * error_; }

  void narrow_bounds() {
    if (w_ <= 0) {
      lower_ = std::max(lower_, tau_);
    } else {
      upper_ = std::min(upper_, tau_);
    }
  }

  /// A step as it is, or another one if it goes away from the root or leaves the bounds.
  R bounded(R step) const {
    if (w_ * step >= 0) step = negated(w_ / slope_);
    const R goal = tau_ + step;
    if (goal >= lower_ && goal <= upper_) return step;
    return ((w_ < 0 ? upper_ : lower_) - tau_) / 2;
  }

  /// The poles on both sides stand for the function. Either the origin's term keeps its own weight, and the other pole
  /// takes what the derivative leaves for it; or, the middle way, each takes the derivative of the sum on its side.
  R step_by_two_poles(bool middle_way) const {
    const R dl = delta(left_), dr = delta(right());
    const bool from_left = origin_ == left_;
    R c;
    if (middle_way) {
      const R slope_left = from_left ? before_.slope + origin_slope_ : before_.slope;
      const R slope_right = from_left ? behind_.slope : behind_.slope + origin_slope_;
      c = w_ - dl * slope_left - dr * slope_right;
    } else if (from_left) {
      c = w_ - dr * slope_ - (d(left_) - d(right())) * origin_slope_;
    } else {
      c = w_ - dl * slope_ - (d(right()) - d(left_)) * origin_slope_;
    }
    const R a = (dl + dr) * w_ - dl * dr * slope_, b = dl * dr * w_;
    if (is_last_) return c == 0 ? rho_ - tau_ : right_root(a, b, std::abs(c));
    return c == 0 ? b / a : left_root(a, b, c);
  }

  /// The origin and its neighbours on both sides stand for the function: the origin's term as it is, and for the two
  /// others the same choice as above.
  R step_by_three_poles(bool middle_way, int step) const {
    const Int l = origin_ - 1, r = origin_ + 1;
    const R dl = delta(l), dr = delta(r);
    R c, weights[3] = {0, square(z(origin_)), 0};
    if (middle_way) {
      c = rest_ - dl * before_.slope - dr * behind_.slope;
      weights[0] = dl * dl * before_.slope;
      weights[2] = dr * dr * behind_.slope;
    } else if (origin_ == left_) {
      const R known = square(z(l) / dl);
      c = rest_ - dr * (before_.slope + behind_.slope) - (d(l) - d(r)) * known;
      weights[0] = square(z(l));
      weights[2] = dr * dr * ((before_.slope - known) + behind_.slope);
    } else {
      const R known = square(z(r) / dr);
      c = rest_ - dl * (before_.slope + behind_.slope) - (d(r) - d(l)) * known;
      weights[0] = dl * dl * (before_.slope + (behind_.slope - known));
      weights[2] = square(z(r));
    }
    R eta = 0;
    Int info;
    laed6<R>(step + 1, to_logical(origin_ == left_), c, delta_ + (l - 1), weights, w_, eta, info);
    return info == 0 ? eta : R(0);  // no step at all is replaced by Newton's
  }

  Int n_, left_;
  bool is_last_;
  const R* d_;
  const R* z_;
  R* delta_;
  R rho_, inverse_rho_;

  Int origin_ = 0;
  R tau_ = 0, lower_ = 0, upper_ = 0;
  bool three_poles_ = false;

  SideSum<R> before_, behind_;  ///< the poles around the origin
  R rest_ = 0;                  ///< the function without the origin's term
  R origin_slope_ = 0;          ///< the derivative of that term
  R w_ = 0, slope_ = 0;         ///< the function and its derivative
  R error_ = 0;                 ///< what w can be off, in units of eps
};

// -------------------------------------------------------------------------------------------------------- three poles

/// The search for the root of the function of three poles next to zero.
template <RealScalar R>
class ThreePoleRoot {
 public:
  ThreePoleRoot(bool is_right, R rho, const R* d, const R* z, R finit)
      : left_(is_right ? 1 : 0),
        rho_(rho),
        d_{d[0], d[1], d[2]},
        z_{z[0], z[1], z[2]},
        finit_(finit),
        lower_(finit < 0 ? 0 : d[left_]),
        upper_(finit < 0 ? d[left_ + 1] : 0) {}

  /// The pole on the other side is taken as what it gives in the middle between the two around the root.
  void guess() {
    const int far = left_ == 1 ? 0 : 2;
    const R half = (d_[left_ + 1] - d_[left_]) / 2;
    const R from_middle = left_ == 1 ? (d_[0] - d_[1]) - half : (d_[2] - d_[1]) + half;
    R c = rho_ + z_[far] / from_middle;
    const R dl = d_[left_], dr = d_[left_ + 1], zl = z_[left_], zr = z_[left_ + 1];
    R a = c * (dl + dr) + zl + zr, b = c * dl * dr + zl * dr + zr * dl;
    const R largest = std::max({std::abs(a), std::abs(b), std::abs(c)});
    a /= largest;
    b /= largest;
    c /= largest;
    const R x = c == 0 ? b / a : left_root(a, b, c);
    tau_ = x >= lower_ && x <= upper_ ? x : (lower_ + upper_) / 2;
    if (std::find(d_, d_ + 3, tau_) != d_ + 3) {
      tau_ = 0;
      return;
    }
    evaluate();
    narrow_bounds();
    if (!(std::abs(f_) < std::abs(finit_))) tau_ = 0;
  }

  /// Brings poles that lie very close to the root to where the third powers of their distances are in range.
  void scale() {
    constexpr R small1 = lamch<R>('A'), large1 = lamch<R>('I'), small2 = small1 * small1, large2 = large1 * large1;
    const R nearest = std::min(std::abs(d_[left_] - tau_), std::abs(d_[left_ + 1] - tau_));
    if (!(nearest <= small1)) return;
    const R factor = nearest <= small2 ? large2 : large1;
    unscale_ = nearest <= small2 ? small2 : small1;
    for (R* x : {d_, z_}) {
      for (int i = 0; i < 3; ++i) x[i] *= factor;
    }
    tau_ *= factor;
    lower_ *= factor;
    upper_ *= factor;
  }

  bool find() {
    evaluate();
    for (int step = 1; !has_converged(); ++step) {
      if (step > most_steps_of_three_poles) return false;
      narrow_bounds();
      tau_ += next_step();
      if (!(tau_ >= lower_ && tau_ <= upper_)) tau_ = (lower_ + upper_) / 2;
      evaluate();
    }
    return true;
  }

  R value() const { return tau_ * unscale_; }

 private:
  /// f(tau) = f(0) + tau (sum of z(i) / (d(i) (d(i) - tau))), which loses nothing where tau is small.
  void evaluate() {
    R sum = 0, magnitudes = 0;
    slope_ = curvature_ = 0;
    for (int i = 0; i < 3; ++i) {
      const R inverse = 1 / (d_[i] - tau_), first = z_[i] * inverse, second = first * inverse;
      sum += first / d_[i];
      magnitudes += std::abs(first / d_[i]);
      slope_ += second;
      curvature_ += second * inverse;
    }
    f_ = finit_ + tau_ * sum;
    error_ = 8 * (std::abs(finit_) + std::abs(tau_) * magnitudes) + std::abs(tau_) * slope_;
  }

  bool has_converged() const { return std::abs(f_) <= Machine<R>::eps * error_; }

  void narrow_bounds() { (f_ <= 0 ? lower_ : upper_) = tau_; }

  /// A constant and the two poles beside the root stand for the function, with its value and first two derivatives.
  R next_step() const {
    const R dl = d_[left_] - tau_, dr = d_[left_ + 1] - tau_;
    R a = (dl + dr) * f_ - dl * dr * slope_, b = dl * dr * f_, c = f_ - (dl + dr) * slope_ + dl * dr * curvature_;
    const R largest = std::max({std::abs(a), std::abs(b), std::abs(c)});
    a /= largest;
    b /= largest;
    c /= largest;
    const R step = c == 0 ? b / a : left_root(a, b, c);
    return f_ * step >= 0 ? negated(f_ / slope_) : step;
  }

  int left_;  ///< pole before the root, from zero
  R rho_, d_[3], z_[3], finit_;
  R lower_, upper_;
  R tau_ = 0, unscale_ = 1;
  R f_ = 0, slope_ = 0, curvature_ = 0;  ///< the function, its derivative, and half the second one
  R error_ = 0;
};

}  // namespace

template <RealScalar T>
void laed4(Int n, Int i, const T* d, const T* z, T* delta, T rho, T& dlam, Int& info) {
  info = 0;
  if (n == 1) {
    dlam = d[0] + rho * z[0] * z[0];
    delta[0] = 1;
    return;
  }
  if (n == 2) return laed5(i, d, z, delta, rho, dlam);
  SecularRoot<T> root(n, i, d, z, delta, rho);
  info = root.find() ? 0 : 1;
  dlam = root.value();
}

// With the root seen from a pole, the equation is quadratic.
template <RealScalar T>
void laed5(Int i, const T* d, const T* z, T* delta, T rho, T& dlam) {
  const T gap = d[1] - d[0], z1 = square(z[0]), z2 = square(z[1]);
  const T in_the_middle = 1 + 2 * rho * (z2 - z1) / gap;
  if (i == 1 && in_the_middle > 0) {
    const T tau = left_root(gap + rho * (z1 + z2), rho * z1 * gap, T(1));
    dlam = d[0] + tau;
    delta[0] = negated(z[0] / tau);
    delta[1] = z[1] / (gap - tau);
  } else {
    const T a = rho * (z1 + z2) - gap, b = negated(rho * z2 * gap);
    const T tau = i == 1 ? left_root(a, b, T(1)) : right_root(a, b, T(1));
    dlam = d[1] + tau;
    delta[0] = negated(z[0] / (gap + tau));
    delta[1] = negated(z[1] / tau);
  }
  const T length = std::sqrt(delta[0] * delta[0] + delta[1] * delta[1]);
  delta[0] /= length;
  delta[1] /= length;
}

template <RealScalar T>
void laed6(Int kniter, Logical orgati, T rho, const T* d, const T* z, T finit, T& tau, Int& info) {
  ThreePoleRoot<T> root((orgati & 1) != 0, rho, d, z, finit);
  if (kniter == 2) root.guess();
  root.scale();
  info = root.find() ? 0 : 1;
  tau = root.value();
}

}  // namespace nuv

#include "symmetric/secular_equation.entries.inc"
