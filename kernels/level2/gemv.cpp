#include <algorithm>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// y := beta y; a zero beta writes zeros, so that what y held does not matter.
template <Scalar T>
void scale(Int n, T beta, T* y, Int incy) {
  if (beta == T(1)) return;
  for (Int i = 0; i < n; ++i) element(y, i, incy) = beta == T(0) ? T(0) : beta * element(y, i, incy);
}

}  // namespace

/// y := alpha op(A) x + beta y.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// a       m by n, lda >= max(1, m);  x and y as op(A) asks, increments not zero
template <Scalar T>
void gemv(char trans, Int m, Int n, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  Int info = 0;
  if (!is_one_of(trans, 'N', 'T', 'C')) info = -1;
  else if (m < 0) info = -2;
  else if (n < 0) info = -3;
  else if (lda < std::max(1, m)) info = -6;
  else if (incx == 0) info = -8;
  else if (incy == 0) info = -11;
  if (info != 0) return report_bad_argument<T>("GEMV", info);
  if (m == 0 || n == 0 || (alpha == T(0) && beta == T(1))) return;

  const Matrix A{a, lda};
  const bool transposed = !same_letter(trans, 'N');
  const bool conjugated = same_letter(trans, 'C');
  const Int length_x = transposed ? m : n;
  const Int length_y = transposed ? n : m;
  const T* const px = first_element(x, length_x, incx);
  T* const py = first_element(y, length_y, incy);

  scale(length_y, beta, py, incy);
  if (alpha == T(0)) return;
  for (Int j = 1; j <= n; ++j) {
    const T* const column = A.at(1, j);
    if (transposed) {
      T sum(0);
      for (Int i = 0; i < m; ++i) sum += (conjugated ? conjugate(column[i]) : column[i]) * element(px, i, incx);
      element(py, j - 1, incy) += alpha * sum;
    } else {
      const T factor = alpha * element(px, j - 1, incx);
      for (Int i = 0; i < m; ++i) element(py, i, incy) += factor * column[i];
    }
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/gemv.entries.inc"
