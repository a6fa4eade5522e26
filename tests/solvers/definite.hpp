#pragma once

// Triangles of positive definite matrices and their Cholesky factors for the tests.

#include <cmath>
#include <vector>

#include "layer.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/sanitized.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// Width of the blocks in which the factorisation works.
template <Scalar T>
inline constexpr Int cholesky_block = ComplexScalar<T> ? 64 : 128;

/// Orders on both sides of one, two and three blocks.
template <Scalar T>
std::vector<Int> definite_orders() {
  constexpr Int nb = cholesky_block<T>;
  std::vector<Int> all = {0,      1,      2,          3,          16,     17,         nb - 1, nb,
                          nb + 1, 2 * nb, 2 * nb + 1, 3 * nb - 1, 3 * nb, 3 * nb + 1, 300};
  if (is_sanitized) std::erase_if(all, [](Int n) { return n > 2 * nb + 1; });
  return all;
}

/// Element (i, j), i >= j, of a lower triangle, or of the conjugate transpose of an upper one.
template <class SomeMatrix>
auto& lower_element(SomeMatrix& A, char uplo, Int i, Int j) {
  return is_upper(uplo) ? A(j, i) : A(i, j);
}

/// The imaginary unit to some power, one in real precisions.
template <Scalar T>
T power_of_i(Int power) {
  if constexpr (ComplexScalar<T>) {
    constexpr Real<T> part[] = {1, 0, -1, 0};
    return T(part[power % 4], part[(power + 3) % 4]);
  } else {
    return T(1);
  }
}

/// Whether nothing was written outside the triangle.
template <Scalar T>
testing::AssertionResult stayed_in_triangle(char uplo, const GuardedMatrix<T>& A) {
  return A.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); });
}

/// A triangle of a well-conditioned positive definite matrix: random elements in [-1, 1) have eigenvalues no larger
/// than about 1.7 sqrt(n), to which the diagonal adds more. The other triangle, and the imaginary parts of the
/// diagonal, hold guards.
template <Scalar T>
GuardedMatrix<T> random_definite(Random& random, char uplo, Int n, Int ld) {
  GuardedMatrix<T> A(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) lower_element(A, uplo, i, j) = random.scalar<T>();
    const auto diagonal = Real<T>(2 * std::sqrt(n + 1.0) + 1 + random.real());
    if constexpr (ComplexScalar<T>) {
      A(j, j) = {diagonal, guard<Real<T>>()};
    } else {
      A(j, j) = diagonal;
    }
  }
  A.seal();
  return A;
}

template <Scalar T>
GuardedMatrix<T> random_definite(Random& random, char uplo, Int n) {
  return random_definite<T>(random, uplo, n, n % 3 == 1 ? n : n + 4);
}

/// The triangle of a Hermitian matrix, in the same surroundings.
template <Scalar T>
GuardedMatrix<T> definite_triangle(const GuardedMatrix<T>& full, char uplo) {
  const Int n = full.columns();
  GuardedMatrix<T> A(n, n, full.ld());
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j; i <= n; ++i) lower_element(A, uplo, i, j) = is_upper(uplo) ? full(j, i) : full(i, j);
    if constexpr (ComplexScalar<T>) A(j, j) = {std::real(full(j, j)), guard<Real<T>>()};
  }
  A.seal();
  return A;
}

/// ||(A - L L^H) V|| / (||A|| n eps), or the same with U^H U, for the matrix and the factor in the triangles named.
template <Scalar T>
double cholesky_residual(const GuardedMatrix<T>& A, const GuardedMatrix<T>& factor, char uplo) {
  const WideMatrix<T> F = wide_triangle(factor, is_upper(uplo), false);
  const WideMatrix<T> L = is_upper(uplo) ? op<T>('C', F) : F;
  return product_residual<T>(wide_hermitian(A, is_upper(uplo)), L, op<T>('C', L));
}

/// Whether the first elements of the diagonal are positive and real.
template <Scalar T>
testing::AssertionResult has_positive_diagonal(const GuardedMatrix<T>& A, Int count) {
  for (Int j = 1; j <= count; ++j) {
    if (!(std::real(A(j, j)) > 0) || std::imag(A(j, j)) != 0) {
      return testing::AssertionFailure() << "(" << j << ", " << j << ") is " << A(j, j);
    }
  }
  return testing::AssertionSuccess();
}

/// The factor that the layer computes of a definite matrix, sealed.
template <Scalar T>
GuardedMatrix<T> cholesky_factor(char uplo, GuardedMatrix<T> A) {
  Int info = 99;
  layer::potrf(uplo, A.columns(), A, info);
  EXPECT_EQ(info, 0);
  A.seal();
  return A;
}

}  // namespace nuv::test
