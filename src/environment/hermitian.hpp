#pragma once

// Names under which real and complex numbers, symmetric and Hermitian matrices are treated alike.

#include "base/matrix.hpp"
#include "blas.hpp"

namespace nuv {

/// Letter of the operation that takes A to A^H.
template <Scalar T>
inline constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';

/// One triangle of C := alpha A A^H + beta C (trans 'N', A n by k) or alpha A^H A + beta C (trans adjoint, A k by n).
template <RealScalar T>
void add_square(char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, T beta, Matrix<T> C) {
  blas::syrk(uplo, trans, n, k, alpha, A, beta, C);
}
template <ComplexScalar T>
void add_square(char uplo, char trans, Int n, Int k, Real<T> alpha, Matrix<const T> A, Real<T> beta, Matrix<T> C) {
  blas::herk(uplo, trans, n, k, alpha, A, beta, C);
}

/// A := A + alpha x x^H for one triangle of order n in packed storage.
template <RealScalar T>
void add_square(char uplo, Int n, T alpha, Vector<const T> x, T* ap) {
  blas::spr(uplo, n, alpha, x, ap);
}
template <ComplexScalar T>
void add_square(char uplo, Int n, Real<T> alpha, Vector<const T> x, T* ap) {
  blas::hpr(uplo, n, alpha, x, ap);
}

/// x^H x for n elements.
template <Scalar T>
Real<T> squared_length(Int n, Vector<const T> x) {
  if constexpr (ComplexScalar<T>) {
    return blas::dotc(n, x, x).real();
  } else {
    return blas::dot(n, x, x);
  }
}

/// x^T y, or x^H y, for n elements.
template <Scalar T>
T inner_product(bool conjugated, Int n, Vector<const T> x, Vector<const T> y) {
  if constexpr (ComplexScalar<T>) {
    return conjugated ? blas::dotc(n, x, y) : blas::dotu(n, x, y);
  } else {
    return blas::dot(n, x, y);
  }
}

/// A := A - x y^T for an m by n matrix.
template <Scalar T>
void subtract_outer_product(Int m, Int n, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    blas::geru(m, n, T(-1), x, y, A);
  } else {
    blas::ger(m, n, T(-1), x, y, A);
  }
}

/// A := A + alpha x y^H for an m by n matrix.
template <Scalar T>
void add_outer_product(Int m, Int n, T alpha, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    blas::gerc(m, n, alpha, x, y, A);
  } else {
    blas::ger(m, n, alpha, x, y, A);
  }
}

/// Conjugates n elements; nothing to do for real ones.
template <Scalar T>
void conjugate_vector(Int n, Vector<T> x) {
  if constexpr (ComplexScalar<T>) {
    for (std::ptrdiff_t i = 0; i < n; ++i) x.data[i * x.inc] = conjugate(x.data[i * x.inc]);
  }
}

}  // namespace nuv
