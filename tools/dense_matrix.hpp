#pragma once

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/types.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

/// A matrix stored by columns without gaps, addressed from one.
template <Scalar T>
struct DenseMatrix {
  using Element = T;

  Int rows = 0;
  Int columns = 0;
  std::vector<T> elements;

  DenseMatrix(Int rows_, Int columns_)
      : rows(rows_),
        columns(columns_),
        elements(static_cast<std::size_t>(rows_) * static_cast<std::size_t>(columns_)) {}

  DenseMatrix(Int rows_, Int columns_, std::vector<T> elements_)
      : rows(rows_), columns(columns_), elements(std::move(elements_)) {}

  T* column(Int j) { return elements.data() + static_cast<std::ptrdiff_t>(j - 1) * rows; }
  const T* column(Int j) const { return elements.data() + static_cast<std::ptrdiff_t>(j - 1) * rows; }

  T& operator()(Int i, Int j) { return column(j)[i - 1]; }
  const T& operator()(Int i, Int j) const { return column(j)[i - 1]; }

  /// The stored rows of a column, which stand one behind another.
  Int first_row(Int) const { return 1; }
  Int last_row(Int) const { return rows; }

  /// Leading dimension as a solver wants it.
  Int ld() const { return std::max(1, rows); }
};

/// Expands a file into all elements of its matrix, and lets go of it. A complex file needs a complex T. Throws
/// FileError if a sum of duplicate entries overflows.
template <Scalar T>
DenseMatrix<T> to_dense(StoredMatrix file);

/// A^H
template <Scalar T>
DenseMatrix<T> adjoint(const DenseMatrix<T>& a);

template <Scalar T>
bool all_finite(const std::vector<T>& elements);

/// Throws FileError if an element, a sum of entries of that file, overflowed.
template <Scalar T>
void require_finite_sums(const std::vector<T>& elements, const std::string& file);

/// A number from a file in the precision of T, which is complex where the file is.
template <Scalar T>
T narrowed(std::complex<double> x);

/// Calls visit(i, j, value) for the elements that a file with that symmetry holds, down the columns.
template <Scalar T, class Visit>
void for_each_stored(const DenseMatrix<T>& a, Symmetry symmetry, Visit visit) {
  for (Int j = 1; j <= a.columns; ++j) {
    for (auto i = static_cast<Int>(first_stored_row(symmetry, j)); i <= a.rows; ++i) visit(i, j, a(i, j));
  }
}

/// What of a matrix a file with a symmetry holds: its elements in the array layout, its nonzeros in the other.
struct StoredCount {
  std::uint64_t elements = 0;
  std::uint64_t nonzeros = 0;
};

template <Scalar T>
StoredCount count_stored(const DenseMatrix<T>& a, Symmetry symmetry);

}  // namespace nuv::tools
