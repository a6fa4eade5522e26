#pragma once

// Products of a vector and a symmetric or Hermitian matrix of which one triangle is stored. Every stored element is
// read once and serves both of its places in the matrix.
//
// The rows are cut into pieces. The stored part of a piece is a triangle D on the diagonal, which is worked off by
// panels, and a rectangle R beside it:
//
//     upper   D R R      lower   D . .
//             . D R              R D .
//             . . D              R R D

#include "kernels/level2/panel.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace symmetric_detail {

/// Adds alpha R x to y and alpha R^T x (R^H x if Hermitian) to y for an m by n rectangle R.
///
/// rows_x, rows_y         parts of x and y beside the rows of R
/// columns_x, columns_y   and beside its columns
template <bool hermitian, Scalar T>
void add_rectangle(Int m, Int n, T alpha, Matrix<const T> R, const T* rows_x, T* rows_y, Vector<const T> columns_x,
                   Vector<T> columns_y) {
  for_each_group<column_group<T>>(n, [&](Int j, auto columns) {
    T factors[columns], products[padded<T>(columns)];
    for (int k = 0; k < columns; ++k) factors[k] = alpha * element(columns_x, j + k);
    multiply_both_ways<columns, hermitian && ComplexScalar<T>>(m, R.at(1, j + 1), R.ld, factors, rows_y, rows_x,
                                                               products);
    add_scaled(columns, alpha, products, tail(columns_y, j));
  });
}

/// y := y + alpha D x for the matrix of order n whose triangle is D. A Hermitian diagonal counts as real.
template <bool hermitian, bool upper, Scalar T>
void add_triangle(Int n, T alpha, Matrix<const T> D, const T* x, T* y) {
  constexpr int most = column_group<T>;
  constexpr Corner kind = hermitian ? Corner::hermitian : Corner::symmetric;
  for_each_panel(n, upper, true, most, [&](Int j, Int k) {
    const Int beside = rows_beside(upper, n, j, k).first;
    T factors[most], product[padded<T>(most)];
    const Panel panel = panel_of(D, upper, n, j, k);
    for (Int l = 0; l < (panel.height > 0 ? most : 0); ++l) factors[l] = alpha * x[j + l];
    multiply_panel<most, upper, kind>(panel, x + j, product, x + beside, factors, y + beside);
    add_scaled(k, alpha, product, Vector{y + j, 1});
  });
}

}  // namespace symmetric_detail

/// y := y + alpha A x for a symmetric or Hermitian A of order n.
template <bool hermitian, Scalar T>
void add_symmetric_product(bool upper, Int n, T alpha, Matrix<const T> A, Vector<const T> x, Vector<T> y) {
  using namespace symmetric_detail;
  for_each_piece(n, rows_at_a_time<T>(x.inc, y.inc), [&](Int i, Int rows) {
    Piece<T> copy_of_x, copy_of_y;
    const T* const px = contiguous(tail(x, i), rows, copy_of_x);
    T* const py = contiguous(tail(y, i), rows, copy_of_y);
    const auto [first, count] = columns_beside(upper, n, i, rows);
    if (count > 0) {
      add_rectangle<hermitian>(rows, count, alpha, block(A, i + 1, first + 1), px, py, tail(x, first), tail(y, first));
    }
    with_constant(
        upper, [&](auto is_upper) { add_triangle<hermitian, is_upper>(rows, alpha, block(A, i + 1, i + 1), px, py); });
    put_back(tail(y, i), rows, copy_of_y);
  });
}

/// y := alpha A x + beta y for a symmetric or Hermitian A of order n.
template <bool hermitian, Scalar T>
void symmetric_product(char uplo, Int n, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  const Vector Y = from_first(y, n, incy);
  scale(n, beta, Y);
  if (alpha == T(0)) return;
  add_symmetric_product<hermitian>(same_letter(uplo, 'U'), n, alpha, {a, lda}, from_first(x, n, incx), Y);
}

}  // namespace nuv::kernels::inline NUV_ISA
