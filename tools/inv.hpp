#pragma once

#include <optional>
#include <string>

#include "matrix_file.hpp"

namespace nuv::tools {

struct InverseOptions : MatrixOptions {
  std::optional<std::string> output_file;  ///< none: standard output
  bool force = false;                      ///< write the inverse of a matrix that is singular to working precision, too
};

/// Inverts a matrix. The inverse goes to the output; the account of it, with the condition number and the time, to
/// standard error. Throws FileError.
void invert(const InverseOptions& options);

}  // namespace nuv::tools
