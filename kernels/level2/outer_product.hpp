#pragma once

// Outer products of vectors added to a general matrix, and to the stored triangle of a symmetric or Hermitian one.

#include "kernels/level2/panel.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// alpha x y^T, or alpha x y^H where the factors of columns are conjugated.
template <Scalar T>
struct OuterProduct {
  Vector<const T> x;
  T alpha;
  Vector<const T> y;
  bool conjugated;
  bool real_alpha = false;  ///< multiplies part by part

  /// What x is multiplied by in column j.
  T factor(Int j) const {
    const T entry = ComplexScalar<T> && conjugated ? conjugate(element(y, j)) : element(y, j);
    return ComplexScalar<T> && real_alpha ? std::real(alpha) * entry : alpha * entry;
  }
};

template <int terms, Scalar T>
Int rows_at_a_time(const OuterProduct<T> (&products)[terms]) {
  Int rows = piece_rows<T>;
  for (const OuterProduct<T>& product : products) rows = std::min(rows, rows_at_a_time<T>(product.x.inc));
  return rows;
}

/// factors[t][k] = the factor of product t in column j + k, for n columns.
template <int terms, int most, Scalar T>
void find_factors(const OuterProduct<T> (&products)[terms], Int j, Int n, T (&factors)[terms][most]) {
  for (int t = 0; t < terms; ++t) {
    for (Int k = 0; k < n; ++k) factors[t][k] = products[t].factor(j + k);
  }
}

/// A := A + the outer products, for m rows, of which x holds the parts, and for n columns from first_column on.
template <int terms, Scalar T>
void add_to_rectangle(Int m, Int n, const OuterProduct<T> (&products)[terms], Int first_column,
                      const T* const (&x)[terms], Matrix<T> A) {
  for_each_group<column_group<T>>(n, [&](Int j, auto columns) {
    T factors[terms][columns];
    find_factors(products, first_column + j, columns, factors);
    add_outer_products<columns>(m, x, factors, A.at(1, j + 1), A.ld);
  });
}

/// The same for the stored triangle of a matrix of order n, the columns of which are those from first_column on.
template <bool hermitian, bool upper, int terms, Scalar T>
void add_to_triangle(Int n, const OuterProduct<T> (&products)[terms], Int first_column, const T* const (&x)[terms],
                     Matrix<T> A) {
  constexpr int most = column_group<T>;
  for_each_panel(n, upper, true, most, [&](Int j, Int k) {
    const Int beside = rows_beside(upper, n, j, k).first;
    T factors[terms][most];
    find_factors(products, first_column + j, k, factors);
    const T *corner_x[terms], *rectangle_x[terms];
    for (int t = 0; t < terms; ++t) {
      corner_x[t] = x[t] + j;
      rectangle_x[t] = x[t] + beside;
    }
    update_panel<most, upper>(panel_of(A, upper, n, j, k), corner_x, rectangle_x, factors);
    for (Int l = j + 1; hermitian && l <= j + k; ++l) A(l, l) = std::real(A(l, l));
  });
}

/// Contiguous parts of the x of some outer products.
template <int terms, Scalar T>
struct RowPiece {
  Piece<T> copy[terms];
  const T* x[terms];

  RowPiece(const OuterProduct<T> (&products)[terms], Int i, Int rows) {
    for (int t = 0; t < terms; ++t) x[t] = contiguous(tail(products[t].x, i), rows, copy[t]);
  }
};

/// A := A + the outer products for a general m by n matrix.
template <int terms, Scalar T>
void add_to_matrix(Int m, Int n, const OuterProduct<T> (&products)[terms], Matrix<T> A) {
  for_each_piece(m, rows_at_a_time(products), [&](Int i, Int rows) {
    const RowPiece piece(products, i, rows);
    add_to_rectangle(rows, n, products, 0, piece.x, block(A, i + 1, 1));
  });
}

/// The same for the triangle of a symmetric or Hermitian matrix of order n that is stored. A Hermitian diagonal counts
/// as real and becomes so.
template <bool hermitian, int terms, Scalar T>
void add_to_symmetric(bool upper, Int n, const OuterProduct<T> (&products)[terms], Matrix<T> A) {
  for_each_piece(n, rows_at_a_time(products), [&](Int i, Int rows) {
    const RowPiece piece(products, i, rows);
    const auto [first, count] = columns_beside(upper, n, i, rows);
    add_to_rectangle(rows, count, products, first, piece.x, block(A, i + 1, first + 1));
    with_constant(upper, [&](auto is_upper) {
      add_to_triangle<hermitian, is_upper>(rows, products, i, piece.x, block(A, i + 1, i + 1));
    });
  });
}

}  // namespace nuv::kernels::inline NUV_ISA
