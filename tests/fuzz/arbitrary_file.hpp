#pragma once

// What the readers of matrix files have in common under arbitrary contents: each gives a matrix whose parts fit each
// other, or refuses with one line of text.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/error.hpp"
#include "tools/input.hpp"
#include "tools/stored_matrix.hpp"

namespace nuv::tools {

inline void require(bool condition) {
  if (!condition) std::abort();
}

inline void check(const StoredMatrix& matrix) {
  require(matrix.rows >= 0 && matrix.columns >= 0);
  if (matrix.layout == Layout::Coordinate) {
    require(matrix.row_of.size() == matrix.stored() && matrix.column_of.size() == matrix.stored());
  } else if (matrix.symmetry == Symmetry::General) {
    require(matrix.stored() == static_cast<std::size_t>(matrix.rows) * static_cast<std::size_t>(matrix.columns));
  }
  for_each_stored(matrix, [&](Int i, Int j, std::complex<double> value) {
    require(1 <= i && i <= matrix.rows && 1 <= j && j <= matrix.columns);
    require(std::isfinite(value.real()) && std::isfinite(value.imag()));
    require(matrix.symmetry == Symmetry::General || i >= j);
  });
}

/// Gives the bytes behind the first to a reader, in the precision that the first one says.
template <class Read>
int read_arbitrary(const std::uint8_t* data, std::size_t size, Read read) {
  if (size == 0) return 0;
  const Precision precision = data[0] % 2 == 0 ? Precision::Single : Precision::Double;
  try {
    Input input = Input::of({reinterpret_cast<const char*>(data) + 1, size - 1}, "input");
    check(read(input, precision));
  } catch (const FileError& error) {
    const std::string text = error.what();
    require(!text.empty() && text.find('\n') == std::string::npos);
  }
  return 0;
}

}  // namespace nuv::tools
