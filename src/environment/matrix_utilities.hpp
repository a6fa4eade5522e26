#pragma once

// Setting, copying and permuting matrices, and how far their elements reach. Nothing here checks its arguments.

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

/// Permutes the rows of an m by n matrix.
///
/// forward  true: row k(i) goes to place i, false: row i goes to place k(i)
/// k        a permutation of 1 ... m; used as scratch and restored
template <Scalar T>
void lapmr(Logical forward, Int m, Int n, T* x, Int ldx, Int* k);

/// The last column of an m by n matrix that holds anything but zeros, or 0. A NaN is no zero.
template <Scalar T>
Int ilalc(Int m, Int n, const T* a, Int lda);

/// The last row that does, or 0.
template <Scalar T>
Int ilalr(Int m, Int n, const T* a, Int lda);

/// Conjugates n elements, |incx| apart.
template <ComplexScalar T>
void lacgv(Int n, T* x, Int incx);

}  // namespace nuv
