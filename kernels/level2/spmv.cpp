#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/level2/stored_symmetric.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, alpha, ap, x, incx, beta, y, incy.
Int check(char uplo, Int n, Int incx, Int incy) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (incx == 0) return -6;
  if (incy == 0) return -9;
  return 0;
}

}  // namespace

/// y := alpha A x + beta y for a symmetric matrix in packed storage.
///
/// uplo    the triangle of A that ap holds, 'U' or 'L'
/// ap      order n, n (n + 1) / 2 elements
/// beta    zero writes y without reading it;  increments not zero
template <RealScalar T>
void spmv(char uplo, Int n, T alpha, const T* ap, const T* x, Int incx, T beta, T* y, Int incy) {
  const Int info = check(uplo, n, incx, incy);
  if (info != 0) return report_bad_argument<T>("SPMV", info);
  with_packed_triangle(uplo, n, ap, [&](auto A) { symmetric_product(A, alpha, x, incx, beta, y, incy); });
}

/// The same for a Hermitian one, of whose diagonal the real parts count.
template <ComplexScalar T>
void hpmv(char uplo, Int n, T alpha, const T* ap, const T* x, Int incx, T beta, T* y, Int incy) {
  const Int info = check(uplo, n, incx, incy);
  if (info != 0) return report_bad_argument<T>("HPMV", info);
  with_packed_triangle(uplo, n, ap, [&](auto A) { symmetric_product(A, alpha, x, incx, beta, y, incy); });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/spmv.entries.inc"
