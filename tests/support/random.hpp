#pragma once

// Random test data, the same on every platform.

#include <cctype>
#include <cmath>
#include <iterator>
#include <random>

#include "base/types.hpp"
#include "support/guarded.hpp"

namespace nuv::test {

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  /// Uniform in [-1, 1).
  double real() { return static_cast<double>(static_cast<std::int64_t>(engine_()) >> 10) * 0x1p-53; }

  /// Each part uniform in [-1, 1).
  template <Scalar T>
  T scalar() {
    const auto re = static_cast<Real<T>>(real());
    if constexpr (ComplexScalar<T>) {
      return {re, static_cast<Real<T>>(real())};
    } else {
      return re;
    }
  }

  /// Of magnitude 1 to about 2, so that it can be divided by.
  template <Scalar T>
  T divisor() {
    const T x = scalar<T>();
    return std::real(x) < 0 ? x - T(1) : x + T(1);
  }

  /// Uniform in from ... to.
  Int integer(Int from, Int to) {
    return from + static_cast<Int>(engine_() % static_cast<std::uint64_t>(to - from + 1));
  }

  /// One entry of a list.
  template <class List>
  auto pick(const List& list) {
    return list[std::size_t(integer(0, Int(std::size(list)) - 1))];
  }

  /// An option letter as a capital or a small one.
  char in_some_case(char letter) {
    return integer(0, 1) == 0 ? char(std::toupper(letter)) : char(std::tolower(letter));
  }

 private:
  std::mt19937_64 engine_;
};

/// An m by n matrix of random entries.
template <Scalar T>
GuardedMatrix<T> random_matrix(Random& random, Int m, Int n, Int ld) {
  GuardedMatrix<T> A(m, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) A(i, j) = random.scalar<T>();
  }
  A.seal();
  return A;
}

template <Scalar T>
GuardedVector<T> random_vector(Random& random, Int n, Int inc) {
  GuardedVector<T> x(n, inc);
  for (Int i = 1; i <= n; ++i) x(i) = random.scalar<T>();
  x.seal();
  return x;
}

/// A well-conditioned triangular matrix of order n. The other triangle, and the diagonal where it counts as ones, hold
/// guards.
template <Scalar T>
GuardedMatrix<T> random_triangle(Random& random, bool upper, bool unit_diagonal, Int n, Int ld) {
  GuardedMatrix<T> A(n, n, ld);
  const auto scale = static_cast<Real<T>>(1 / std::sqrt(n + 1.0));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = upper ? 1 : j + 1; i <= (upper ? j - 1 : n); ++i) A(i, j) = scale * random.scalar<T>();
    if (!unit_diagonal) A(j, j) = random.divisor<T>();
  }
  A.seal();
  return A;
}

}  // namespace nuv::test
