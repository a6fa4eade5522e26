#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "base/types.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

/// How many diagonals below and above the main one hold all that is not zero.
struct Bandwidth {
  Int lower = 0, upper = 0;

  std::int64_t diagonals() const { return std::int64_t{lower} + upper + 1; }
};

Bandwidth bandwidth_of(const StoredMatrix& file);

/// A square matrix of which the diagonals of a band are stored, a column of the array for a column of the matrix:
/// element (i, j) stands in row upper + 1 + i - j of it, as the solvers for bands want it.
template <Scalar T>
struct BandMatrix {
  using Element = T;

  Int rows = 0;
  Int columns = 0;
  Int lower = 0, upper = 0;
  std::vector<T> elements;

  /// The leading dimension must be an Int.
  BandMatrix(Int order, Bandwidth band)
      : rows(order),
        columns(order),
        lower(band.lower),
        upper(band.upper),
        elements(static_cast<std::size_t>(band.diagonals()) * static_cast<std::size_t>(order)) {}

  Int ld() const { return lower + upper + 1; }

  /// The stored rows of a column, which stand one behind another.
  Int first_row(Int j) const { return std::max(1, j - upper); }
  Int last_row(Int j) const { return static_cast<Int>(std::min<std::int64_t>(rows, std::int64_t{j} + lower)); }

  /// A stored element.
  T& operator()(Int i, Int j) { return elements[index(i, j)]; }
  const T& operator()(Int i, Int j) const { return elements[index(i, j)]; }

 private:
  std::size_t index(Int i, Int j) const {
    return static_cast<std::size_t>(std::ptrdiff_t{j - 1} * ld() + upper + (i - j));
  }
};

/// Collects the elements of a file, whose band this must be, and lets go of it. A complex file needs a complex T.
/// Throws FileError if a sum of duplicate entries overflows.
template <Scalar T>
BandMatrix<T> to_band(StoredMatrix file, Bandwidth band);

/// The elements of a matrix that lie in a band, and zeros where it has none stored.
template <Scalar T>
BandMatrix<T> with_band(const BandMatrix<T>& a, Bandwidth band);

}  // namespace nuv::tools
