#include <cstdint>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/level2/stored_columns.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of trans, m, n, kl, ku, alpha, a, lda, x, incx, beta, y, incy.
Int check(char trans, Int m, Int n, Int kl, Int ku, Int lda, Int incx, Int incy) {
  if (!is_one_of(trans, 'N', 'T', 'C')) return -1;
  if (m < 0) return -2;
  if (n < 0) return -3;
  if (kl < 0) return -4;
  if (ku < 0) return -5;
  if (lda <= std::int64_t{kl} + ku) return -8;
  if (incx == 0) return -10;
  if (incy == 0) return -13;
  return 0;
}

/// y := y + alpha A x
template <Scalar T, class X, class Y>
[[gnu::flatten]] void add_product(GeneralBand<const T> A, T alpha, X x, Y y) {
  for_each_group<Y>(A, Order::ascending, [&](const auto& group) {
    const auto factors = group.at_columns(x, [&](T xj) { return alpha * xj; });
    group.for_each_column(Order::ascending, [&](Int, int c) {
      group.for_each_loose_element(Order::ascending, c, [&](Int i, T a) { y(i) = multiply_add(factors[c], a, y(i)); });
    });
    add_common_rows(group, factors, y);
  });
}

/// y := y + alpha A^T x, or with A^H
template <Scalar T, class X, class Y>
[[gnu::flatten]] void add_transposed_product(GeneralBand<const T> A, bool conjugated, T alpha, X x, Y y) {
  for_each_group<X>(A, Order::ascending, [&](const auto& group) {
    const auto products = multiply_common_rows(group, conjugated, x);
    group.for_each_column(Order::ascending, [&](Int j, int c) {
      T sum = products[c];
      group.for_each_loose_element(Order::ascending, c,
                                   [&](Int i, T a) { sum = multiply_add(conjugated ? conjugate(a) : a, x(i), sum); });
      y(j) += alpha * sum;
    });
  });
}

}  // namespace

/// y := alpha op(A) x + beta y for a band matrix.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// a       m by n with kl diagonals below the main one and ku above it, each column from its first such element in row
///         ku + 2 - j or 1 on; lda > kl + ku
/// beta    zero writes y without reading it;  increments not zero
template <Scalar T>
void gbmv(char trans, Int m, Int n, Int kl, Int ku, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y,
          Int incy) {
  const Int info = check(trans, m, n, kl, ku, lda, incx, incy);
  if (info != 0) return report_bad_argument<T>("GBMV", info);
  if (m == 0 || n == 0 || (alpha == T(0) && beta == T(1))) return;

  const bool transposed = !same_letter(trans, 'N');
  const Int length_x = transposed ? m : n, length_y = transposed ? n : m;
  const GeneralBand A(m, n, kl, ku, a, lda);
  with_vectors(x, length_x, incx, y, length_y, incy, [&](auto X, auto Y) {
    scale(length_y, beta, Y);
    if (alpha == T(0)) return;
    if (transposed) {
      add_transposed_product(A, same_letter(trans, 'C'), alpha, X, Y);
    } else {
      add_product(A, alpha, X, Y);
    }
  });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/gbmv.entries.inc"
