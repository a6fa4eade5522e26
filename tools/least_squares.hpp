#pragma once

// Least squares and solutions of least norm by QR factorisations with column pivoting, which show the rank.

#include <string_view>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

template <Scalar T>
struct LeastSquares {
  std::string_view driver;  ///< that factored the matrix, without its precision letter
  Int rank = 0;             ///< numerical rank, at most the smaller size of the matrix
  DenseMatrix<T> x{0, 0};   ///< empty where the method wants full rank and there is less
};

/// The X that comes nearest to A X = B, by columns in the Euclidean norm; where A has fewer rows than columns, the
/// least X that fits. The rank is the number of elements of R's diagonal above the share `tolerance` of the first, of
/// the factorisation of A, or of A^H where that is the tall one. Without full rank there is no X.
template <Scalar T>
LeastSquares<T> least_squares(const DenseMatrix<T>& a, const DenseMatrix<T>& b, double tolerance);

/// Of all X that come nearest to A X = B the least, by the columns that have a triangle with a reciprocal condition
/// number of at least `rcond`, by estimation; their number is the rank.
template <Scalar T>
LeastSquares<T> least_norm(const DenseMatrix<T>& a, const DenseMatrix<T>& b, Real<T> rcond);

/// The rank as least_squares finds it.
template <Scalar T>
Int rank_of(const DenseMatrix<T>& a, double tolerance);

}  // namespace nuv::tools
