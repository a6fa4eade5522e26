#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/level2/stored_symmetric.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, k, alpha, a, lda, x, incx, beta, y, incy.
Int check(char uplo, Int n, Int k, Int lda, Int incx, Int incy) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (k < 0) return -3;
  if (lda <= k) return -6;
  if (incx == 0) return -8;
  if (incy == 0) return -11;
  return 0;
}

}  // namespace

/// y := alpha A x + beta y for a symmetric band matrix.
///
/// uplo    the triangle of A that a holds, 'U' or 'L'
/// a       order n, k diagonals beside the main one, lda > k
/// beta    zero writes y without reading it;  increments not zero
template <RealScalar T>
void sbmv(char uplo, Int n, Int k, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  const Int info = check(uplo, n, k, lda, incx, incy);
  if (info != 0) return report_bad_argument<T>("SBMV", info);
  with_band_triangle(uplo, n, k, a, lda, [&](auto A) { symmetric_product(A, alpha, x, incx, beta, y, incy); });
}

/// The same for a Hermitian one, of whose diagonal the real parts count.
template <ComplexScalar T>
void hbmv(char uplo, Int n, Int k, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  const Int info = check(uplo, n, k, lda, incx, incy);
  if (info != 0) return report_bad_argument<T>("HBMV", info);
  with_band_triangle(uplo, n, k, a, lda, [&](auto A) { symmetric_product(A, alpha, x, incx, beta, y, incy); });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/sbmv.entries.inc"
