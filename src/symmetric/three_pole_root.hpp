#pragma once

// The search for the root of a rational function of three poles (laed6 in symmetric/secular_equation.hpp).

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "symmetric/quadratic_roots.hpp"

namespace nuv {

/// The root next to zero.
template <RealScalar R>
class ThreePoleRoot {
 public:
  /// is_right tells whether the root lies between the second pole and the third, or else between the first two; the
  /// other arguments are those of laed6.
  ThreePoleRoot(bool is_right, R rho, const R* d, const R* z, R finit)
      : left_(is_right ? 1 : 0),
        rho_(rho),
        d_{d[0], d[1], d[2]},
        z_{z[0], z[1], z[2]},
        finit_(finit),
        lower_(finit < 0 ? 0 : d[left_]),
        upper_(finit < 0 ? d[left_ + 1] : 0) {}

  /// Starts elsewhere than at zero: the pole on the other side is taken as what it gives in the middle between the two
  /// around the root.
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

  /// False if the steps were not enough.
  bool find() {
    scale();
    evaluate();
    for (int step = 1; !has_converged(); ++step) {
      if (step > most_steps) return false;
      narrow_bounds();
      tau_ += next_step();
      if (!(tau_ >= lower_ && tau_ <= upper_)) tau_ = (lower_ + upper_) / 2;
      evaluate();
    }
    return true;
  }

  R value() const { return tau_ * unscale_; }

 private:
  static constexpr int most_steps = 49;

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

}  // namespace nuv
