#pragma once

// Singular values and vectors by the library's divide and conquer driver.

#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// Which vectors, of an m by n matrix: none; one on each side for each of the min(m, n) values; m on the left and n on
/// the right.
enum class SingularVectors { None, Thin, Full };

/// A = U S V^H
template <Scalar T>
struct SingularDecomposition {
  static constexpr std::string_view driver = "gesdd";  ///< that found it, without its precision letter

  std::vector<Real<T>> values;         ///< descending
  DenseMatrix<T> left{0, 0};           ///< U, a column for each vector
  DenseMatrix<T> right_adjoint{0, 0};  ///< V^H, a row for each vector
  Int info = 0;                        ///< as the driver gave it
};

template <Scalar T>
SingularDecomposition<T> decomposed(DenseMatrix<T> a, SingularVectors vectors);

/// The bytes of the vectors, and of the matrix and the workspace that the driver takes to find them.
template <Scalar T>
long double bytes_to_decompose(Int rows, Int columns, SingularVectors vectors);

}  // namespace nuv::tools
