#pragma once

// Matrices and their LU factors for the tests of the general solvers.

#include <vector>

#include "layer.hpp"
#include "support/random.hpp"
#include "support/sanitized.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// Orders on both sides of every block width that the general solvers take.
inline std::vector<Int> orders() {
  std::vector<Int> all = {0, 1, 2, 7, 8, 9, 16, 17, 31, 32, 33, 64, 65, 128, 129, 200, 257, 513};
  if (is_sanitized) std::erase_if(all, [](Int n) { return n > 129; });
  return all;
}

struct Shape {
  Int m, n;
};

/// Square, tall and wide shapes around an order.
inline std::vector<Shape> shapes_around(Int n) {
  const Int more = n < 200 ? n + 3 : 37;
  return {{n, n}, {n + 1, n}, {n, n + 1}, {n + more, n}, {n, n + more}};
}

inline std::vector<Shape> shapes() {
  std::vector<Shape> all = {{0, 5}, {5, 0}, {1, 40}, {40, 1}, {300, 20}, {20, 300}};
  for (const Int n : orders()) {
    for (const Shape& shape : shapes_around(n)) all.push_back(shape);
  }
  return all;
}

inline std::string to_string(const Shape& shape) {
  return std::to_string(shape.m) + " by " + std::to_string(shape.n);
}

/// A leading dimension for m rows; most leave a gap.
inline Int padded(Int m) {
  return m % 4 == 1 ? m : m + 5;
}

/// A matrix, its factors and what the factorisation said.
template <Scalar T>
struct Factored {
  WideMatrix<T> A;
  GuardedMatrix<T> factors;
  GuardedVector<Int> ipiv;
  Int info = 0;
};

/// Factors a matrix with a function (m, n, a, ipiv, info).
template <Scalar T, class Routine>
Factored<T> factor(const GuardedMatrix<T>& A, Routine routine, Int info = 0) {
  Factored<T> result{wide(A), A, GuardedVector<Int>(std::min(A.rows(), A.columns())), info};
  routine(A.rows(), A.columns(), Matrix<T>(result.factors), result.ipiv.data(), result.info);
  EXPECT_TRUE(result.factors.guards_unchanged());
  EXPECT_TRUE(result.ipiv.guards_unchanged());
  result.factors.seal();
  result.ipiv.seal();
  return result;
}

template <Scalar T>
Factored<T> factor(const GuardedMatrix<T>& A) {
  return factor(A, [](auto&&... arguments) { layer::getrf(arguments...); });
}

}  // namespace nuv::test
