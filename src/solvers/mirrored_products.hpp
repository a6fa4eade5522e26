#pragma once

// Products of a vector with a symmetric or Hermitian matrix of which one triangle is stored: the other is its mirror
// image. A real matrix is both.

#include "base/matrix.hpp"
#include "blas.hpp"
#include "solvers/complex_symmetric_products.hpp"
#include "solvers/diagonal_pivoting.hpp"

namespace nuv {

/// y := alpha A x + beta y
template <Mirror mirror, Scalar T>
void multiply_mirrored(char uplo, Int n, T alpha, Matrix<const T> A, Vector<const T> x, T beta, Vector<T> y) {
  if constexpr (RealScalar<T>) {
    blas::symv(uplo, n, alpha, A, x, beta, y);
  } else if constexpr (mirror == Mirror::conjugate) {
    blas::hemv(uplo, n, alpha, A, x, beta, y);
  } else {
    symv<T>(uplo, n, alpha, A.data, A.ld, x.data, x.inc, beta, y.data, y.inc);
  }
}

/// The same for a packed matrix.
template <Mirror mirror, Scalar T>
void multiply_mirrored(char uplo, Int n, T alpha, const T* ap, Vector<const T> x, T beta, Vector<T> y) {
  if constexpr (RealScalar<T>) {
    blas::spmv(uplo, n, alpha, ap, x, beta, y);
  } else if constexpr (mirror == Mirror::conjugate) {
    blas::hpmv(uplo, n, alpha, ap, x, beta, y);
  } else {
    spmv<T>(uplo, n, alpha, ap, x.data, x.inc, beta, y.data, y.inc);
  }
}

}  // namespace nuv
