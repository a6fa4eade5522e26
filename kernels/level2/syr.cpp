#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/level2/outer_product.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, alpha, x, incx, a, lda.
Int check(char uplo, Int n, Int incx, Int lda) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (incx == 0) return -5;
  if (lda < std::max(1, n)) return -7;
  return 0;
}

template <bool hermitian, Scalar T>
void update(char uplo, Int n, T alpha, const T* x, Int incx, T* a, Int lda) {
  if (alpha == T(0)) return;
  const Vector X = from_first(x, n, incx);
  const OuterProduct<T> product[] = {{X, alpha, X, hermitian, hermitian}};
  add_to_symmetric<hermitian>(same_letter(uplo, 'U'), n, product, Matrix{a, lda});
}

}  // namespace

/// A := A + alpha x x^T on the triangle that uplo names of a symmetric A of order n, lda >= max(1, n), incx not zero.
template <RealScalar T>
void syr(char uplo, Int n, T alpha, const T* x, Int incx, T* a, Int lda) {
  const Int info = check(uplo, n, incx, lda);
  if (info != 0) return report_bad_argument<T>("SYR", info);
  update<false>(uplo, n, alpha, x, incx, a, lda);
}

/// A := A + alpha x x^H on a triangle of a Hermitian A, whose diagonal counts as real and becomes so.
template <ComplexScalar T>
void her(char uplo, Int n, Real<T> alpha, const T* x, Int incx, T* a, Int lda) {
  const Int info = check(uplo, n, incx, lda);
  if (info != 0) return report_bad_argument<T>("HER", info);
  update<true>(uplo, n, T(alpha), x, incx, a, lda);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/syr.entries.inc"
