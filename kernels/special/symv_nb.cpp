#include "frame/option_matching.hpp"
#include "kernels/level2/symmetric_product.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// y := alpha A x + beta y for a symmetric A of order n, as the reductions to tridiagonal form ask for it. They work on
/// the leading part of a larger matrix and tell its order n2 as well, which blocks of rows could be cut by; the result
/// doesn't depend on it. Nothing is checked: the callers have done so.
template <RealScalar T>
void symv_nb(char uplo, Int n, Int, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  symmetric_product<false>(uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}

/// The same for a Hermitian A, whose diagonal counts as real.
template <ComplexScalar T>
void hemv_nb(char uplo, Int n, Int, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy) {
  symmetric_product<true>(uplo, n, alpha, a, lda, x, incx, beta, y, incy);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/symv_nb.entries.inc"
