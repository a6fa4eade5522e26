#pragma once

// Products of a general matrix and a vector, for the kernels that consist of them in part or altogether.

#include "kernels/level2/columns.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// y := y + alpha A x for an m by n matrix A.
template <Scalar T>
void add_product(Int m, Int n, T alpha, Matrix<const T> A, std::type_identity_t<Vector<const T>> x, Vector<T> y) {
  for_each_piece(m, rows_at_a_time<T>(y.inc), [&](Int i, Int rows) {
    Piece<T> copy;
    T* const target = contiguous(tail(y, i), rows, copy);
    if (rows <= most_strips * strip_rows<T>) {
      with_number<most_strips>((rows + strip_rows<T> - 1) / strip_rows<T>, [&](auto strips) {
        add_short_columns<strips>(rows, n, alpha, A.at(i + 1, 1), A.ld, x.data, x.inc, target);
      });
    } else {
      for_each_group<column_group<T>>(n, [&](Int j, auto columns) {
        T factors[columns];
        for (int k = 0; k < columns; ++k) factors[k] = alpha * element(x, j + k);
        add_columns<columns>(rows, A.at(i + 1, j + 1), A.ld, factors, target);
      });
    }
    put_back(tail(y, i), rows, copy);
  });
}

/// y := y + alpha A^T x, or y + alpha A^H x if conjugated, for an m by n matrix A.
template <bool conjugated, Scalar T>
void add_transposed_product(Int m, Int n, T alpha, Matrix<const T> A, std::type_identity_t<Vector<const T>> x,
                            Vector<T> y) {
  for_each_piece(m, rows_at_a_time<T>(x.inc), [&](Int i, Int rows) {
    Piece<T> copy;
    const T* const source = contiguous(tail(x, i), rows, copy);
    for_each_group<column_group<T>>(n, [&](Int j, auto columns) {
      T products[padded<T>(columns)];
      multiply_by_columns<columns, conjugated>(rows, A.at(i + 1, j + 1), A.ld, source, products);
      add_scaled<T>(columns, alpha, products, tail(y, j));
    });
  });
}

/// The same with the choice at run time.
template <Scalar T>
void add_transposed_product(bool conjugated, Int m, Int n, T alpha, Matrix<const T> A,
                            std::type_identity_t<Vector<const T>> x, Vector<T> y) {
  with_constant(ComplexScalar<T> && conjugated,
                [&](auto choice) { add_transposed_product<choice && ComplexScalar<T>>(m, n, alpha, A, x, y); });
}

}  // namespace nuv::kernels::inline NUV_ISA
