#pragma once

// A matrix as it stands in a file, before a command knows in which storage it needs it.

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/types.hpp"
#include "decimal.hpp"

namespace nuv::tools {

enum class Layout { Array, Coordinate };
enum class Field { Real, Complex, Integer };
enum class Symmetry { General, Symmetric, SkewSymmetric, Hermitian };

/// Symmetries as the banner of a file names them.
inline constexpr std::array<std::pair<std::string_view, Symmetry>, 4> symmetry_names = {{
    {"general", Symmetry::General},
    {"symmetric", Symmetry::Symmetric},
    {"skew-symmetric", Symmetry::SkewSymmetric},
    {"hermitian", Symmetry::Hermitian},
}};

/// The contents of a file as it stands there: its stored entries, nothing expanded, so that the memory taken is
/// bounded by the size of the file and not by the size of the matrix. Files of other formats come as general arrays.
struct StoredMatrix {
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
void for_each_stored(const StoredMatrix& matrix, Visit visit) {
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
void for_each_element(const StoredMatrix& matrix, Visit visit) {
  for_each_stored(matrix, [&](Int i, Int j, std::complex<double> value) {
    visit(i, j, value);
    if (matrix.symmetry != Symmetry::General && i != j) visit(j, i, mirrored(matrix.symmetry, value));
  });
}

std::string_view name_of(Symmetry symmetry);

}  // namespace nuv::tools
