#pragma once

// Products and solutions with a triangle that is stored by columns, in place: an element of x is overwritten when no
// later step needs what it was.

#include "base/quotient.hpp"
#include "kernels/level2/stored_columns.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// x := A x
template <class Triangle, class X>
[[gnu::flatten]] void multiply_in_place(Triangle A, bool unit_diagonal, X x) {
  using T = typename X::Element;
  constexpr Order order = Triangle::upper ? Order::ascending : Order::descending;
  for_each_group<X>(A, order, [&](const auto& group) {
    add_common_rows(group, group.at_columns(x, [](T xj) { return xj; }), x);
    group.for_each_column(order, [&](Int j, int c) {
      const T xj = x(j);
      group.for_each_loose_element(order, c, [&](Int i, T a) { x(i) = multiply_add(xj, a, x(i)); });
      if (!unit_diagonal) x(j) = xj * A(j, j);
    });
  });
}

/// x := A^T x, or A^H x
template <class Triangle, class X>
[[gnu::flatten]] void multiply_transposed_in_place(Triangle A, bool conjugated, bool unit_diagonal, X x) {
  using T = typename X::Element;
  constexpr Order order = Triangle::upper ? Order::descending : Order::ascending;
  const auto entry = [&](T a) { return conjugated ? conjugate(a) : a; };
  for_each_group<X>(A, order, [&](const auto& group) {
    const auto products = multiply_common_rows(group, conjugated, x);
    group.for_each_column(order, [&](Int j, int c) {
      T sum = products[c];
      group.for_each_loose_element(order, c, [&](Int i, T a) { sum = multiply_add(entry(a), x(i), sum); });
      x(j) = unit_diagonal ? x(j) + sum : multiply_add(entry(A(j, j)), x(j), sum);
    });
  });
}

/// x := A^-1 x
template <class Triangle, class X>
[[gnu::flatten]] void solve_in_place(Triangle A, bool unit_diagonal, X x) {
  using T = typename X::Element;
  constexpr Order order = Triangle::upper ? Order::descending : Order::ascending;
  for_each_group<X>(A, order, [&](const auto& group) {
    group.for_each_column(order, [&](Int j, int c) {
      const T xj = unit_diagonal ? x(j) : quotient(x(j), A(j, j));
      x(j) = xj;
      group.for_each_loose_element(order, c, [&](Int i, T a) { x(i) = multiply_add(negated(xj), a, x(i)); });
    });
    add_common_rows(group, group.at_columns(x, [](T xj) { return negated(xj); }), x);
  });
}

/// x := A^-T x, or A^-H x. The elements of x come in the order in which they are found, the newest last: only one
/// multiply-add has to wait for it.
template <class Triangle, class X>
[[gnu::flatten]] void solve_transposed_in_place(Triangle A, bool conjugated, bool unit_diagonal, X x) {
  using T = typename X::Element;
  constexpr Order order = Triangle::upper ? Order::ascending : Order::descending;
  const auto entry = [&](T a) { return conjugated ? conjugate(a) : a; };
  for_each_group<X>(A, order, [&](const auto& group) {
    const auto products = multiply_common_rows(group, conjugated, x);
    group.for_each_column(order, [&](Int j, int c) {
      T rest = x(j) - products[c];
      group.for_each_loose_element(order, c, [&](Int i, T a) { rest = multiply_add(negated(entry(a)), x(i), rest); });
      x(j) = unit_diagonal ? rest : quotient(rest, entry(A(j, j)));
    });
  });
}

/// The option letters of a triangular operation, all of them valid.
struct TriangularOptions {
  bool transposed, conjugated, unit_diagonal;

  TriangularOptions(char trans, char diag)
      : transposed(!same_letter(trans, 'N')),
        conjugated(same_letter(trans, 'C')),
        unit_diagonal(same_letter(diag, 'U')) {}
};

/// x := op(A) x
template <class Triangle, class X>
void multiply_in_place(Triangle A, TriangularOptions options, X x) {
  if (options.transposed) {
    multiply_transposed_in_place(A, options.conjugated, options.unit_diagonal, x);
  } else {
    multiply_in_place(A, options.unit_diagonal, x);
  }
}

/// x := op(A)^-1 x. No test for singularity is made.
template <class Triangle, class X>
void solve_in_place(Triangle A, TriangularOptions options, X x) {
  if (options.transposed) {
    solve_transposed_in_place(A, options.conjugated, options.unit_diagonal, x);
  } else {
    solve_in_place(A, options.unit_diagonal, x);
  }
}

/// 0, or minus the position of the first bad argument of uplo, trans, diag, n, ap, x, incx.
inline Int check_packed_triangle(char uplo, char trans, char diag, Int n, Int incx) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!is_one_of(trans, 'N', 'T', 'C')) return -2;
  if (!is_one_of(diag, 'U', 'N')) return -3;
  if (n < 0) return -4;
  if (incx == 0) return -7;
  return 0;
}

/// 0, or minus the position of the first bad argument of uplo, trans, diag, n, k, a, lda, x, incx.
inline Int check_band_triangle(char uplo, char trans, char diag, Int n, Int k, Int lda, Int incx) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!is_one_of(trans, 'N', 'T', 'C')) return -2;
  if (!is_one_of(diag, 'U', 'N')) return -3;
  if (n < 0) return -4;
  if (k < 0) return -5;
  if (lda <= k) return -7;
  if (incx == 0) return -9;
  return 0;
}

}  // namespace nuv::kernels::inline NUV_ISA
