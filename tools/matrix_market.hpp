#pragma once

// Reader of the Matrix Market exchange format (R. F. Boisvert, R. Pozo, K. A. Remington, "The Matrix Market Exchange
// Formats: Initial Design", NISTIR 5935, 1996).
//
// Accepted: array and coordinate layout; real, complex and integer fields; general, symmetric, skew-symmetric and
// hermitian symmetry. Words of the banner are read without regard to case; comment lines and blank lines may stand
// anywhere after it; lines may end in LF or CR LF. Exponents may begin with Fortran's d. An array may have any number
// of values on a line, coordinates have one entry on each. A symmetric matrix is stored by its lower triangle, a
// skew-symmetric one by its strictly lower triangle. Coordinate entries given more than once are summed, as the
// assembly of finite elements writes them.

#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "decimal.hpp"
#include "input.hpp"

namespace nuv::tools {

enum class Layout { Array, Coordinate };
enum class Field { Real, Complex, Integer };
enum class Symmetry { General, Symmetric, SkewSymmetric, Hermitian };

/// The contents of a file as it stands there: its stored entries, nothing expanded, so that the memory taken is
/// bounded by the size of the file and not by the size of the matrix. Files of other formats come as general arrays.
struct MatrixMarket {
  std::string file;
  std::size_t size_line = 0;   ///< line of the sizes, for messages about them; 0 where there is none
  std::size_t field_line = 0;  ///< line that tells the field, likewise
  Layout layout = Layout::Array;
  Field field = Field::Real;
  Symmetry symmetry = Symmetry::General;
  Precision precision = Precision::Double;  ///< of the file, where its format tells one
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

/// Reads a matrix in that format. Throws FileError for whatever isn't a well-formed file of finite numbers, and for
/// sizes whose entries can't be held in memory.
MatrixMarket read_matrix_market(Input& input, Precision precision);

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
