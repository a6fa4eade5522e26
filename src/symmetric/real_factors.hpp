#pragma once

// Products of complex matrices with real ones, and copies between them.

#include "base/types.hpp"

namespace nuv {

/// C := A B for a complex A, m by n, and a real B, n by n.
///
/// lda, ldc >= max(1, m), ldb >= max(1, n); C is not A
/// rwork   not used: the rows of A are products of B in their real and imaginary parts alike
template <ComplexScalar T>
void lacrm(Int m, Int n, const T* a, Int lda, const Real<T>* b, Int ldb, T* c, Int ldc, Real<T>* rwork);

/// C := A B for a real A, m by m, and a complex B, m by n.
///
/// lda, ldb, ldc >= max(1, m)
/// rwork   2 m n elements
template <ComplexScalar T>
void larcm(Int m, Int n, const Real<T>* a, Int lda, const T* b, Int ldb, T* c, Int ldc, Real<T>* rwork);

/// B := A, or one trapezoid of it, for a real A and a complex B, m by n.
///
/// uplo    'U' or 'L': that trapezoid; any other letter: all of it
template <ComplexScalar T>
void lacp2(char uplo, Int m, Int n, const Real<T>* a, Int lda, T* b, Int ldb);

}  // namespace nuv
