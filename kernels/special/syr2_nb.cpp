#include "kernels/level2/rank_two.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// A := A + alpha x y^T + alpha y x^T on the triangle that uplo names of a symmetric A of order n, as the reductions to
/// tridiagonal form ask for it. They work on the leading part of a larger matrix and tell its order n2 as well, which
/// blocks of rows could be cut by; the result doesn't depend on it. Nothing is checked: the callers have done so.
template <RealScalar T>
void syr2_nb(char uplo, Int n, Int, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  rank_two_update<false>(uplo, n, alpha, x, incx, y, incy, a, lda);
}

/// A := A + alpha x y^H + conj(alpha) y x^H on a triangle of a Hermitian A, whose diagonal counts as real and becomes
/// so.
template <ComplexScalar T>
void her2_nb(char uplo, Int n, Int, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  rank_two_update<true>(uplo, n, alpha, x, incx, y, incy, a, lda);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/syr2_nb.entries.inc"
