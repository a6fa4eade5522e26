// The reader of matrix files under arbitrary contents: it gives a matrix whose parts fit each other, or refuses with
// one line of text.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "tools/error.hpp"
#include "tools/matrix_market.hpp"

namespace {

using namespace nuv::tools;

void require(bool condition) {
  if (!condition) std::abort();
}

void check(const MatrixMarket& matrix) {
  require(matrix.rows >= 0 && matrix.columns >= 0);
  if (matrix.layout == Layout::Coordinate) {
    require(matrix.row_of.size() == matrix.stored() && matrix.column_of.size() == matrix.stored());
  }
  for_each_stored(matrix, [&](nuv::Int i, nuv::Int j, std::complex<double> value) {
    require(1 <= i && i <= matrix.rows && 1 <= j && j <= matrix.columns);
    require(std::isfinite(value.real()) && std::isfinite(value.imag()));
    require(matrix.symmetry == Symmetry::General || i >= j);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Precision precision = data[0] % 2 == 0 ? Precision::Single : Precision::Double;
  std::istringstream stream(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
  try {
    check(read_matrix_market(stream, "input.mtx", precision));
  } catch (const FileError& error) {
    const std::string text = error.what();
    require(!text.empty() && text.find('\n') == std::string::npos);
  }
  return 0;
}
