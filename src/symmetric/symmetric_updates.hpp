#pragma once

// Products with symmetric and Hermitian matrices, and their updates, under one name each: a symmetric matrix is the
// Hermitian one of a real precision.

#include "environment/hermitian.hpp"

namespace nuv {

/// y := A x for the Hermitian A of order n of which one triangle is stored.
template <Scalar T>
void hermitian_product(char uplo, Int n, std::type_identity_t<Matrix<const T>> A,
                       std::type_identity_t<Vector<const T>> x, Vector<T> y) {
  if constexpr (ComplexScalar<T>) {
    blas::hemv(uplo, n, T(1), A, x, T(0), y);
  } else {
    blas::symv(uplo, n, T(1), A, x, T(0), y);
  }
}

/// One triangle of A := A + alpha x y^H + conj(alpha) y x^H.
template <Scalar T>
void add_rank_two(char uplo, Int n, T alpha, std::type_identity_t<Vector<const T>> x,
                  std::type_identity_t<Vector<const T>> y, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    blas::her2(uplo, n, alpha, x, y, A);
  } else {
    blas::syr2(uplo, n, alpha, x, y, A);
  }
}

/// C := A B for an m by n matrix B and the Hermitian A of order m of which one triangle is stored.
template <Scalar T>
void hermitian_product(char uplo, Int m, Int n, std::type_identity_t<Matrix<const T>> A,
                       std::type_identity_t<Matrix<const T>> B, Matrix<T> C) {
  if constexpr (ComplexScalar<T>) {
    blas::hemm('L', uplo, m, n, T(1), A, B, T(0), C);
  } else {
    blas::symm('L', uplo, m, n, T(1), A, B, T(0), C);
  }
}

/// One triangle of C := C - A B^H - B A^H for m by k matrices A and B.
template <Scalar T>
void subtract_rank_2k(char uplo, Int m, Int k, std::type_identity_t<Matrix<const T>> A,
                      std::type_identity_t<Matrix<const T>> B, Matrix<T> C) {
  if constexpr (ComplexScalar<T>) {
    blas::her2k(uplo, 'N', m, k, T(-1), A, B, Real<T>(1), C);
  } else {
    blas::syr2k(uplo, 'N', m, k, T(-1), A, B, T(1), C);
  }
}

}  // namespace nuv
