#pragma once

// What the methods with diagonal pivoting do to a triangle of a symmetric or Hermitian matrix, whether it is stored in
// full, Matrix<T>, or packed, PackedTriangle<T>: the elements of a column stand together, those of a row do not.

#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/packed_storage.hpp"
#include "solvers/complex_symmetric_products.hpp"
#include "solvers/diagonal_pivoting.hpp"
#include "solvers/mirrored_products.hpp"

namespace nuv {

/// The triangle of some of the last columns in the order of elimination, as kernels take it.
template <class T>
Matrix<T> part(Matrix<T> A, Rows rows) {
  return block(A, rows.first, rows.first);
}
template <class T>
T* part(const PackedTriangle<T>& A, Rows rows) {
  return A.at(rows.first, rows.first);
}

/// The row of the largest of some elements, at least one, that stand together from x on.
template <class T>
Int row_of_largest(Rows rows, T* x) {
  return rows.first - 1 + blas::iamax(rows.count(), Vector<T>(x, 1));
}

/// A += alpha x x^T, or alpha x x^H with the real part of alpha, on a triangle.
template <Mirror mirror, Scalar T>
void add_outer_square(char uplo, Int n, T alpha, Vector<const T> x, Matrix<T> A) {
  if constexpr (mirror == Mirror::conjugate) {
    blas::her(uplo, n, alpha.real(), x, A);
  } else if constexpr (RealScalar<T>) {
    blas::syr(uplo, n, alpha, x, A);
  } else {
    syr<T>(uplo, n, alpha, x.data, x.inc, A.data, A.ld);
  }
}
template <Mirror mirror, Scalar T>
void add_outer_square(char uplo, Int n, T alpha, Vector<const T> x, T* ap) {
  if constexpr (mirror == Mirror::conjugate) {
    blas::hpr(uplo, n, alpha.real(), x, ap);
  } else if constexpr (std::same_as<T, std::complex<double>>) {
    spr<T>(uplo, n, alpha, x.data, x.inc, ap);
  } else {
    blas::spr(uplo, n, alpha, x, ap);
  }
}

/// Exchanges the last row and column of a pivot's block with those of row block.row.
template <Mirror mirror, class Triangle>
void exchange(const Triangle& A, const EliminationOrder& order, const PivotBlock& block) {
  const Int to = block.last, from = block.row;
  if (from == to) return;
  const auto swap_mirrored = [](auto& x, auto& y) {
    x = mirror_image<mirror>(std::exchange(y, mirror_image<mirror>(x)));
  };
  const Rows outside = order.beyond(from);
  if (outside.count() > 0) {
    blas::swap(outside.count(), Vector(A.at(outside.first, to), 1), Vector(A.at(outside.first, from), 1));
  }
  const Rows inside = order.between(to, from);
  for (Int i = inside.first; i <= inside.last; ++i) swap_mirrored(A(i, to), A(from, i));
  if constexpr (mirror == Mirror::conjugate) A(from, to) = conjugate(A(from, to));
  std::swap(A(to, to), A(from, from));
  if (block.is_pair()) std::swap(A(to, block.first), A(from, block.first));
}

}  // namespace nuv
