#pragma once

// A Hessenberg-triangular pencil on its way to Schur form, and what its transformations reach.

#include <algorithm>
#include <cmath>
#include <complex>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "environment/norms_general.hpp"
#include "generalised/delayed_columns.hpp"
#include "generalised/pencil_rotations.hpp"
#include "nonsymmetric/eigenvalue_array.hpp"

namespace nuv {

template <Scalar T>
struct QzPencil {
  using R = Real<T>;
  using Rotation = PlaneRotation<T>;

  bool wants_form;  ///< the whole Schur form; otherwise eigenvalues alone, and only the active block is transformed
  Int n, ilo, ihi;
  Matrix<T> H, P;
  DelayedColumns<T>&q, &z;
  EigenvalueArray<T> alpha;
  T* beta;

  // The block first ... last is active: no element below the diagonal of H is negligible there. Eigenvalues behind last
  // are there. Rotations of columns turn rows from top on, rotations of rows turn columns up to right.
  Int first = ilo, last = ihi;
  Int top = wants_form ? 1 : ilo, right = wants_form ? n : ihi;

  // What counts as zero in each matrix, and what brings it to norm one.
  R atol = 0, btol = 0, ascale = 1, bscale = 1;

  void measure() {
    constexpr R safmin = Machine<R>::safe_min, ulp = Machine<R>::precision;
    const R anorm = norm_in_range(block(H, ilo, ilo)), bnorm = norm_in_range(block(P, ilo, ilo));
    atol = std::max(safmin, ulp * anorm);
    btol = std::max(safmin, ulp * bnorm);
    ascale = 1 / std::max(safmin, anorm);
    bscale = 1 / std::max(safmin, bnorm);
  }

  bool is_negligible_in_h(Int j) const { return abs1(H(j, j - 1)) <= atol; }
  bool is_negligible_in_p(Int j) const { return magnitude(P(j, j)) <= btol; }

  /// Turns rows j and j + 1, of each matrix from some column on.
  void turn_rows(const Rotation& rotation, Int j, Int from_in_h, Int from_in_p) const {
    turn_rows(rotation, H, j, from_in_h);
    turn_rows(rotation, P, j, from_in_p);
    q.turn(rotation.conjugated(), j, j + 1);
  }

  /// Turns columns j + 1 and j, of each matrix down to some row.
  void turn_columns(const Rotation& rotation, Int j, Int to_in_h, Int to_in_p) const {
    rotation.turn(to_in_h - top + 1, block(H, top, 1), j + 1, j);
    rotation.turn(to_in_p - top + 1, block(P, top, 1), j + 1, j);
    z.turn(rotation, j + 1, j);
  }

  /// Takes column j of both matrices, from some row on down to row j, and of Z to its negative.
  void negate_column(Int j, Int from) const {
    negate(H, from, j, j);
    negate(P, from, j, j);
    z.turn_round(T(-1), j);
  }

  /// Makes the diagonal element of P in column j real and not negative, and stores the eigenvalue there.
  void take_eigenvalue(Int j) const {
    if constexpr (ComplexScalar<T>) {
      make_real(j);
    } else if (std::signbit(P(j, j))) {
      // Without the whole form, the diagonal elements alone count.
      negate_column(j, wants_form ? 1 : j);
    }
    alpha.set(j, H(j, j));
    beta[j - 1] = P(j, j);
  }

 private:
  /// The Frobenius norm of rows ilo ... ihi, or the largest number if it is beyond that: an infinite one would make
  /// every element negligible. Zero, so that none is, beside an infinity or NaN, which then come to light.
  R norm_in_range(Matrix<const T> M) const {
    const Int order = ihi - ilo + 1;
    const R norm = lanhs('F', order, M.data, M.ld, nullptr);
    if (std::isfinite(norm)) return norm;
    return is_finite(M, order) ? Machine<R>::overflow : R(0);
  }

  static bool is_finite(Matrix<const T> M, Int order) {
    for (Int j = 1; j <= order; ++j) {
      for (Int i = 1; i <= std::min(j + 1, order); ++i) {
        if (!std::isfinite(std::real(M(i, j))) || !std::isfinite(std::imag(M(i, j)))) return false;
      }
    }
    return true;
  }

  void turn_rows(const Rotation& rotation, Matrix<T> M, Int j, Int from) const {
    if (from <= right) blas::rot(right - from + 1, row(M, j, from), row(M, j + 1, from), rotation.c, rotation.s);
  }

  static void negate(Matrix<T> M, Int from, Int to, Int j) {
    for (Int i = from; i <= to; ++i) M(i, j) = negated(M(i, j));
  }

  /// Multiplies column j by a number of magnitude one, so that the last element of P there becomes real.
  void make_real(Int j) const {
    const R size = magnitude(P(j, j));
    if (size <= Machine<R>::safe_min) {
      P(j, j) = T(0);
      return;
    }
    const T turn = conjugate(P(j, j) / size);
    P(j, j) = size;
    if (wants_form) {
      blas::scal(j - 1, turn, column(P, 1, j));
      blas::scal(j, turn, column(H, 1, j));
    } else {
      H(j, j) *= turn;
    }
    z.turn_round(turn, j);
  }
};

}  // namespace nuv
