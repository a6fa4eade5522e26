#pragma once

// The search for one root of a secular equation (symmetric/secular_equation.hpp) of any number of poles.

#include <algorithm>
#include <cmath>
#include <concepts>

#include "environment/machine_constants.hpp"
#include "symmetric/quadratic_roots.hpp"
#include "symmetric/secular_sums.hpp"
#include "symmetric/three_pole_root.hpp"

namespace nuv {

/// Root i of a secular equation of order n > 2. It lies between the poles `left` and `right`, or, the last one, beyond
/// both of them. All is seen from the pole next to it, the origin: the root is tau behind it.
template <RealScalar R, class Poles = PlainPoles>
class SecularRoot {
 public:
  /// The arguments are those of laed4; delta receives the distances.
  SecularRoot(Int n, Int i, const R* d, const R* z, R* delta, R rho)
      : n_(n),
        left_(std::min(i, n - 1)),
        is_last_(i == n),
        d_(d),
        z_(z),
        delta_(delta),
        rho_(rho),
        inverse_rho_(1 / rho) {}

  /// False if the steps were not enough.
  bool find(int most_steps = 30) {
    guess();
    evaluate();
    // Where the function without the origin's term has its zero on the wrong side of the root, two poles can't follow
    // it.
    three_poles_ = !is_last_ && (origin_ == left_ ? rest_ < 0 : rest_ > 0) && origin_ != 1 && origin_ != n_;
    bool middle_way = is_last_;
    while (!has_converged()) {
      if (++steps_ > most_steps) return false;
      narrow_bounds();
      const R before = w_;
      tau_ += bounded(three_poles_ ? step_by_three_poles(middle_way) : step_by_two_poles(middle_way));
      evaluate();
      if (!is_last_ && w_ * before > 0 && std::abs(w_) > std::abs(before) / least_progress) middle_way = !middle_way;
    }
    return true;
  }

  R value() const requires std::same_as<Poles, PlainPoles> { return d(origin_) + tau_; }

  Int origin() const { return origin_; }
  R tau() const { return tau_; }

  /// The number of steps that it took.
  int steps() const { return steps_; }

 private:
  /// By how much the function has to shrink in a step, or the other way of interpolation gets its turn.
  static constexpr int least_progress = 10;

  R d(Int j) const { return d_[j - 1]; }
  R z(Int j) const { return z_[j - 1]; }
  R delta(Int j) const { return delta_[j - 1]; }
  R gap(Int j, Int k) const { return Poles::gap(d(j), d(k)); }
  Int right() const { return left_ + 1; }

  /// Sums up all poles but those from `first` to `last`, at a distance of tau from the origin.
  void sum_up_around(Int first, Int last) {
    before_ = sum_of_side<Side::before, Poles>(first - 1, d_, z_, d(origin_), tau_, delta_);
    behind_ = sum_of_side<Side::behind, Poles>(n_ - last, d_ + last, z_ + last, d(origin_), tau_, delta_ + last);
  }

  /// Decides by the sign of the function between the poles (or at half its greatest distance from the last) on which
  /// side the root is. With the terms of the two poles next to it as they are and the others as in the point looked at,
  /// a quadratic equation gives the first tau.
  void guess() {
    const R width = gap(right(), left_), zl = square(z(left_)), zr = square(z(right()));
    const R half = is_last_ ? rho_ / 2 : width / 2;
    origin_ = is_last_ ? n_ : left_;
    tau_ = half;
    sum_up_around(left_, right());
    const R rest = inverse_rho_ + before_.value + behind_.value;
    const R dl = is_last_ ? negated(width) - half : negated(half), dr = is_last_ ? negated(half) : width - half;
    const bool is_right_of_it = !(rest + zl / dl + zr / dr > 0);

    if (is_last_) {
      lower_ = is_right_of_it ? half : 0;
      upper_ = is_right_of_it ? rho_ : half;
      const bool is_at_the_end = is_right_of_it && rest <= zl / (width + rho_) + zr / rho_;
      tau_ = is_at_the_end ? rho_ : right_root(zl + zr - rest * width, negated(zr * width), rest);
    } else if (is_right_of_it) {
      origin_ = right();
      lower_ = negated(half);
      upper_ = 0;
      tau_ = left_root(zl + zr - rest * width, negated(zr * width), rest);
    } else {
      lower_ = 0;
      upper_ = half;
      tau_ = left_root(rest * width + zl + zr, zl * width, rest);
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
      c = w_ - dr * slope_ - gap(left_, right()) * origin_slope_;
    } else {
      c = w_ - dl * slope_ - gap(right(), left_) * origin_slope_;
    }
    const R a = (dl + dr) * w_ - dl * dr * slope_, b = dl * dr * w_;
    if (is_last_) return c == 0 ? rho_ - tau_ : right_root(a, b, std::abs(c));
    return c == 0 ? b / a : left_root(a, b, c);
  }

  /// The origin and its neighbours on both sides stand for the function: the origin's term as it is, and for the two
  /// others the same choice as above.
  R step_by_three_poles(bool middle_way) const {
    const Int l = origin_ - 1, r = origin_ + 1;
    const R dl = delta(l), dr = delta(r);
    R c, weights[3] = {0, square(z(origin_)), 0};
    if (middle_way) {
      c = rest_ - dl * before_.slope - dr * behind_.slope;
      weights[0] = dl * dl * before_.slope;
      weights[2] = dr * dr * behind_.slope;
    } else if (origin_ == left_) {
      const R known = square(z(l) / dl);
      c = rest_ - dr * (before_.slope + behind_.slope) - gap(l, r) * known;
      weights[0] = square(z(l));
      weights[2] = dr * dr * ((before_.slope - known) + behind_.slope);
    } else {
      const R known = square(z(r) / dr);
      c = rest_ - dl * (before_.slope + behind_.slope) - gap(r, l) * known;
      weights[0] = dl * dl * (before_.slope + (behind_.slope - known));
      weights[2] = square(z(r));
    }
    ThreePoleRoot<R> root(origin_ == left_, c, delta_ + (l - 1), weights, w_);
    if (steps_ == 1) root.guess();
    return root.find() ? root.value() : R(0);  // no step at all is replaced by Newton's
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
  int steps_ = 0;

  SideSum<R> before_, behind_;  ///< the poles around the origin
  R rest_ = 0;                  ///< the function without the origin's term
  R origin_slope_ = 0;          ///< the derivative of that term
  R w_ = 0, slope_ = 0;         ///< the function and its derivative
  R error_ = 0;                 ///< what w can be off, in units of eps
};

}  // namespace nuv
