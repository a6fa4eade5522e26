#pragma once

// Least squares and solutions of least norm by a QR factorisation with column pivoting, which shows the rank.

#include <string_view>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

template <Scalar T>
struct LeastSquares {
  static constexpr std::string_view driver = "geqp3";  ///< that factored the matrix, without its precision letter

  Int rank = 0;            ///< numerical rank, at most the smaller size of the matrix
  DenseMatrix<T> x{0, 0};  ///< empty where the rank is less than that
};

/// The X that comes nearest to A X = B, by columns in the Euclidean norm; where A has fewer rows than columns, the
/// least X that fits. The rank is the number of elements of R's diagonal above the share `tolerance` of the first, of
/// the factorisation of A, or of A^H where that is the tall one.
template <Scalar T>
LeastSquares<T> least_squares(const DenseMatrix<T>& a, const DenseMatrix<T>& b, double tolerance);

}  // namespace nuv::tools
