#pragma once

// Products and updates with complex symmetric, not Hermitian, matrices, of which a triangle is stored. Their real
// counterparts, and the update ?spr in single precision, are kernels.
//
// uplo    'U' or 'L': the triangle that is stored; the other is neither read nor written
// incx, incy  not zero; a negative one takes the elements from the far end
//
// A bad argument is reported by its position, and nothing is done.

#include "base/types.hpp"

namespace nuv {

/// y := alpha A x + beta y for a matrix of order n, lda >= max(1, n). With beta = 0 the old y is not read.
template <ComplexScalar T>
void symv(char uplo, Int n, T alpha, const T* a, Int lda, const T* x, Int incx, T beta, T* y, Int incy);

/// The same for a packed matrix.
template <ComplexScalar T>
void spmv(char uplo, Int n, T alpha, const T* ap, const T* x, Int incx, T beta, T* y, Int incy);

/// A := A + alpha x x^T on a triangle of order n, lda >= max(1, n).
template <ComplexScalar T>
void syr(char uplo, Int n, T alpha, const T* x, Int incx, T* a, Int lda);

/// The same for a packed matrix; double precision alone.
template <ComplexScalar T>
void spr(char uplo, Int n, T alpha, const T* x, Int incx, T* ap);

}  // namespace nuv
