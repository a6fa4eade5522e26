#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/level2/product.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// y := alpha op(A) x + beta y.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// a       m by n, lda >= max(1, m);  x and y as op(A) asks, increments not zero
template <Scalar T>
[[gnu::always_inline]] inline void gemv(char trans, Int m, Int n, T alpha, const T* a, Int lda, const T* x, Int incx,
                                        T beta, T* y, Int incy) {
  Int info = 0;
  if (!is_one_of(trans, 'N', 'T', 'C')) info = -1;
  else if (m < 0) info = -2;
  else if (n < 0) info = -3;
  else if (lda < std::max(1, m)) info = -6;
  else if (incx == 0) info = -8;
  else if (incy == 0) info = -11;
  if (info != 0) return report_bad_argument<T>("GEMV", info);
  if (m == 0 || n == 0) return;

  const Matrix A{a, lda};
  const bool transposed = !same_letter(trans, 'N');
  const Int length_x = transposed ? m : n;
  const Int length_y = transposed ? n : m;
  const Vector X = from_first(x, length_x, incx);
  const Vector Y = from_first(y, length_y, incy);

  scale(length_y, beta, Y);
  if (alpha == T(0)) return;
  if (transposed) {
    add_transposed_product(same_letter(trans, 'C'), m, n, alpha, A, X, Y);
  } else {
    add_product(m, n, alpha, A, X, Y);
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/gemv.entries.inc"
