#pragma once

// Products of a general matrix and a vector, for the kernels that consist of them in part or altogether. A real alpha
// multiplies complex numbers part by part: a one or minus one that no formula has must not make a NaN of an infinity.

#include "kernels/level2/columns.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Sides of a matrix so small that its elements are best taken one by one. The unblocked factorisations change such a
/// matrix element by element between two products, and a register that is filled from memory waits until elements
/// written one by one, or under a mask, have left the processor for the cache.
inline constexpr Int few = 7;

inline bool is_tiny(Int m, Int n) {
  return m <= few && n <= few;
}

/// y(i) := y(i) + alpha (row i of A) x for i < m, where elements of a row are `along` apart and rows `down` apart. The
/// term that a factorisation has found last is the last to be added, and the only one that y has to wait for.
template <int length, RealScalar T>
[[gnu::always_inline]] inline void add_tiny_rows(Int m, T alpha, const T* a, std::ptrdiff_t down, std::ptrdiff_t along,
                                                 Vector<const T> x, Vector<T> y) {
  T factor[length];
#pragma GCC unroll 8
  for (int k = 0; k < length; ++k) factor[k] = alpha * element(x, k);
  for (Int i = 0; i < m; ++i) {
    T sum = simd::in_register(element(y, i));  // which keeps the compiler from gathering several rows
#pragma GCC unroll 8
    for (int k = 0; k < length; ++k) sum = simd::fma(a[k * along], factor[k], sum);
    element(y, i) = sum;
    a += down;
  }
}

/// y := y + alpha op(A) x for a tiny m by n matrix A.
template <bool transposed, RealScalar T>
[[gnu::noinline]] void add_tiny_product(Int m, Int n, T alpha, const T* a, std::ptrdiff_t lda, Vector<const T> x,
                                        Vector<T> y) {
  if constexpr (transposed) {
    with_number<few>(m, [&](auto length) { add_tiny_rows<length>(n, alpha, a, lda, 1, x, y); });
  } else {
    with_number<few>(n, [&](auto length) { add_tiny_rows<length>(m, alpha, a, 1, lda, x, y); });
  }
}

namespace product_detail {

// The products below by strips of registers, for matrices of any size.

template <Scalar T, Scalar Alpha>
[[gnu::noinline]] void add_product(Int m, Int n, Alpha alpha, Matrix<const T> A, Vector<const T> x, Vector<T> y) {
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

template <bool conjugated, Scalar T, Scalar Alpha>
[[gnu::noinline]] void add_transposed_product(Int m, Int n, Alpha alpha, Matrix<const T> A, Vector<const T> x,
                                              Vector<T> y) {
  for_each_piece(m, rows_at_a_time<T>(x.inc), [&](Int i, Int rows) {
    Piece<T> copy;
    const T* const source = contiguous(tail(x, i), rows, copy);
    for_each_group<column_group<T>>(n, [&](Int j, auto columns) {
      T products[padded<T>(columns)];
      multiply_by_columns<columns, conjugated>(rows, A.at(i + 1, j + 1), A.ld, source, products);
      add_scaled(columns, alpha, products, tail(y, j));
    });
  });
}

}  // namespace product_detail

/// y := y + alpha A x for an m by n matrix A.
template <Scalar T, Scalar Alpha>
[[gnu::always_inline]] inline void add_product(Int m, Int n, Alpha alpha, Matrix<const T> A,
                                               std::type_identity_t<Vector<const T>> x, Vector<T> y) {
  if constexpr (RealScalar<T>) {
    if (is_tiny(m, n)) return add_tiny_product<false>(m, n, alpha, A.data, A.ld, x, y);
  }
  product_detail::add_product(m, n, alpha, A, x, y);
}

/// y := y + alpha A^T x, or y + alpha A^H x if conjugated, for an m by n matrix A.
template <bool conjugated, Scalar T, Scalar Alpha>
[[gnu::always_inline]] inline void add_transposed_product(Int m, Int n, Alpha alpha, Matrix<const T> A,
                                                          std::type_identity_t<Vector<const T>> x, Vector<T> y) {
  if constexpr (RealScalar<T>) {
    if (is_tiny(m, n)) return add_tiny_product<true>(m, n, alpha, A.data, A.ld, x, y);
  }
  product_detail::add_transposed_product<conjugated>(m, n, alpha, A, x, y);
}

/// The same with the choice at run time.
template <Scalar T, Scalar Alpha>
[[gnu::always_inline]] inline void add_transposed_product(bool conjugated, Int m, Int n, Alpha alpha, Matrix<const T> A,
                                                          std::type_identity_t<Vector<const T>> x, Vector<T> y) {
  with_constant(ComplexScalar<T> && conjugated,
                [&](auto choice) { add_transposed_product<choice && ComplexScalar<T>>(m, n, alpha, A, x, y); });
}

}  // namespace nuv::kernels::inline NUV_ISA
