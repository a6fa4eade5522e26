#pragma once

// Sweeps of the QZ iteration with two shifts at once, real or conjugate, for real pencils.

#include <algorithm>
#include <cmath>
#include <utility>

#include "environment/service_math.hpp"
#include "generalised/qz_pencil.hpp"
#include "generalised/qz_single_shift.hpp"
#include "nonsymmetric/bulge_reflector.hpp"

namespace nuv {

/// I - tau v v^T with v = (1, v2, v3).
template <RealScalar R>
struct QzReflector {
  R tau, v2, v3;

  /// That which leaves nothing of (x, y, z) but its first element, which comes back as x.
  static QzReflector onto_first(R& x, R y, R z) {
    R rest[] = {y, z}, tau;
    make_reflector<3>(x, rest, tau);
    return {tau, rest[0], rest[1]};
  }
};

/// The reflectors of neighbouring rows that one sweep makes, on their way to columns that wait for them: a few at a
/// time then pass through the registers with each column. Each element sees the same reflectors in the same order as
/// without the delay.
template <RealScalar R>
class RowReflectors {
 public:
  static constexpr Int most = 16;

  /// The k-th reflector turns rows first + k ... first + k + 2.
  explicit RowReflectors(Int first) : first_(first) {}

  void add(const QzReflector<R>& reflector) {
    const auto [tau, v2, v3] = reflector;
    reflectors_[count_++] = {v2, v3, tau, tau * v2, tau * v3};
  }

  /// Columns from ... to of a matrix, by all of them.
  void reflect(Matrix<R> A, Int from, Int to) const {
    Int j = from;
    for (; j + 3 <= to; j += 4) {
      reflect_together<4>({A.at(first_, j), A.at(first_, j + 1), A.at(first_, j + 2), A.at(first_, j + 3)});
    }
    for (; j <= to; ++j) reflect_together<1>({A.at(first_, j)});
  }

  /// Columns from ... to, by the last one alone.
  void reflect_last(Matrix<R> A, Int from, Int to) const {
    const Factors f = reflectors_[count_ - 1];
    for (Int j = from; j <= to; ++j) {
      R* const x = A.at(first_ + count_ - 1, j);
      const R sum = x[0] + f.v2 * x[1] + f.v3 * x[2];
      x[0] -= sum * f.t1;
      x[1] -= sum * f.t2;
      x[2] -= sum * f.t3;
    }
  }

 private:
  struct Factors {
    R v2, v3, t1, t2, t3;
  };

  /// Two elements of each column stay in registers from one reflector to the next.
  template <int together>
  void reflect_together(R* const (&column)[together]) const {
    R x[together], y[together];
    for (int q = 0; q < together; ++q) {
      x[q] = column[q][0];
      y[q] = column[q][1];
    }
    for (Int k = 0; k < count_; ++k) {
      const Factors f = reflectors_[k];
      for (int q = 0; q < together; ++q) {
        const R z = column[q][k + 2];
        const R sum = x[q] + f.v2 * y[q] + f.v3 * z;
        column[q][k] = x[q] - sum * f.t1;
        x[q] = y[q] - sum * f.t2;
        y[q] = z - sum * f.t3;
      }
    }
    for (int q = 0; q < together; ++q) {
      column[q][count_] = x[q];
      column[q][count_ + 1] = y[q];
    }
  }

  Int first_, count_ = 0;
  Factors reflectors_[most];
};

/// A solution of W u = scale r for two unknowns, with scale <= 1 so that it does not overflow, or with scale zero some
/// u that W takes to zero, if it takes one there.
template <RealScalar R>
struct ScaledSolution {
  R scale, u1, u2;

  /// By Gaussian elimination with complete pivoting.
  ScaledSolution(R w11, R w12, R w21, R w22, R r1, R r2) {
    constexpr R safmin = Machine<R>::safe_min;
    const R row1 = std::max(std::abs(w11), std::abs(w12)), row2 = std::max(std::abs(w21), std::abs(w22));
    if (std::max(row1, row2) < safmin) {
      scale = 0;
      u1 = 1;
      u2 = 0;
      return;
    }
    if (!(row1 >= row2)) {
      std::swap(w11, w21);
      std::swap(w12, w22);
      std::swap(r1, r2);
    }
    const bool swaps_columns = std::abs(w12) > std::abs(w11);
    if (swaps_columns) {
      std::swap(w11, w12);
      std::swap(w21, w22);
    }
    const R multiplier = w21 / w11;
    r2 -= multiplier * r1;
    w22 -= multiplier * w12;
    solve_triangle(w11, w12, w22, r1, r2);
    if (swaps_columns) std::swap(u1, u2);
  }

 private:
  void solve_triangle(R w11, R w12, R w22, R r1, R r2) {
    scale = 1;
    if (std::abs(w22) < Machine<R>::safe_min) {
      scale = 0;
      u2 = 1;
      u1 = negated(w12 / w11);
      return;
    }
    if (std::abs(w22) < std::abs(r2)) scale = std::abs(w22 / r2);
    if (std::abs(w11) < std::abs(scale * r1)) scale = std::abs(w11 / (scale * r1));
    u2 = (scale * r2) / w22;
    u1 = (scale * r1 - w12 * u2) / w11;
  }
};

/// A sweep over the whole active block, of order three at least:
///
///     H  x x x x    P  x x x x
///        x x x x       + x x x      rows j ... j + 2, then columns j ... j + 2 for the first two + of P,
///        + x x x       + + x x      which make the next + of H
///        + + x x             x
///
/// Reflectors of columns need what those of rows make of the columns they turn, and no more: the columns behind are
/// brought up to date after some steps, together.
template <RealScalar R>
class DoubleShiftSweep {
  using Reflector = QzReflector<R>;

 public:
  explicit DoubleShiftSweep(const QzPencil<R>& pencil) : p_(pencil), H_(pencil.H), P_(pencil.P) {}

  void run() const {
    Reflector left = first_reflector();
    for (Int j = p_.first; j <= p_.last - 2; j += RowReflectors<R>::most) {
      run_some(j, std::min(j + RowReflectors<R>::most - 1, p_.last - 2), left);
    }
    SingleShiftSweep<R>(p_).finish();
  }

 private:
  /// From the first column of (A B^-1)^2 - c A B^-1 + d, both matrices scaled to norm one, where w^2 - c w + d has the
  /// eigenvalues of the last block of A B^-1 for its zeros.
  Reflector first_reflector() const {
    const R ascale = p_.ascale, bscale = p_.bscale;
    const Int i = p_.last - 1, j = p_.last, f = p_.first, g = p_.first + 1;
    const auto ratio = [&](Int row, Int col) { return (ascale * H_(row, col)) / (bscale * P_(col, col)); };
    const R ad11 = ratio(i, i), ad21 = ratio(j, i), ad12 = ratio(i, j), ad22 = ratio(j, j);
    const R u12 = P_(i, j) / P_(j, j);
    const R ad11l = ratio(f, f), ad21l = ratio(g, f), ad12l = ratio(f, g), ad22l = ratio(g, g), ad32l = ratio(g + 1, g);
    const R u12l = P_(f, g) / P_(g, g);
    R v1 = (ad11 - ad11l) * (ad22 - ad11l) - ad12 * ad21 + ad21 * u12 * ad11l + (ad12l - ad11l * u12l) * ad21l;
    const R v2 = ((ad22l - ad11l) - ad21l * u12l - (ad11 - ad11l) - (ad22 - ad11l) + ad21 * u12) * ad21l;
    const R v3 = ad32l * ad21l;
    return Reflector::onto_first(v1, v2, v3);
  }

  /// Steps from ... to. `left` is the first reflector where the sweep starts.
  void run_some(Int from, Int to, Reflector& left) const {
    RowReflectors<R> reflectors(from);
    const Int near = to + 2;  // columns up to this one are reflected at once
    for (Int j = from; j <= to; ++j) {
      if (j > p_.first) {
        left = Reflector::onto_first(H_(j, j - 1), H_(j + 1, j - 1), H_(j + 2, j - 1));
        H_(j + 1, j - 1) = 0;
        H_(j + 2, j - 1) = 0;
      }
      reflectors.add(left);
      reflectors.reflect_last(H_, j, near);
      reflectors.reflect_last(P_, j, near);
      p_.q.reflect(left.tau, left.v2, left.v3, j);
      clear_column_of_p(j);
    }
    reflectors.reflect(H_, near + 1, p_.right);
    reflectors.reflect(P_, near + 1, p_.right);
  }

  /// Takes p(j + 1, j) and p(j + 2, j) away by a reflector of three columns.
  void clear_column_of_p(Int j) const {
    const ScaledSolution<R> s(P_(j + 1, j + 1), P_(j + 1, j + 2), P_(j + 2, j + 1), P_(j + 2, j + 2), P_(j + 1, j),
                              P_(j + 2, j));
    const R length = std::sqrt(s.scale * s.scale + s.u1 * s.u1 + s.u2 * s.u2);
    const R factor = R(-1) / (s.scale + length);
    const Reflector right{1 + s.scale / length, factor * s.u1, factor * s.u2};
    reflect_columns(right, H_, p_.top, std::min(j + 3, p_.last), j);
    reflect_columns(right, P_, p_.top, j + 2, j);
    p_.z.reflect(right.tau, right.v2, right.v3, j);
    P_(j + 1, j) = 0;
    P_(j + 2, j) = 0;
  }

  static void reflect_columns(const Reflector& r, Matrix<R> M, Int from, Int to, Int j) {
    blas::rot3(to - from + 1, column(M, from, j), column(M, from, j + 1), column(M, from, j + 2), r.tau, r.v2, r.v3);
  }

  const QzPencil<R>& p_;
  Matrix<R> H_, P_;
};

}  // namespace nuv
