#pragma once

// The eigenvector of an eigenvalue whose relative gap is large.

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "symmetric/representation_node.hpp"
#include "symmetric/twisted_correction.hpp"
#include "symmetric/twisted_vectors.hpp"

namespace nuv {

/// An eigenvalue of a representation, by its index from one, and what is known of it.
template <RealScalar R>
struct IsolatedValue {
  Int index;
  R x, error;
  R gap;            ///< to the nearest other value
  bool in_cluster;  ///< with others, to which corrections may lead
};

template <Scalar T>
class IsolatedVector {
 public:
  using R = Real<T>;
  static constexpr R eps = Machine<R>::precision;
  static constexpr R finest = 2 * eps;  ///< how well an eigenvalue can be known

  IsolatedVector(const RepresentationNode<R>& node, IsolatedValue<R>& value, T* z)
      : node_(node), value_(value), z_(z), negligible_(value.gap * eps) {}

  /// Computes the vector from a twisted factorisation at the value; false if bisection for that fails.
  bool find() {
    if (!(value_.in_cluster ? find_by_bisection() : find_by_corrections())) return false;
    value_.x = lambda_;
    if (!value_.in_cluster) approach_value();
    return true;
  }

  bool is_finite() const { return std::isfinite(residual_); }

  /// The rows that the vector fills, from one.
  Int first_row() const { return support_[0]; }
  Int last_row() const { return support_[1]; }
  R inverse_norm() const { return inverse_norm_; }

 private:
  bool find_by_bisection() {
    if (!node_.refine(value_.index, value_.index, R(0), finest, value_.index, &value_.x, &value_.gap, &value_.error)) {
      return false;
    }
    twist_ = 0;
    compute(value_.x, false);
    return true;
  }

  /// Goes on to what the Rayleigh quotient correction makes of the value, again and again. Where that leads out of the
  /// value's interval, bisection finds the value.
  bool find_by_corrections() {
    constexpr int most_steps = 10;
    constexpr R close = 64;  // to the value, in residuals small enough: from there on roundings are what is left
    const R small_residual = 4 * std::log(static_cast<R>(node_.n)) * eps * value_.gap;
    R left = value_.x - value_.error, right = value_.x + value_.error;
    R best = value_.x, least_residual = Machine<R>::overflow;
    bool corrected = false;
    compute(value_.x, true);
    for (int step = 1; residual_ > small_residual && std::abs(correction_) > finest * std::abs(lambda_); ++step) {
      const bool is_noise = residual_ > least_residual / 2 && residual_ < close * small_residual;
      if (is_noise) return look_for_better_twist(residual_ < least_residual ? lambda_ : best);
      if (residual_ < least_residual) {
        least_residual = residual_;
        best = lambda_;
      }
      const bool is_below = value_.index <= below_;
      const R next = lambda_ + correction_;
      const bool inwards = (is_below ? correction_ <= 0 : correction_ >= 0) && left <= next && next <= right;
      if (inwards && step < most_steps) {
        corrected = true;
        (is_below ? right : left) = lambda_;
        value_.x = (left + right) / 2;
        value_.error = (right - left) / 2;
      }
      if (!inwards || step == most_steps || right - left < finest * std::abs(next)) {
        if (!find_by_bisection()) return false;
        if (corrected && least_residual <= residual_) compute(best, false);
        break;
      }
      compute(next, true);
    }
    return true;
  }

  /// Where corrections help no more, close to the value, they are what roundings make of them: the best of the values
  /// so far is as good as any, but not the twist, which was chosen for the first one.
  bool look_for_better_twist(R best) {
    twist_ = 0;
    compute(best, false);
    return true;
  }

  void compute(R lambda, bool count) {
    R gamma;
    lambda_ = lambda;
    lar1v(node_.n, 1, node_.n, lambda, node_.d, node_.l, node_.ld, node_.lld, node_.pivmin, negligible_, z_,
          to_logical(count), below_, square_, gamma, twist_, support_, inverse_norm_, residual_, correction_,
          node_.scratch);
  }

  /// Takes the vector to the value itself, which lies beside lambda, where that can be seen.
  void approach_value() {
    const R angle = std::abs(correction_) / value_.gap;  // to the eigenvector
    if (!(angle > 4 * eps) || !(std::abs(correction_) <= 8 * eps * std::abs(lambda_))) return;
    const FoundVector<R> found{support_[0] - 1, twist_ - 1, support_[1] - 1, lambda_, square_};
    // The element 1 of the vector stays, which may be the smaller part of what moves.
    const R most = 4 * angle * std::sqrt(square_);
    square_ = move_vector(found, node_.d, node_.lld, correction_, most, TwistedWork<R>(node_.n, node_.scratch), z_);
    inverse_norm_ = 1 / std::sqrt(square_);
  }

  const RepresentationNode<R>& node_;
  IsolatedValue<R>& value_;
  T* z_;
  R negligible_;
  R lambda_ = 0, square_ = 0, inverse_norm_ = 0, residual_ = 0, correction_ = 0;
  Int twist_ = 0, below_ = 0, support_[2] = {};
};

}  // namespace nuv
