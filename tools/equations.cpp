#include "equations.hpp"

#include <fmt/format.h>

namespace nuv::tools {
namespace {

void require_real(const MatrixMarket& file, char precision) {
  if (file.is_complex()) {
    throw FileError(file.file, 1, fmt::format("complex data cannot be solved in the real precision {}", precision));
  }
}

}  // namespace

EquationFiles read_equation_files(const EquationOptions& options) {
  const bool single = options.precision == 's' || options.precision == 'c';
  const Precision precision = single ? Precision::Single : Precision::Double;
  MatrixMarket a = read_matrix_market_file(options.matrix_file, precision);
  return {std::move(a), read_matrix_market_file(options.right_hand_side_file, precision)};
}

void require_memory(const MatrixMarket& file, Int rows, Int columns, std::size_t element_size) {
  if (const auto shortage = memory_shortage(rows, columns, element_size, 2, "solve")) {
    throw FileError(file.file, file.size_line, *shortage);
  }
}

char precision_for(const EquationFiles& files, const EquationOptions& options) {
  const char letter = options.precision.value_or(files.a.is_complex() || files.b.is_complex() ? 'z' : 'd');
  if (letter == 's' || letter == 'd') {
    require_real(files.a, letter);
    require_real(files.b, letter);
  }
  return letter;
}

}  // namespace nuv::tools
