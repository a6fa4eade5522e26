#pragma once

#include <optional>
#include <string>

#include "base/types.hpp"
#include "eigen_solvers.hpp"
#include "matrix_file.hpp"

namespace nuv::tools {

struct EigenOptions : MatrixOptions {
  std::optional<std::string> output_file;   ///< for the values; none: standard output
  std::optional<std::string> vectors_file;  ///< none: no vectors
  std::optional<std::string> partner_file;  ///< the matrix B of the generalised problem
  std::optional<std::string> plot_file;     ///< for a picture of the values
  std::optional<std::string> range, index;  ///< "A:B" and "I:J"
  std::optional<std::string> method;        ///< qr, dc or mrrr
  Int type = 1;                             ///< of the generalised problem
};

/// Finds eigenvalues of a symmetric or Hermitian matrix, and writes them in ascending order as an array of one column.
/// Throws FileError for whatever keeps it from that, and UsageError for options that don't go together.
void find_eigenvalues(const EigenOptions& options);

}  // namespace nuv::tools
