#pragma once

// The end of the QZ iteration for a conjugate pair of eigenvalues of a real pencil: the standard form of its block, and
// alpha and beta of both.

#include <cmath>

#include "environment/service_math.hpp"
#include "environment/sums_of_squares.hpp"
#include "environment/two_by_two.hpp"
#include "generalised/pencil_two_by_two.hpp"
#include "generalised/qz_pencil.hpp"

namespace nuv {

/// Eigenvalues (wr +- i wi) / s1 of the last block of order two, or with wi = 0 the one to shift by.
template <RealScalar R>
struct LastEigenvalues {
  R s1, wr, wi;

  explicit LastEigenvalues(const QzPencil<R>& p) {
    constexpr R safety = 100;
    const Int i = p.last - 1;
    R s2, wr2;
    lag2(p.H.at(i, i), p.H.ld, p.P.at(i, i), p.P.ld, Machine<R>::safe_min * safety, s1, s2, wr, wr2, wi);
  }

  bool are_finite() const { return std::isfinite(s1) && std::isfinite(wr) && std::isfinite(wi); }
};

/// The complex Schur form of a pencil of order two with a diagonal B, for the eigenvalue w = (wr + i wi) / s1: the
/// magnitudes of B's diagonal there.
template <RealScalar R>
struct ComplexDiagonal {
  R b1, b2;

  ComplexDiagonal(Matrix<const R> A, R b11, R b22, const LastEigenvalues<R>& w) {
    const Rotation z = right_rotation(A, b11, b22, w);
    const Rotation q = left_rotation(A, b11, b22, w, z);
    const R sr = q.sr * z.sr - q.si * z.si, si = q.sr * z.si + q.si * z.sr;
    b1 = lapy2(q.c * z.c * b11 + sr * b22, si * b22);
    b2 = lapy2(q.c * z.c * b22 + sr * b11, negated(si * b11));
  }

 private:
  /// With a complex sine sr + i si.
  struct Rotation {
    R c, sr, si;
  };
  static constexpr R safmin = Machine<R>::safe_min;

  /// That which takes one row of s1 A - w B, the larger one, to an element.
  static Rotation right_rotation(Matrix<const R> A, R b11, R b22, const LastEigenvalues<R>& w) {
    const R c11r = w.s1 * A(1, 1) - w.wr * b11, c11i = negated(w.wi * b11), c12 = w.s1 * A(1, 2);
    const R c21 = w.s1 * A(2, 1), c22r = w.s1 * A(2, 2) - w.wr * b22, c22i = negated(w.wi * b22);
    if (std::abs(c11r) + std::abs(c11i) + std::abs(c12) > std::abs(c21) + std::abs(c22r) + std::abs(c22i)) {
      const R length = lapy3(c12, c11r, c11i);
      return {c12 / length, negated(c11r / length), negated(c11i / length)};
    }
    const R size = lapy2(c22r, c22i);
    if (size <= safmin) return {0, 1, 0};
    const R length = lapy2(size, c21);
    return {size / length, negated(c21 * (c22r / size) / length), c21 * (c22i / size) / length};
  }

  /// That which makes the first column of B Z, or of A Z where that says more, a multiple of the first unit vector.
  static Rotation left_rotation(Matrix<const R> A, R b11, R b22, const LastEigenvalues<R>& w, const Rotation& z) {
    const R an = std::abs(A(1, 1)) + std::abs(A(1, 2)) + std::abs(A(2, 1)) + std::abs(A(2, 2));
    const R bn = std::abs(b11) + std::abs(b22);
    const R size_of_w = std::abs(w.wr) + std::abs(w.wi);
    if (w.s1 * an > size_of_w * bn) return normalised({z.c * b11, z.sr * b22, negated(z.si * b22)});

    const R a1r = z.c * A(1, 1) + z.sr * A(1, 2), a1i = z.si * A(1, 2);
    const R a2r = z.c * A(2, 1) + z.sr * A(2, 2), a2i = z.si * A(2, 2);
    const R size = lapy2(a1r, a1i);
    if (size <= safmin) return {0, 1, 0};
    const R dr = a1r / size, di = a1i / size;
    return normalised({size, dr * a2r + di * a2i, di * a2r - dr * a2i});
  }

  static Rotation normalised(const Rotation& q) {
    const R length = lapy3(q.c, q.sr, q.si);
    return {q.c / length, q.sr / length, q.si / length};
  }
};

/// The last block of order two, whose eigenvalues are conjugate.
template <RealScalar R>
class QzPairBlock {
  using Rotation = PlaneRotation<R>;

 public:
  explicit QzPairBlock(const QzPencil<R>& pencil) : p_(pencil), i_(pencil.last - 1) {}

  /// Makes the block of P diagonal, with diagonal elements that are not negative, and stores alpha and beta. False if
  /// rounding has made the eigenvalues real: the block is to be split then.
  bool finish() const {
    R b11, b22;
    diagonalise_p(b11, b22);
    const LastEigenvalues<R> w(p_);
    if (w.wi == 0) return false;

    const ComplexDiagonal<R> diagonal(block(Matrix<const R>(p_.H), i_, i_), b11, b22, w);
    const R inverse = 1 / w.s1;
    set(i_, (w.wr * diagonal.b1) * inverse, (w.wi * diagonal.b1) * inverse, diagonal.b1);
    set(i_ + 1, (w.wr * diagonal.b2) * inverse, negated((w.wi * diagonal.b2) * inverse), diagonal.b2);
    return true;
  }

 private:
  /// By the singular value decomposition of the block.
  void diagonalise_p(R& b11, R& b22) const {
    const Int i = i_, j = i_ + 1;
    Rotation left, right;
    lasv2(p_.P(i, i), p_.P(i, j), p_.P(j, j), b22, b11, right.s, right.c, left.s, left.c);
    if (b11 < 0) {
      right = {negated(right.c), negated(right.s)};
      b11 = negated(b11);
      b22 = negated(b22);
    }
    p_.turn_rows(left, i, i, j + 1);
    turn_columns(right);
    p_.P(i, i) = b11;
    p_.P(i, j) = 0;
    p_.P(j, i) = 0;
    p_.P(j, j) = b22;
    if (b22 < 0) {
      p_.negate_column(j, p_.top);
      b22 = negated(b22);
    }
  }

  /// Columns i and i + 1 in that order, of P above the block.
  void turn_columns(const Rotation& right) const {
    right.turn(p_.last - p_.top + 1, block(p_.H, p_.top, 1), i_, i_ + 1);
    right.turn(i_ - p_.top, block(p_.P, p_.top, 1), i_, i_ + 1);
    p_.z.turn(right, i_, i_ + 1);
  }

  void set(Int k, R real, R imaginary, R beta) const {
    p_.alpha.real[k - 1] = real;
    p_.alpha.imaginary[k - 1] = imaginary;
    p_.beta[k - 1] = beta;
  }

  const QzPencil<R>& p_;
  Int i_;
};

}  // namespace nuv
