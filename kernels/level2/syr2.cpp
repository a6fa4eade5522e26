#include "frame/error_report.hpp"
#include "kernels/level2/rank_two.hpp"
#include "kernels/level2/short_lower.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, alpha, x, incx, y, incy, a, lda.
Int check(char uplo, Int n, Int incx, Int incy, Int lda) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (incx == 0) return -5;
  if (incy == 0) return -7;
  if (lda < std::max(1, n)) return -9;
  return 0;
}

}  // namespace

/// A := A + alpha x y^T + alpha y x^T on the triangle that uplo names of a symmetric A of order n, lda >= max(1, n),
/// increments not zero.
template <RealScalar T>
void syr2(char uplo, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  const Int info = check(uplo, n, incx, incy, lda);
  if (info != 0) return report_bad_argument<T>("SYR2", info);
  if (n > 0 && alpha != T(0) && same_letter(uplo, 'L') && incx == 1 && incy == 1) {
    const bool done = with_short_lower(n, a, lda, [&](auto triangle) { return triangle.update(alpha, x, y, a, lda); });
    if (done) return;
  }
  rank_two_update<false>(uplo, n, alpha, x, incx, y, incy, a, lda);
}

/// A := A + alpha x y^H + conj(alpha) y x^H on a triangle of a Hermitian A, whose diagonal counts as real and becomes
/// so.
template <ComplexScalar T>
void her2(char uplo, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  const Int info = check(uplo, n, incx, incy, lda);
  if (info != 0) return report_bad_argument<T>("HER2", info);
  rank_two_update<true>(uplo, n, alpha, x, incx, y, incy, a, lda);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/syr2.entries.inc"
