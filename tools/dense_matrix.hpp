#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "matrix_market.hpp"

namespace nuv::tools {

/// A matrix stored by columns without gaps, addressed from one.
template <Scalar T>
struct DenseMatrix {
  Int rows = 0;
  Int columns = 0;
  std::vector<T> elements;

  DenseMatrix(Int rows_, Int columns_)
      : rows(rows_),
        columns(columns_),
        elements(static_cast<std::size_t>(rows_) * static_cast<std::size_t>(columns_)) {}

  T* column(Int j) { return elements.data() + static_cast<std::ptrdiff_t>(j - 1) * rows; }
  const T* column(Int j) const { return elements.data() + static_cast<std::ptrdiff_t>(j - 1) * rows; }

  T& operator()(Int i, Int j) { return column(j)[i - 1]; }
  const T& operator()(Int i, Int j) const { return column(j)[i - 1]; }

  /// Leading dimension as a solver wants it.
  Int ld() const { return std::max(1, rows); }
};

/// Expands a file into all elements of its matrix, and lets go of it. A complex file needs a complex T. Throws
/// FileError if a sum of duplicate entries overflows.
template <Scalar T>
DenseMatrix<T> to_dense(MatrixMarket file);

template <Scalar T>
bool all_finite(const DenseMatrix<T>& a);

/// max over i of the sum over j of |a(i, j)|, accumulated in long double.
template <Scalar T>
long double infinity_norm(const DenseMatrix<T>& a);

/// ||A X - B|| / (||A|| ||X|| n eps) in infinity norms, accumulated in long double. eps is the unit roundoff of T,
/// half the distance from one to the next number; 0 when A X = B exactly, whatever the norms are.
template <Scalar T>
long double scaled_residual(const DenseMatrix<T>& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b);

/// The Euclidean norms of the columns of A X - B, accumulated in long double.
template <Scalar T>
std::vector<long double> residual_norms(const DenseMatrix<T>& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b);

/// What of a matrix a file with a symmetry holds: its elements in the array layout, its nonzeros in the other.
struct StoredCount {
  std::uint64_t elements = 0;
  std::uint64_t nonzeros = 0;
};

template <Scalar T>
StoredCount count_stored(const DenseMatrix<T>& a, Symmetry symmetry);

/// How a file holds a matrix.
struct WrittenForm {
  Layout layout = Layout::Array;
  Symmetry symmetry = Symmetry::General;  ///< that the matrix has; the lower triangle is written then
  std::string comment = {};               ///< one line, none where empty
};

/// Writes a matrix in the Matrix Market format, each number by the fewest digits that read back as the same bits, in
/// the coordinate layout without zeros. The text is handed to the sink in pieces of some ten thousand characters.
template <Scalar T>
void write_matrix_market(const DenseMatrix<T>& a, const std::function<void(std::string_view)>& sink,
                         const WrittenForm& form = {});

}  // namespace nuv::tools
