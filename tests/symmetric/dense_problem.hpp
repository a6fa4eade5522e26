#pragma once

// Symmetric and Hermitian matrices in full storage, as the routines take them: a triangle holds the matrix, and all
// that they are not to read holds guards, imaginary parts on the diagonal among it.

#include "routines.hpp"
#include "support/guarded.hpp"
#include "support/options.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "symmetric/tridiagonal_matrices.hpp"

namespace nuv::test {

/// Where eigenvectors go: work on a column that none of them has is seen there, which leaves guards as they are.
template <Scalar T>
void fill_with_ones(GuardedMatrix<T>& Z) {
  for (Int j = 1; j <= Z.columns(); ++j) std::fill_n(&Z(1, j), Z.rows(), T(1));
  Z.seal();
}

/// Puts x at (i, j), or what mirrors it, into the triangle that uplo names.
template <Scalar T>
void set_mirrored(GuardedMatrix<T>& A, char uplo, Int i, Int j, T x) {
  if (i == j) {
    if constexpr (ComplexScalar<T>) {
      A(i, i) = {x.real(), guard<Real<T>>()};
    } else {
      A(i, i) = x;
    }
  } else if (is_in_triangle(uplo, i, j)) {
    A(i, j) = x;
  } else {
    A(j, i) = conjugate(x);
  }
}

/// Random entries, times a factor.
template <Scalar T>
GuardedMatrix<T> random_hermitian(Random& random, char uplo, Int n, Int ld, Real<T> factor = 1) {
  GuardedMatrix<T> A(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j; i <= n; ++i) set_mirrored(A, uplo, i, j, factor * random.scalar<T>());
  }
  A.seal();
  return A;
}

/// A tridiagonal matrix as it is.
template <Scalar T>
GuardedMatrix<T> stored_tridiagonal(const Tridiagonal<Real<T>>& tridiagonal, char uplo) {
  const Int n = tridiagonal.order();
  GuardedMatrix<T> A(n, n, n);
  for (Int j = 1; j <= n; ++j) {
    const auto k = std::size_t(j - 1);
    set_mirrored(A, uplo, j, j, T(tridiagonal.d[k]));
    if (j < n) set_mirrored(A, uplo, j + 1, j, T(tridiagonal.e[k]));
    for (Int i = j + 2; i <= n; ++i) set_mirrored(A, uplo, i, j, T(0));
  }
  A.seal();
  return A;
}

/// H T H for a real tridiagonal T and one reflector H = I - 2 u u^H, so that the values of T are known to its own
/// accuracy; computed in the wider type.
template <Scalar T>
GuardedMatrix<T> reflected_tridiagonal(Random& random, const Tridiagonal<Real<T>>& tridiagonal, char uplo, Int ld) {
  const Int n = tridiagonal.order();
  WideMatrix<T> B = wide_dense<T>(tridiagonal), u(n, 1);
  for (Int i = 0; i < n; ++i) u(i, 0) = wide(random.scalar<T>());
  u /= WideReal<T>(u.norm());
  const WideMatrix<T> Bu = B * u;
  const Wide<T> bend = (u.adjoint() * Bu)(0, 0);
  const Wide<T> two(2), four(4);
  B -= two * (u * Bu.adjoint() + Bu * u.adjoint()) - four * bend * (u * u.adjoint());
  GuardedMatrix<T> A(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j; i <= n; ++i) set_mirrored(A, uplo, i, j, T(B(i - 1, j - 1)));
  }
  A.seal();
  return A;
}

/// Whether nothing but the triangle was written.
template <Scalar T>
testing::AssertionResult unchanged_outside_triangle(const GuardedMatrix<T>& A, char uplo) {
  return A.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); });
}

}  // namespace nuv::test
