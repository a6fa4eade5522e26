#pragma once

// Names under which a symmetric and a Hermitian matrix are treated alike.

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

/// x^H x for n elements.
template <RealScalar T>
T squared_length(Int n, Vector<const T> x) {
  return blas::dot(n, x, x);
}
template <RealScalar R>
R squared_length(Int n, Vector<const std::complex<R>> x) {
  return blas::dotc(n, x, x).real();
}

/// Conjugates n elements; nothing to do for real ones.
template <Scalar T>
void conjugate_vector(Int n, Vector<T> x) {
  if constexpr (ComplexScalar<T>) {
    for (std::ptrdiff_t i = 0; i < n; ++i) x.data[i * x.inc] = conjugate(x.data[i * x.inc]);
  }
}

}  // namespace nuv
