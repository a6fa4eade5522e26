#include "matrix_file.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "error.hpp"

namespace nuv::tools {

MatrixMarket read_in(std::optional<char> precision, const std::string& file) {
  const bool single = precision == 's' || precision == 'c';
  return read_matrix_market_file(file, single ? Precision::Single : Precision::Double);
}

void require_square(const MatrixMarket& file, std::string_view what) {
  if (file.rows == file.columns) return;
  throw FileError(file.file, file.size_line,
                  fmt::format("the matrix is {} by {}, {} needs a square one", file.rows, file.columns, what));
}

char precision_for(std::optional<char> precision, std::initializer_list<const MatrixMarket*> files) {
  const auto found = std::find_if(files.begin(), files.end(), [](const MatrixMarket* f) { return f->is_complex(); });
  const bool is_complex = found != files.end();
  const char letter = precision.value_or(is_complex ? 'z' : 'd');
  if (is_complex && (letter == 's' || letter == 'd')) {
    throw FileError((*found)->file, 1, fmt::format("complex data does not fit the real precision {}", letter));
  }
  return letter;
}

std::string words_of(const MatrixMarket& file) {
  return fmt::format("{} by {}, {}", file.rows, file.columns, printable(file.file));
}

}  // namespace nuv::tools
