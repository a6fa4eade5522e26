#pragma once

// Setting, copying and permuting matrices. Nothing here checks its arguments.

#include "base/types.hpp"

namespace nuv {

/// Sets the diagonal of an m by n matrix to beta, and to alpha all above it (uplo 'U'), all below it ('L') or both (any
/// other letter).
template <Scalar T>
void laset(char uplo, Int m, Int n, T alpha, T beta, T* a, Int lda);

/// Copies the upper ('U') or lower ('L') trapezoid of an m by n matrix, or all of it (any other letter), to one that
/// does not overlap it.
template <Scalar T>
void lacpy(char uplo, Int m, Int n, const T* a, Int lda, T* b, Int ldb);

/// Permutes the columns of an m by n matrix.
///
/// forward  true: column k(i) goes to place i, false: column i goes to place k(i)
/// k        a permutation of 1 ... n; used as scratch and restored
template <Scalar T>
void lapmt(Logical forward, Int m, Int n, T* x, Int ldx, Int* k);

/// Conjugates n elements, |incx| apart.
template <ComplexScalar T>
void lacgv(Int n, T* x, Int incx);

}  // namespace nuv
