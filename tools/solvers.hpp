#pragma once

// The ways to solve A X = B over the storages of A, each by the expert driver of the library.

#include <string>
#include <vector>

#include "band_matrix.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// What a solver gives beside X, so that one can tell how far X is to be trusted.
template <Scalar T>
struct Solution {
  DenseMatrix<T> x;
  Int info = 0;       ///< 0; k <= n: the factorisation broke down at k, no X; n + 1: singular to working precision
  Real<T> rcond = 0;  ///< reciprocal condition number in the one norm, of the matrix that was factored
  std::vector<Real<T>> forward;   ///< bounds of max |X - exact| / max |X| by columns
  std::vector<Real<T>> backward;  ///< the least relative changes of elements of A and B that make X exact, by columns
  char equilibrated = 'N';        ///< what was scaled before: None, Rows, Columns, Both or, Y, both alike
  std::string course = {};        ///< of a method that can take several

  Solution(Int rows, Int columns)
      : x(rows, columns), forward(static_cast<std::size_t>(columns)), backward(static_cast<std::size_t>(columns)) {}
};

/// The triangle that methods for symmetric matrices read.
inline constexpr char triangle = 'L';

template <Scalar T>
Solution<T> solve_by_lu(DenseMatrix<T> a, DenseMatrix<T> b);

template <Scalar T>
Solution<T> solve_by_lu(BandMatrix<T> a, DenseMatrix<T> b);

template <Scalar T>
Solution<T> solve_by_cholesky(DenseMatrix<T> a, DenseMatrix<T> b);

template <Scalar T>
Solution<T> solve_by_cholesky(const BandMatrix<T>& a, DenseMatrix<T> b);

template <Scalar T>
Solution<T> solve_symmetric(const DenseMatrix<T>& a, const DenseMatrix<T>& b);

template <Scalar T>
Solution<T> solve_hermitian(const DenseMatrix<T>& a, const DenseMatrix<T>& b);

/// Factors in single precision and refines in double precision. Factors too poor to judge the solution by make way for
/// others in double precision.
Solution<double> solve_mixed(const DenseMatrix<double>& a, const DenseMatrix<double>& b);

}  // namespace nuv::tools
