#pragma once

// Products with symmetric and Hermitian matrices, and their updates, under one name each: a symmetric matrix is the
// Hermitian one of a real precision.

#include <type_traits>

#include "base/matrix.hpp"
#include "blas.hpp"

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

/// C := C + alpha A B (side 'L') or C + alpha B A (side 'R') for a Hermitian A and an m by n matrix C.
template <Scalar T>
void add_hermitian_product(char side, char uplo, Int m, Int n, Real<T> alpha, Matrix<const T> A, Matrix<const T> B,
                           Matrix<T> C) {
  if constexpr (ComplexScalar<T>) {
    blas::hemm(side, uplo, m, n, T(alpha), A, B, T(1), C);
  } else {
    blas::symm(side, uplo, m, n, alpha, A, B, T(1), C);
  }
}

/// y := y + alpha A x for a Hermitian A in packed storage.
template <Scalar T>
void add_hermitian_product(char uplo, Int n, Real<T> alpha, const T* ap, Vector<const T> x, Vector<T> y) {
  if constexpr (ComplexScalar<T>) {
    blas::hpmv(uplo, n, T(alpha), ap, x, T(1), y);
  } else {
    blas::spmv(uplo, n, alpha, ap, x, T(1), y);
  }
}

/// One triangle of C := C + alpha (A B^H + B A^H) (trans 'N', A and B n by k) or C + alpha (A^H B + B^H A) (trans
/// adjoint, k by n).
template <Scalar T>
void add_products_with_adjoints(char uplo, char trans, Int n, Int k, Real<T> alpha, Matrix<const T> A,
                                Matrix<const T> B, Matrix<T> C) {
  if constexpr (ComplexScalar<T>) {
    blas::her2k(uplo, trans, n, k, T(alpha), A, B, Real<T>(1), C);
  } else {
    blas::syr2k(uplo, trans, n, k, alpha, A, B, T(1), C);
  }
}

/// One triangle of A := A + alpha (x y^H + y x^H).
template <Scalar T>
void add_products_with_adjoints(char uplo, Int n, Real<T> alpha, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    blas::her2(uplo, n, T(alpha), x, y, A);
  } else {
    blas::syr2(uplo, n, alpha, x, y, A);
  }
}

/// The same in packed storage.
template <Scalar T>
void add_products_with_adjoints(char uplo, Int n, Real<T> alpha, Vector<const T> x, Vector<const T> y, T* ap) {
  if constexpr (ComplexScalar<T>) {
    blas::hpr2(uplo, n, T(alpha), x, y, ap);
  } else {
    blas::spr2(uplo, n, alpha, x, y, ap);
  }
}

/// One triangle of A := A - x x^H.
template <Scalar T>
void subtract_square(char uplo, Int n, Vector<const T> x, Matrix<T> A) {
  if constexpr (ComplexScalar<T>) {
    blas::her(uplo, n, Real<T>(-1), x, A);
  } else {
    blas::syr(uplo, n, T(-1), x, A);
  }
}

}  // namespace nuv
