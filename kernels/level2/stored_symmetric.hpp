#pragma once

#include "kernels/level2/stored_columns.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// y := y + alpha A x, for the symmetric or, in complex precisions, Hermitian A of which a triangle is stored.
template <class Triangle, Scalar T, class X, class Y>
[[gnu::flatten]] void add_symmetric_product(Triangle A, T alpha, X x, Y y) {
  for_each_group<X, Y>(A, Order::ascending, [&](const auto& group) {
    const auto factors = group.at_columns(x, [&](T xj) { return alpha * xj; });
    const auto products = add_and_multiply_common_rows(group, factors, y, x);
    group.for_each_column(Order::ascending, [&](Int j, int c) {
      T product = products[c];
      group.for_each_loose_element(Order::ascending, c, [&](Int i, T a) {
        y(i) = multiply_add(factors[c], a, y(i));
        product = multiply_add(conjugate(a), x(i), product);
      });
      y(j) += factors[c] * std::real(A(j, j)) + alpha * product;
    });
  });
}

/// y := alpha A x + beta y, increments not zero.
template <class Triangle, Scalar T>
void symmetric_product(Triangle A, T alpha, const T* x, Int incx, T beta, T* y, Int incy) {
  const Int n = A.columns();
  if (n == 0 || (alpha == T(0) && beta == T(1))) return;
  with_vectors(x, n, incx, y, n, incy, [&](auto X, auto Y) {
    scale(n, beta, Y);
    if (alpha != T(0)) add_symmetric_product(A, alpha, X, Y);
  });
}

}  // namespace nuv::kernels::inline NUV_ISA
