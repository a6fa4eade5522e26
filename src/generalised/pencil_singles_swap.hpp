#pragma once

// The exchange of two neighbouring eigenvalues on the diagonals of a pencil in generalised Schur form, real or complex,
// and what it shares with that of larger blocks: how a trial is scaled, and when it is good.

#include <cmath>

#include "blas.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "generalised/frobenius_norm.hpp"
#include "generalised/pencil_form.hpp"
#include "nonsymmetric/eigenvalue_swap.hpp"

namespace nuv {

/// What may be left of a matrix of this norm where a swap should leave zeros, and of its difference from where it came.
/// Each matrix of a pencil is judged by its own norm: beside a large matrix a small one would pass in any state.
template <RealScalar R>
R swap_threshold(R norm) {
  return 10 * Machine<R>::precision * norm;
}

/// The power of two at the largest of some numbers, 1 where all of them are zero. Trials of both matrices are divided
/// by theirs, which rounds nothing: swaps solve equations and compare sizes across the pencil, where the smaller matrix
/// would count for rounding errors of the larger one.
template <RealScalar R>
class PowerOfSize {
 public:
  PowerOfSize(Int count, const R* x) : count_(count) {
    R largest = 0;
    for (Int i = 0; i < count; ++i) largest = larger_or_nan(largest, std::abs(x[i]));
    is_finite_ = largest <= Machine<R>::overflow;
    if (is_finite_ && largest > 0) exponent_ = std::ilogb(largest);
  }

  bool is_finite() const { return is_finite_; }
  void take_from(R* x) const { multiply(x, -exponent_); }
  void give_back_to(R* x) const { multiply(x, exponent_); }

 private:
  /// In two steps, since not every power here has a reciprocal in range.
  void multiply(R* x, int exponent) const {
    const R half = std::ldexp(R(1), exponent / 2), rest = std::ldexp(R(1), exponent - exponent / 2);
    for (Int i = 0; i < count_; ++i) x[i] = x[i] * half * rest;
  }

  Int count_;
  bool is_finite_;
  int exponent_ = 0;
};

/// The two rows and columns of two neighbouring eigenvalues.
template <Scalar T>
struct SinglesSquare {
  T x[4];

  explicit SinglesSquare(Matrix<const T> A) : x{A(1, 1), A(2, 1), A(1, 2), A(2, 2)} {}

  void turn_columns(Real<T> cs, T sn) { blas::rot(2, Vector{x, 1}, Vector{x + 2, 1}, cs, sn); }
  void turn_rows(Real<T> cs, T sn) { blas::rot(2, Vector{x, 2}, Vector{x + 1, 2}, cs, sn); }

  Real<T> norm() const { return FrobeniusNorm<Real<T>>().add(4, x).value(); }

  /// Takes its power of two from it; false if it has an element that is not finite.
  bool normalise() {
    constexpr Int count = (ComplexScalar<T> ? 2 : 1) * 4;
    auto* const parts = reinterpret_cast<Real<T>*>(x);
    const PowerOfSize<Real<T>> size(count, parts);
    size.take_from(parts);
    return size.is_finite();
  }
};

/// Rotations from the left and from the right that exchange two eigenvalues.
template <Scalar T>
struct SinglesSwap {
  using R = Real<T>;

  R left_cs, right_cs;
  T left_sn, right_sn;

  /// The columns are turned so that the first one is the eigenvector for the second eigenvalue, on which S and P have
  /// one direction; the rows so that this becomes the first axis, by that matrix which has the larger share in it: of
  /// the other one cancellation may have left rounding errors alone. Both have norms about one.
  SinglesSwap(SinglesSquare<T>& S, SinglesSquare<T>& P) {
    const T f = S.x[3] * P.x[0] - P.x[3] * S.x[0];
    const T g = S.x[3] * P.x[2] - P.x[3] * S.x[2];
    const bool by_s = magnitude(S.x[3]) >= magnitude(P.x[3]);
    rotation_onto_first(g, f, right_cs, right_sn);
    right_sn = negated(conjugate(right_sn));
    S.turn_columns(right_cs, right_sn);
    P.turn_columns(right_cs, right_sn);
    const SinglesSquare<T>& which = by_s ? S : P;
    rotation_onto_first(which.x[0], which.x[1], left_cs, left_sn);
    S.turn_rows(left_cs, left_sn);
    P.turn_rows(left_cs, left_sn);
  }

  /// Whether a trial is triangular, and near enough to what it came from.
  bool is_good(const SinglesSquare<T>& trial, const SinglesSquare<T>& origin) const {
    const R threshold = swap_threshold(origin.norm());
    return magnitude(trial.x[1]) <= threshold && error(trial, origin).norm() <= threshold;
  }

  /// A trial turned back, minus what it came from.
  SinglesSquare<T> error(SinglesSquare<T> trial, const SinglesSquare<T>& origin) const {
    trial.turn_columns(right_cs, negated(right_sn));
    trial.turn_rows(left_cs, negated(left_sn));
    for (int k = 0; k < 4; ++k) trial.x[k] -= origin.x[k];
    return trial;
  }

  void apply(const PencilForm<T>& form, Int j) const {
    const auto& [wantq, wantz, n, A, B, Q, Z] = form;
    for (const Matrix<T>& X : {A, B}) {
      blas::rot(j + 1, column(X, 1, j), column(X, 1, j + 1), right_cs, right_sn);
      blas::rot(n - j + 1, row(X, j, j), row(X, j + 1, j), left_cs, left_sn);
      X(j + 1, j) = T(0);
    }
    if (wantz) blas::rot(n, column(Z, 1, j), column(Z, 1, j + 1), right_cs, right_sn);
    if (wantq) blas::rot(n, column(Q, 1, j), column(Q, 1, j + 1), left_cs, conjugate(left_sn));
  }
};

/// Exchanges the eigenvalues in rows j and j + 1; false if that is rejected.
template <Scalar T>
bool swap_singles(const PencilForm<T>& form, Int j) {
  SinglesSquare<T> A(block(form.A, j, j)), B(block(form.B, j, j));
  if (!A.normalise() || !B.normalise()) return false;
  SinglesSquare<T> S = A, P = B;
  const SinglesSwap<T> swap(S, P);
  if (!swap.is_good(S, A) || !swap.is_good(P, B)) return false;
  swap.apply(form, j);
  return true;
}

}  // namespace nuv
