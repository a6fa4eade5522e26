#pragma once

// The routines for symmetric and for Hermitian indefinite matrices under one name each, chosen by how the elements of a
// triangle stand in the other.

#include "environment/norms_symmetric.hpp"
#include "layer.hpp"
#include "solvers/diagonal_pivoting.hpp"
#include "solvers/indefinite.hpp"

namespace nuv {

/// How a matrix is mirrored that is Hermitian, which for real ones is symmetric.
template <Scalar T>
inline constexpr Mirror hermitian_mirror = ComplexScalar<T> ? Mirror::conjugate : Mirror::plain;

template <Mirror mirror, Scalar T>
void factor_indefinite(char uplo, Int n, T* a, Int lda, Int* ipiv, T* work, Int lwork, Int& info) {
  if constexpr (mirror == Mirror::conjugate) {
    hetrf(uplo, n, a, lda, ipiv, work, lwork, info);
  } else {
    sytrf(uplo, n, a, lda, ipiv, work, lwork, info);
  }
}

template <Mirror mirror, Scalar T>
void solve_indefinite(char uplo, Int n, Int nrhs, Matrix<const T> AF, const Int* ipiv, Matrix<T> B) {
  Int info;
  if constexpr (mirror == Mirror::conjugate) {
    layer::hetrs(uplo, n, nrhs, AF, ipiv, B, info);
  } else {
    layer::sytrs(uplo, n, nrhs, AF, ipiv, B, info);
  }
}

template <Mirror mirror, Scalar T>
Real<T> norm_of_indefinite(char norm, char uplo, Int n, const T* a, Int lda, Real<T>* work) {
  if constexpr (mirror == Mirror::conjugate) {
    return lanhe(norm, uplo, n, a, lda, work);
  } else {
    return lansy(norm, uplo, n, a, lda, work);
  }
}

template <Mirror mirror, Scalar T>
Real<T> norm_of_packed(char norm, char uplo, Int n, const T* ap, Real<T>* work) {
  if constexpr (mirror == Mirror::conjugate) {
    return lanhp(norm, uplo, n, ap, work);
  } else {
    return lansp(norm, uplo, n, ap, work);
  }
}

}  // namespace nuv
