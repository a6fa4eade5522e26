#pragma once

// Plane rotations of the rows and columns of a pencil.

#include <cmath>
#include <complex>
#include <limits>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/rotation.hpp"

namespace nuv {

/// Rows x above y become c x + s y and c y - conj(s) x, and so do columns x and y.
template <Scalar T>
struct PlaneRotation {
  Real<T> c;
  T s;

  /// The rotation that takes (f, g) to (r, 0). An infinity, for which lartg has no end, makes it NaN.
  static PlaneRotation annihilating(T f, T g, T& r) {
    PlaneRotation rotation;
    if (is_infinite(f) || is_infinite(g)) {
      constexpr Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
      rotation = {nan, T(nan)};
      r = T(nan);
    } else {
      lartg(f, g, rotation.c, rotation.s, r);
    }
    return rotation;
  }

  /// The same for elements of a matrix: f becomes r, and g zero.
  static PlaneRotation annihilate(T& f, T& g) {
    const PlaneRotation rotation = annihilating(f, g, f);
    g = T(0);
    return rotation;
  }

  /// The rotation of the columns of Q beside one of rows of Q^H A.
  PlaneRotation conjugated() const { return {c, conjugate(s)}; }

  /// Turns `count` elements of columns x and y, counted from one.
  void turn(Int count, Matrix<T> A, Int x, Int y) const {
    if (count > 0) blas::rot(count, column(A, 1, x), column(A, 1, y), c, s);
  }

  /// Turns columns first ... last of rows i and i + 1: a few, or the call of a kernel would be worth it.
  void turn_rows(Matrix<T> A, Int i, Int first, Int last) const {
    const T s_conjugated = conjugate(s);
    for (Int j = first; j <= last; ++j) {
      T* const pair = A.at(i, j);
      const T x = pair[0], y = pair[1];
      pair[0] = c * x + s * y;
      pair[1] = c * y - s_conjugated * x;
    }
  }

 private:
  static bool is_infinite(T x) { return std::isinf(std::real(x)) || std::isinf(std::imag(x)); }
};

/// The rotations of neighbouring rows that one chase makes, on their way to columns that wait for them: a few at a time
/// then pass through the registers with each column, which would be met in every rotation otherwise. Each element sees
/// the same rotations in the same order as without the delay.
///
/// order   'F': rows are turned from the first pair to the last, 'B': from the last to the first
template <Scalar T, char order>
class RowRotations {
 public:
  static constexpr Int most = 16;

  /// rows    the pairs (first, first + 1) ... (first + count - 1, first + count), count <= most
  RowRotations(Int first, Int count) : first_(first), count_(count) {}

  /// That of the pair (row, row + 1).
  void set(Int row, const PlaneRotation<T>& rotation) {
    c_[row - first_] = rotation.c;
    s_[row - first_] = rotation.s;
  }

  /// Turns columns from ... to of a matrix.
  void turn(Matrix<T> A, Int from, Int to) const {
    if (count_ <= 0 || from > to) return;
    const Matrix<T> rows = block(A, first_, from);
    if constexpr (RealScalar<T>) {
      if constexpr (order == 'F') blas::lasr_lvf(count_ + 1, to - from + 1, c_, s_, rows);
      else blas::lasr_lvb(count_ + 1, to - from + 1, c_, s_, rows);
    } else {
      turn_columns(to - from + 1, rows);
    }
  }

 private:
  /// Two columns at a time, whose chains of products don't wait for each other.
  void turn_columns(Int columns, Matrix<T> A) const {
    Int j = 1;
    for (; j < columns; j += 2) turn_together<2>({A.at(1, j), A.at(1, j + 1)});
    if (j == columns) turn_together<1>({A.at(1, j)});
  }

  template <int together>
  void turn_together(T* const (&column)[together]) const {
    constexpr bool rises = order == 'F';
    T carried[together];
    for (int q = 0; q < together; ++q) carried[q] = column[q][rises ? 0 : count_];
    for (Int step = 0; step < count_; ++step) {
      const Int k = rises ? step : count_ - 1 - step;
      const Real<T> c = c_[k];
      const T s = s_[k], s_conjugated = conjugate(s);
      for (int q = 0; q < together; ++q) {
        const T x = rises ? carried[q] : column[q][k], y = rises ? column[q][k + 1] : carried[q];
        const T upper = c * x + s * y, lower = c * y - s_conjugated * x;
        column[q][rises ? k : k + 1] = rises ? upper : lower;
        carried[q] = rises ? lower : upper;
      }
    }
    for (int q = 0; q < together; ++q) column[q][rises ? count_ : 0] = carried[q];
  }

  Int first_, count_;
  Real<T> c_[most];
  T s_[most];
};

}  // namespace nuv
