#pragma once

#include "threading/level3/inner_products.hpp"
#include "threading/level3/product.hpp"
#include "threading/runtime.hpp"

namespace nuv::threading::inline NUV_ISA {

template <Scalar T>
Operand<T> shifted(Operand<T> x, Int i) {
  x.data += i * x.along;
  return x;
}

/// The product of two operands without structure, on all threads: each takes some columns of C, or some rows if C is
/// taller than wide.
template <Scalar T>
void parallel_product(Int m, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta, Matrix<T> C) {
  const bool little = Block<T>::is_little(double(m) * n * k);
  if (inner_products_pay(m, n, k, A, B)) return parallel_inner_products(m, n, k, alpha, A, B, beta, C, little);
  if (n >= m || n >= 64 * Tile<T>::columns) {
    split(n, Tile<T>::columns, little, [&](Int from, Int until) {
      product(m, until - from, k, alpha, A, shifted(B, from), beta, block(C, 1, from + 1));
    });
  } else {
    split(m, Tile<T>::rows, little, [&](Int from, Int until) {
      product(until - from, n, k, alpha, shifted(A, from), B, beta, block(C, from + 1, 1));
    });
  }
}

}  // namespace nuv::threading::inline NUV_ISA
