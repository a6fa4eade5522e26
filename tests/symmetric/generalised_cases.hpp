#pragma once

// Pairs of a symmetric (Hermitian) matrix and a positive definite one of small condition.

#include "symmetric/symmetric_cases.hpp"

namespace nuv::test {

/// A triangle of a positive definite matrix with kd diagonals beside the main one. Its eigenvalues are between 1 and
/// about 3 times as much as its elements beside the diagonal add up to. The other triangle, and the imaginary parts of
/// the diagonal, hold guards.
template <Scalar T>
GuardedMatrix<T> random_definite_band(Random& random, char uplo, Int n, Int kd) {
  GuardedMatrix<T> B = random_band<T>(random, uplo, n, kd);
  const auto beside = Real<T>(3 * std::min<double>(std::min(kd, n), 2 * std::sqrt(n)));
  for (Int j = 1; j <= n; ++j) {
    const Real<T> diagonal = 2 + beside + std::real(B(j, j));
    if constexpr (ComplexScalar<T>) B(j, j).real(diagonal);
    else B(j, j) = diagonal;
  }
  B.seal();
  return B;
}

/// A triangle of a Cholesky factor: real elements between 1 and 2 on the diagonal, all else small.
template <Scalar T>
GuardedMatrix<T> random_factor(Random& random, char uplo, Int n) {
  GuardedMatrix<T> U = random_symmetric<T>(random, uplo, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j)) U(i, j) *= Real<T>(2) / Real<T>(n + 1);
    }
    U(j, j) = Real<T>(1.5 + 0.5 * random.real());
  }
  U.seal();
  return U;
}

/// The upper triangular factor U of B = U^H U: what an upper triangle holds, or the adjoint of a lower one.
template <Scalar T>
WideMatrix<T> wide_factor(const GuardedMatrix<T>& factor, char uplo) {
  const WideMatrix<T> F = wide_triangle(factor, is_upper(uplo), false);
  return is_upper(uplo) ? F : op<T>('C', F);
}

/// ||X - Y|| / (||Y|| n eps)
template <Scalar T>
double relative_difference(const WideMatrix<T>& X, const WideMatrix<T>& Y) {
  if (X.size() == 0) return 0;
  return double((X - Y).norm() / (Y.norm() * WideReal<T>(X.rows()) * epsilon<T>));
}

}  // namespace nuv::test
