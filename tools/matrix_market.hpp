#pragma once

// Reader of the Matrix Market exchange format (R. F. Boisvert, R. Pozo, K. A. Remington, "The Matrix Market Exchange
// Formats: Initial Design", NISTIR 5935, 1996).
//
// Accepted: array and coordinate layout; real, complex and integer fields; general, symmetric, skew-symmetric and
// hermitian symmetry. Words of the banner are read without regard to case; comment lines and blank lines may stand
// anywhere after it; lines may end in LF or CR LF. One entry stands on each line. A symmetric matrix is stored by its
// lower triangle, a skew-symmetric one by its strictly lower triangle. Coordinate entries given more than once are
// summed, as the assembly of finite elements writes them.

#include <complex>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "base/types.hpp"

namespace nuv::tools {

enum class Layout { Array, Coordinate };
enum class Field { Real, Complex, Integer };
enum class Symmetry { General, Symmetric, SkewSymmetric, Hermitian };

/// Precision in which numbers are rounded and beyond whose range they are refused.
enum class Precision { Single, Double };

/// The contents of a file as it stands there: its stored entries, nothing expanded, so that the memory taken is
/// bounded by the size of the file and not by the size of the matrix.
struct MatrixMarket {
  std::string file;
  std::size_t size_line = 0;  ///< line of the sizes, for messages about them
  Layout layout = Layout::Array;
  Field field = Field::Real;
  Symmetry symmetry = Symmetry::General;
  Int rows = 0;
  Int columns = 0;
  std::vector<Int> row_of, column_of;  ///< one-based, coordinate layout alone
  std::vector<double> values;          ///< real and imaginary parts alternate in a complex field

  bool is_complex() const { return field == Field::Complex; }

  /// Number of values that stand in the file.
  std::size_t stored() const { return values.size() / (is_complex() ? 2 : 1); }

  std::complex<double> value(std::size_t k) const {
    return is_complex() ? std::complex(values[2 * k], values[2 * k + 1]) : std::complex(values[k]);
  }
};

/// Reads a matrix from a stream; `file` is the name that messages carry. Throws FileError for whatever isn't a
/// well-formed file of finite numbers.
MatrixMarket read_matrix_market(std::istream& stream, const std::string& file, Precision precision);

/// The same from a file on disk.
MatrixMarket read_matrix_market_file(const std::string& file, Precision precision);

/// Reads a file of numbers, one on each line, as a matrix of one column; blank lines and comments, which begin with %,
/// may stand anywhere. A file that begins with %% is a Matrix Market file, and comes back as it stands there.
MatrixMarket read_numbers_file(const std::string& file, Precision precision);

/// Row at which the stored part of a column begins in an array file; past the last row, the column holds nothing.
constexpr std::int64_t first_stored_row(Symmetry symmetry, std::int64_t column) {
  switch (symmetry) {
    case Symmetry::General:
      return 1;
    case Symmetry::SkewSymmetric:
      return column + 1;
    default:
      return column;
  }
}

/// Calls visit(i, j, value) for every stored value in the order of the file, with one-based indices.
template <class Visit>
void for_each_stored(const MatrixMarket& matrix, Visit visit) {
  if (matrix.layout == Layout::Coordinate) {
    for (std::size_t k = 0; k < matrix.stored(); ++k) visit(matrix.row_of[k], matrix.column_of[k], matrix.value(k));
    return;
  }
  std::size_t k = 0;
  for (Int j = 1; k < matrix.stored(); ++j) {
    for (auto i = static_cast<Int>(first_stored_row(matrix.symmetry, j)); i <= matrix.rows; ++i) {
      visit(i, j, matrix.value(k++));
    }
  }
}

/// The element at (j, i) of a matrix whose file has that value at (i, j).
std::complex<double> mirrored(Symmetry symmetry, std::complex<double> value);

/// Calls visit(i, j, value) for every stored value, and for its mirror image where the symmetry gives one.
template <class Visit>
void for_each_element(const MatrixMarket& matrix, Visit visit) {
  for_each_stored(matrix, [&](Int i, Int j, std::complex<double> value) {
    visit(i, j, value);
    if (matrix.symmetry != Symmetry::General && i != j) visit(j, i, mirrored(matrix.symmetry, value));
  });
}

/// A symmetry as the banner of a file names it.
std::string_view name_of(Symmetry symmetry);

}  // namespace nuv::tools
