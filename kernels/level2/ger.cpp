#include "frame/error_report.hpp"
#include "kernels/level2/outer_product.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of m, n, alpha, x, incx, y, incy, a, lda.
Int check(Int m, Int n, Int incx, Int incy, Int lda) {
  if (m < 0) return -1;
  if (n < 0) return -2;
  if (incx == 0) return -5;
  if (incy == 0) return -7;
  if (lda < std::max(1, m)) return -9;
  return 0;
}

template <Scalar T>
void update(bool conjugated, Int m, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  if (m == 0 || n == 0 || alpha == T(0)) return;
  const OuterProduct<T> product[] = {{from_first(x, m, incx), alpha, from_first(y, n, incy), conjugated}};
  add_to_matrix(m, n, product, Matrix{a, lda});
}

}  // namespace

/// A := A + alpha x y^T for an m by n matrix A, lda >= max(1, m), increments not zero.
template <RealScalar T>
void ger(Int m, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  const Int info = check(m, n, incx, incy, lda);
  if (info != 0) return report_bad_argument<T>("GER", info);
  update(false, m, n, alpha, x, incx, y, incy, a, lda);
}

/// The same in complex arithmetic.
template <ComplexScalar T>
void geru(Int m, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  const Int info = check(m, n, incx, incy, lda);
  if (info != 0) return report_bad_argument<T>("GERU", info);
  update(false, m, n, alpha, x, incx, y, incy, a, lda);
}

/// A := A + alpha x y^H
template <ComplexScalar T>
void gerc(Int m, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  const Int info = check(m, n, incx, incy, lda);
  if (info != 0) return report_bad_argument<T>("GERC", info);
  update(true, m, n, alpha, x, incx, y, incy, a, lda);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/ger.entries.inc"
