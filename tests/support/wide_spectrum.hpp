#pragma once

// Singular values and eigenvalues in the next wider type. In a source of their own, since they are most of what
// compiling a test of matrices with a given spectrum would take.

#include "support/wide.hpp"

namespace nuv::test {

template <Scalar T>
using WideVector = Eigen::Matrix<WideReal<T>, Eigen::Dynamic, 1>;

/// In decreasing order.
template <Scalar T>
WideVector<T> wide_singular_values(const WideMatrix<T>& A);

/// Of a Hermitian matrix, in increasing order.
template <Scalar T>
WideVector<T> wide_eigenvalues(const WideMatrix<T>& A);

}  // namespace nuv::test
