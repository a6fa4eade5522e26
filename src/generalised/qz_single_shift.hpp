#pragma once

// Sweeps of the QZ iteration with one shift.

#include <algorithm>
#include <cmath>
#include <complex>

#include "base/quotient.hpp"
#include "environment/abs1.hpp"
#include "environment/service_math.hpp"
#include "generalised/qz_pencil.hpp"

namespace nuv {

/// A sweep from row `start` of the active block to its end, which begins with the rotation of two rows that takes (f,
/// g) to (r, 0):
///
///     H  x x x x    P  x x x x
///        x x x x       + x x x      rows j - 1 and j, then columns j - 1 and j for the + of P,
///        + x x x           x x      which make the one of H; this goes with the next two rows
///            x x             x
///
/// Rotations of columns need what those of rows make of the columns they turn, and no more: the columns behind are
/// brought up to date after some steps, together.
template <Scalar T>
class SingleShiftSweep {
  using Rotation = PlaneRotation<T>;
  using Rotations = RowRotations<T, 'F'>;

 public:
  explicit SingleShiftSweep(const QzPencil<T>& pencil) : p_(pencil) {}

  void run(Int start, T f, T g) const {
    T r;
    Rotation left = Rotation::annihilating(f, g, r);
    for (Int j = start; j < p_.last; j += Rotations::most) {
      run_some(start, j, std::min(j + Rotations::most, p_.last) - 1, left);
    }
  }

  /// The step at the end of a sweep: takes away h(j + 1, j - 1) and with it p(j + 1, j), j the last row but one.
  void finish() const {
    const Int j = p_.last - 1;
    Rotation left{1, T(0)};
    run_some(p_.first, j, j, left);
  }

 private:
  /// Steps from ... to. `left` is the first rotation where a sweep starts.
  void run_some(Int start, Int from, Int to, Rotation& left) const {
    Rotations rotations(from, to - from + 1);
    const Int near = to + 1;  // columns up to this one are turned at once
    for (Int j = from; j <= to; ++j) {
      if (j > start) left = Rotation::annihilate(p_.H(j, j - 1), p_.H(j + 1, j - 1));
      rotations.set(j, left);
      left.turn_rows(p_.H, j, j, near);
      left.turn_rows(p_.P, j, j, near);
      p_.q.turn(left.conjugated(), j, j + 1);
      const Rotation right = Rotation::annihilate(p_.P(j + 1, j + 1), p_.P(j + 1, j));
      p_.turn_columns(right, j, std::min(j + 2, p_.last), j);
    }
    rotations.turn(p_.H, near + 1, p_.right);
    rotations.turn(p_.P, near + 1, p_.right);
  }

  const QzPencil<T>& p_;
};

/// A real shift wr / s1: sweeps begin with the first column of s1 H - wr P.
template <RealScalar R>
struct RealShift {
  const QzPencil<R>& p;
  R s1, wr;

  bool is_finite() const { return std::isfinite(s1) && std::isfinite(wr); }

  /// Takes a common factor away that would let products of the shift and elements overflow.
  void keep_in_range() {
    constexpr R half_of_largest = R(0.5) * (1 / Machine<R>::safe_min);
    const R most_of_s1 = std::min(p.ascale, R(1)) * half_of_largest;
    const R most_of_wr = std::min(p.bscale, R(1)) * half_of_largest;
    R scale = s1 > most_of_s1 ? most_of_s1 / s1 : R(1);
    if (std::abs(wr) > most_of_wr) scale = std::min(scale, most_of_wr / std::abs(wr));
    s1 *= scale;
    wr *= scale;
  }

  R on_diagonal(Int j) const { return s1 * p.H(j, j) - wr * p.P(j, j); }
  R below_diagonal(Int j) const { return s1 * p.H(j + 1, j); }

  /// Whether a sweep may begin in row j, since the element of H above it and the one after it are small together.
  bool may_start_at(Int j) const {
    R above = std::abs(s1 * p.H(j, j - 1)), diagonal = std::abs(on_diagonal(j));
    const R larger = std::max(above, diagonal);
    if (larger < 1 && larger != 0) {
      above /= larger;
      diagonal /= larger;
    }
    return std::abs((p.ascale * p.H(j + 1, j)) * above) <= (p.ascale * p.atol) * diagonal;
  }
};

/// A complex shift, of the pencil with both matrices scaled to norm one.
template <ComplexScalar T>
struct ComplexShift {
  const QzPencil<T>& p;
  T value;

  bool is_finite() const { return std::isfinite(value.real()) && std::isfinite(value.imag()); }

  T on_diagonal(Int j) const { return p.ascale * p.H(j, j) - value * (p.bscale * p.P(j, j)); }
  T below_diagonal(Int j) const { return p.ascale * p.H(j + 1, j); }

  bool may_start_at(Int j) const {
    using R = Real<T>;
    R diagonal = abs1(on_diagonal(j)), below = p.ascale * abs1(p.H(j + 1, j));
    const R larger = std::max(diagonal, below);
    if (larger < 1 && larger != 0) {
      diagonal /= larger;
      below /= larger;
    }
    return abs1(p.H(j, j - 1)) * below <= diagonal * p.atol;
  }
};

/// A sweep over the active block, or over as much of its end as the shift allows.
template <class Shift, Scalar T>
void single_shift_sweep(const QzPencil<T>& p, const Shift& shift) {
  Int start = p.last - 1;
  while (start > p.first && !shift.may_start_at(start)) --start;
  SingleShiftSweep<T>(p).run(start, shift.on_diagonal(start), shift.below_diagonal(start));
}

/// Eigenvalue of A B^-1 for the last block of order two that is nearer its last element, both matrices scaled to norm
/// one (J. H. Wilkinson, The Algebraic Eigenvalue Problem, 1965, p. 512).
template <ComplexScalar T>
T nearer_eigenvalue(const QzPencil<T>& p) {
  using R = Real<T>;
  const Int i = p.last - 1, j = p.last;
  const T b11 = p.bscale * p.P(i, i), b22 = p.bscale * p.P(j, j);
  const T u12 = quotient(p.bscale * p.P(i, j), b22);
  const T ad11 = quotient(p.ascale * p.H(i, i), b11), ad21 = quotient(p.ascale * p.H(j, i), b11);
  const T ad12 = quotient(p.ascale * p.H(i, j), b22), ad22 = quotient(p.ascale * p.H(j, j), b22);
  const T abi22 = ad22 - u12 * ad21;
  const T mean = R(0.5) * (ad11 + abi22);
  const T root = principal_root(mean * mean + ad12 * ad21 - ad11 * ad22);
  const T distance = mean - abi22;
  const R same_direction = distance.real() * root.real() + distance.imag() * root.imag();
  return same_direction <= 0 ? mean + root : mean - root;
}

}  // namespace nuv
