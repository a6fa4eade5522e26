#include "frame/error_report.hpp"
#include "kernels/level2/packed_update.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, alpha, x, incx, ap.
Int check(char uplo, Int n, Int incx) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (incx == 0) return -5;
  return 0;
}

}  // namespace

/// A := alpha x x^T + A for a symmetric matrix in packed storage, complex or not.
///
/// uplo    the triangle of A that ap holds, 'U' or 'L'
/// ap      order n, n (n + 1) / 2 elements;  incx not zero
template <Scalar T>
void spr(char uplo, Int n, T alpha, const T* x, Int incx, T* ap) {
  const Int info = check(uplo, n, incx);
  if (info != 0) return report_bad_argument<T>("SPR", info);
  if (n == 0 || alpha == T(0)) return;
  with_packed_triangle(uplo, n, ap, [&](auto A) {
    with_vector(x, n, incx, [&](auto X) {
      update_columns<Symmetry::symmetric>(
          A, [&](Int j) { return PerColumn<T, 1>{alpha * X(j)}; }, X);
    });
  });
}

/// A := alpha x x^H + A for a Hermitian one, whose diagonal comes out real.
template <ComplexScalar T>
void hpr(char uplo, Int n, Real<T> alpha, const T* x, Int incx, T* ap) {
  const Int info = check(uplo, n, incx);
  if (info != 0) return report_bad_argument<T>("HPR", info);
  if (n == 0 || alpha == Real<T>(0)) return;
  with_packed_triangle(uplo, n, ap, [&](auto A) {
    with_vector(x, n, incx, [&](auto X) {
      update_columns<Symmetry::hermitian>(
          A, [&](Int j) { return PerColumn<T, 1>{alpha * conjugate(X(j))}; }, X);
    });
  });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/spr.entries.inc"
