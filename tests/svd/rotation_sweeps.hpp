#pragma once

// Sweeps of plane rotations for tests, and what they do to a matrix by definition.

#include <cmath>
#include <numbers>

#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// A table of sweeps: in row p of columns 2 s - 1 and 2 s cosine and sine of the rotation of sweep s in plane p.
template <RealScalar R>
class RotationSweeps {
 public:
  /// identities   share of the rotations that change nothing
  RotationSweeps(Random& random, Int planes, Int count, Int ld, double identities = 0) : table_(planes, 2 * count, ld) {
    for (Int s = 1; s <= count; ++s) {
      for (Int p = 1; p <= planes; ++p) {
        const double angle = std::numbers::pi * random.real();
        const bool is_identity = std::abs(random.real()) < identities;
        table_(p, 2 * s - 1) = R(is_identity ? 1 : std::cos(angle));
        table_(p, 2 * s) = R(is_identity ? 0 : std::sin(angle));
      }
    }
    table_.seal();
  }

  Int planes() const { return table_.rows(); }
  Int count() const { return table_.columns() / 2; }
  const GuardedMatrix<R>& table() const { return table_; }
  GuardedMatrix<R>& table() { return table_; }
  const R* cosines(Int s) const { return table_.data() + std::ptrdiff_t{2 * s - 2} * table_.ld(); }
  const R* sines(Int s) const { return cosines(s) + table_.ld(); }

 private:
  GuardedMatrix<R> table_;
};

/// Turns lines x and y, counted from zero: rows, or columns from the right.
template <class Matrix, class W>
void turn_lines(bool from_left, W c, W s, Eigen::Index x, Eigen::Index y, Matrix& A) {
  const auto turn = [&](auto first, auto second) {
    const auto old = first.eval();
    first = c * old + s * second.eval();
    second = c * second.eval() - s * old;
  };
  if (from_left) {
    turn(A.row(x), A.row(y));
  } else {
    turn(A.col(x), A.col(y));
  }
}

/// One sweep of lines - 1 rotations.
template <Scalar T>
void turn(char side, char pivot, char direct, const Real<T>* c, const Real<T>* s, WideMatrix<T>& A) {
  const bool from_left = side == 'L';
  const Eigen::Index lines = from_left ? A.rows() : A.cols();
  for (Eigen::Index step = 1; step < lines; ++step) {
    const Eigen::Index k = direct == 'F' ? step : lines - step;
    const Eigen::Index x = pivot == 'T' ? 0 : k - 1, y = pivot == 'B' ? lines - 1 : k;
    turn_lines(from_left, WideReal<T>(c[k - 1]), WideReal<T>(s[k - 1]), x, y, A);
  }
}

/// All sweeps in planes of neighbours, one after the other.
template <RealScalar T>
WideMatrix<T> turned(char side, char direct, const RotationSweeps<T>& sweeps, WideMatrix<T> A) {
  for (Int s = 1; s <= sweeps.count(); ++s) turn<T>(side, 'V', direct, sweeps.cosines(s), sweeps.sines(s), A);
  return A;
}

/// ||computed - expected|| / (||expected|| rotations eps) in the norm of Frobenius, with the rotations that an element
/// may meet.
template <Scalar T>
double rotation_error(const GuardedMatrix<T>& computed, const WideMatrix<T>& expected, Int rotations) {
  if (expected.size() == 0) return 0;
  return double((wide(computed) - expected).norm() /
                (expected.norm() * epsilon<T> * WideReal<T>(std::max(1, rotations))));
}

}  // namespace nuv::test
