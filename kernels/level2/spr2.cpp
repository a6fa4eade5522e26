#include "frame/error_report.hpp"
#include "kernels/level2/packed_update.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, alpha, x, incx, y, incy, ap.
Int check(char uplo, Int n, Int incx, Int incy) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (incx == 0) return -5;
  if (incy == 0) return -7;
  return 0;
}

/// A := alpha x y^H + conj(alpha) y x^H + A
template <Scalar T>
void update(char uplo, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* ap) {
  if (n == 0 || alpha == T(0)) return;
  constexpr Symmetry symmetry = ComplexScalar<T> ? Symmetry::hermitian : Symmetry::symmetric;
  with_packed_triangle(uplo, n, ap, [&](auto A) {
    with_vectors(x, n, incx, y, n, incy, [&](auto X, auto Y) {
      const auto factors = [&](Int j) { return PerColumn<T, 2>{alpha * conjugate(Y(j)), conjugate(alpha * X(j))}; };
      update_columns<symmetry>(A, factors, X, Y);
    });
  });
}

}  // namespace

/// A := alpha x y^T + alpha y x^T + A for a symmetric matrix in packed storage.
///
/// uplo    the triangle of A that ap holds, 'U' or 'L'
/// ap      order n, n (n + 1) / 2 elements;  increments not zero
template <RealScalar T>
void spr2(char uplo, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* ap) {
  const Int info = check(uplo, n, incx, incy);
  if (info != 0) return report_bad_argument<T>("SPR2", info);
  update(uplo, n, alpha, x, incx, y, incy, ap);
}

/// A := alpha x y^H + conj(alpha) y x^H + A for a Hermitian one, whose diagonal comes out real.
template <ComplexScalar T>
void hpr2(char uplo, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* ap) {
  const Int info = check(uplo, n, incx, incy);
  if (info != 0) return report_bad_argument<T>("HPR2", info);
  update(uplo, n, alpha, x, incx, y, incy, ap);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/spr2.entries.inc"
