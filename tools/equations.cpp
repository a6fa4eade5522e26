#include "equations.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace nuv::tools {
namespace {

long double physical_memory() {
  return static_cast<long double>(sysconf(_SC_PHYS_PAGES)) * static_cast<long double>(sysconf(_SC_PAGE_SIZE));
}

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

// Sizes whose product leaves the range of integers are still told apart here: 2^31 squared times 16 is exact.
void require_memory(const MatrixMarket& file, Int rows, Int columns, std::size_t element_size) {
  const long double needed = 2.0L * rows * columns * static_cast<long double>(element_size);
  const long double there =
      std::min<long double>(physical_memory(), static_cast<long double>(std::numeric_limits<std::ptrdiff_t>::max()));
  if (needed <= there) return;
  constexpr long double gibibyte = 1L << 30;
  throw FileError(file.file, file.size_line,
                  fmt::format("a {} by {} matrix takes {:.3g} GiB to solve, this machine can give {:.3g}", rows,
                              columns, needed / gibibyte, there / gibibyte));
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
