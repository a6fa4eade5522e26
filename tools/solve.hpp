#pragma once

#include <optional>
#include <string>

namespace nuv::tools {

struct SolveOptions {
  std::string matrix_file;
  std::string right_hand_side_file;
  std::optional<std::string> output_file;  ///< none: standard output
  std::optional<char> precision;           ///< s, d, c or z; none: d, or z where a file is complex
  bool positive_definite = false;          ///< A is Hermitian and positive definite: Cholesky instead of LU
};

/// Solves A X = B. X goes to the output; the account of it, with the scaled residual and the time, to standard error.
/// Throws FileError.
void solve(const SolveOptions& options);

}  // namespace nuv::tools
