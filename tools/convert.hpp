#pragma once

#include <optional>
#include <string>

#include "matrix_file.hpp"

namespace nuv::tools {

struct ConvertOptions : MatrixOptions {
  std::string output_file;       ///< - is standard output
  std::optional<Layout> layout;  ///< of a file in the Matrix Market format; none: that of the matrix file
};

/// Writes the matrix of a file in another format, or in another precision: without one that is said, in that of the
/// file. A file in the Matrix Market format says so where the matrix is symmetric, skew-symmetric or Hermitian to the
/// last bit, and holds its lower triangle then. The account goes to standard error. Throws UsageError and FileError.
void convert(const ConvertOptions& options);

}  // namespace nuv::tools
