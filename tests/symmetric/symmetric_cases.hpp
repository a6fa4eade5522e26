#pragma once

// Symmetric and Hermitian matrices of which a triangle is stored, in full, packed or as a band.

#include <algorithm>

#include "support/options.hpp"
#include "support/packed.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "symmetric/tridiagonal_matrices.hpp"

namespace nuv::test {

/// A triangle of random elements. The other triangle, and the imaginary parts of the diagonal, hold guards.
template <Scalar T>
GuardedMatrix<T> random_symmetric(Random& random, char uplo, Int n) {
  GuardedMatrix<T> A(n, n, std::max(1, n));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j)) A(i, j) = random.scalar<T>();
    }
    if constexpr (ComplexScalar<T>) A(j, j).imag(guard<Real<T>>());
  }
  A.seal();
  return A;
}

/// The same with zeros beyond kd diagonals beside the main one.
template <Scalar T>
GuardedMatrix<T> random_band(Random& random, char uplo, Int n, Int kd) {
  GuardedMatrix<T> A = random_symmetric<T>(random, uplo, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j) && std::abs(i - j) > kd) A(i, j) = T(0);
    }
  }
  A.seal();
  return A;
}

/// Row of band storage in which element (i, j) of a triangle stands.
inline Int band_row(char uplo, Int kd, Int i, Int j) {
  return is_upper(uplo) ? kd + 1 + i - j : 1 + i - j;
}

/// A triangle in band storage; what lies outside of the matrix holds guards.
template <Scalar T>
GuardedMatrix<T> band_of(char uplo, Int kd, const GuardedMatrix<T>& A, Int ldab) {
  GuardedMatrix<T> ab(kd + 1, A.columns(), ldab);
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      if (is_in_triangle(uplo, i, j) && std::abs(i - j) <= kd) ab(band_row(uplo, kd, i, j), j) = A(i, j);
    }
  }
  ab.seal();
  return ab;
}

/// Whether nothing was written outside of the matrix that a triangle in band storage holds.
template <Scalar T>
testing::AssertionResult only_band_changed(char uplo, Int kd, Int n, const GuardedMatrix<T>& ab) {
  return ab.unchanged_except([&](Int row, Int j) {
    const Int i = is_upper(uplo) ? row + j - kd - 1 : row + j - 1;
    return i >= 1 && i <= n;
  });
}

/// The tridiagonal matrix in the arrays of a reduction.
template <RealScalar R>
Tridiagonal<R> tridiagonal_of(const GuardedVector<R>& d, const GuardedVector<R>& e) {
  Tridiagonal<R> result;
  for (Int i = 1; i <= d.size(); ++i) result.d.push_back(d(i));
  for (Int i = 1; i < d.size(); ++i) result.e.push_back(e(i));
  return result;
}

}  // namespace nuv::test
