#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/level2/short_lower.hpp"
#include "kernels/level2/symmetric_product.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, alpha, a, lda, x, incx, beta, y, incy.
Int check(char uplo, Int n, Int lda, Int incx, Int incy) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (lda < std::max(1, n)) return -5;
  if (incx == 0) return -7;
  if (incy == 0) return -10;
  return 0;
}

}  // namespace

/// y := alpha A x + beta y for a symmetric A of order n, lda >= max(1, n), increments not zero. Only the triangle that
/// uplo names is read.
template <RealScalar T>
void symv(char uplo, Int n, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  const Int info = check(uplo, n, lda, incx, incy);
  if (info != 0) return report_bad_argument<T>("SYMV", info);
  if (n > 0 && alpha != T(0) && beta == T(0) && same_letter(uplo, 'L') && incx == 1 && incy == 1) {
    const bool done =
        with_short_lower(n, a, lda, [&](auto triangle) { return triangle.multiply(alpha, a, lda, x, y); });
    if (done) return;
  }
  symmetric_product<false>(uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}

/// The same for a Hermitian A, whose diagonal counts as real.
template <ComplexScalar T>
void hemv(char uplo, Int n, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  const Int info = check(uplo, n, lda, incx, incy);
  if (info != 0) return report_bad_argument<T>("HEMV", info);
  symmetric_product<true>(uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/symv.entries.inc"
