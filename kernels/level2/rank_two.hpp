#pragma once

#include "frame/option_matching.hpp"
#include "kernels/level2/outer_product.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// A := A + alpha x y^T + alpha y x^T, or A + alpha x y^H + conj(alpha) y x^H if Hermitian, on a triangle of a matrix
/// of order n.
template <bool hermitian, Scalar T>
void rank_two_update(char uplo, Int n, T alpha, const T* x, Int incx, const T* y, Int incy, T* a, Int lda) {
  if (alpha == T(0)) return;
  const Vector X = from_first(x, n, incx), Y = from_first(y, n, incy);
  const OuterProduct<T> products[] = {{X, alpha, Y, hermitian},
                                      {Y, hermitian ? conjugate(alpha) : alpha, X, hermitian}};
  add_to_symmetric<hermitian>(same_letter(uplo, 'U'), n, products, Matrix{a, lda});
}

}  // namespace nuv::kernels::inline NUV_ISA
