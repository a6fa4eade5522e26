#pragma once

// Products of real matrices with columns that may be complex.

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/pool.hpp"

namespace nuv {

/// Y := A^T X for an m by n matrix A and nrhs columns X.
template <RealScalar T>
void multiply_by_transpose(Int m, Int n, Int nrhs, Matrix<const T> A, Matrix<const T> X, Matrix<T> Y) {
  if (nrhs == 1) {
    blas::gemv('T', m, n, T(1), A, column(X, 1, 1), T(0), column(Y, 1, 1));
  } else {
    blas::gemm('T', 'N', n, nrhs, m, T(1), A, X, T(0), Y);
  }
}

namespace real_products {

/// Real and imaginary parts of complex columns as real vectors.
template <class Complex, class Part>
Vector<Part> part_of(Matrix<Complex> X, Int j, bool imaginary) {
  return {reinterpret_cast<Part*>(X.at(1, j)) + (imaginary ? 1 : 0), 2};
}

/// Columns that are taken together: enough for a product of matrices, few enough for a cache.
inline constexpr Int most_columns = 32;

/// The same for at most that many columns, by one product of real matrices.
///
/// room    2 (m + n) nrhs elements
template <ComplexScalar T>
void multiply_together(Int m, Int n, Int nrhs, Matrix<const Real<T>> A, Matrix<const T> X, Matrix<T> Y, Real<T>* room) {
  using R = Real<T>;
  const Matrix<R> parts{room, m}, products{room + std::ptrdiff_t{2} * m * nrhs, n};
  for (Int j = 1; j <= nrhs; ++j) {
    const T* const x = X.at(1, j);
    R *const real = parts.at(1, j), *const imaginary = parts.at(1, nrhs + j);
    for (Int i = 0; i < m; ++i) {
      real[i] = x[i].real();
      imaginary[i] = x[i].imag();
    }
  }
  blas::gemm('T', 'N', n, 2 * nrhs, m, R(1), A, parts, R(0), products);
  for (Int j = 1; j <= nrhs; ++j) {
    T* const y = Y.at(1, j);
    const R *const real = products.at(1, j), *const imaginary = products.at(1, nrhs + j);
    for (Int i = 0; i < n; ++i) y[i] = {real[i], imaginary[i]};
  }
}

}  // namespace real_products

/// Several columns want memory from the pool; where it has none, they are multiplied one by one.
template <ComplexScalar T>
void multiply_by_transpose(Int m, Int n, Int nrhs, Matrix<const Real<T>> A, Matrix<const T> X, Matrix<T> Y) {
  using R = Real<T>;
  using namespace real_products;
  if (nrhs > 1) {
    const Int together = std::min(nrhs, most_columns);
    const Workspace<R> room(std::size_t(2) * (std::size_t(m) + std::size_t(n)) * std::size_t(together));
    if (room.data() != nullptr) {
      for (Int first = 1, count; first <= nrhs; first += count) {
        count = std::min(together, nrhs - first + 1);
        multiply_together<T>(m, n, count, A, block(X, 1, first), block(Y, 1, first), room.data());
      }
      return;
    }
  }
  for (Int j = 1; j <= nrhs; ++j) {
    for (const bool imaginary : {false, true}) {
      blas::gemv('T', m, n, R(1), A, part_of<const T, const R>(X, j, imaginary), R(0), part_of<T, R>(Y, j, imaginary));
    }
  }
}

/// y := a^T X for a vector a of m elements; y is a row.
template <RealScalar T>
void multiply_row(Int m, Int nrhs, const T* a, Matrix<const T> X, Vector<T> y) {
  blas::gemv('T', m, nrhs, T(1), X, Vector<const T>{a, 1}, T(0), y);
}
template <ComplexScalar T>
void multiply_row(Int m, Int nrhs, const Real<T>* a, Matrix<const T> X, Vector<T> y) {
  using R = Real<T>;
  for (Int j = 1; j <= nrhs; ++j) {
    const auto part = [&](bool imaginary) {
      return blas::dot(m, Vector<const R>{a, 1}, real_products::part_of<const T, const R>(X, j, imaginary));
    };
    y.data[std::ptrdiff_t{j - 1} * y.inc] = {part(false), part(true)};
  }
}

}  // namespace nuv
