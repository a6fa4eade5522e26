#pragma once

#include <optional>
#include <string>

#include "base/types.hpp"
#include "eigen_solvers.hpp"
#include "matrix_file.hpp"

namespace nuv::tools {

struct EigenOptions : MatrixOptions {
  std::optional<std::string> output_file;   ///< for the values; none: standard output
  std::optional<std::string> vectors_file;  ///< for right vectors; none: no vectors
  std::optional<std::string> partner_file;  ///< the matrix B of the generalised problem
  std::optional<std::string> plot_file;     ///< for a picture of the values
  std::optional<std::string> range, index;  ///< "A:B" and "I:J"
  std::optional<std::string> method;        ///< qr, dc or mrrr
  Int type = 1;                             ///< of the generalised problem

  // For general matrices alone; each makes a symmetric one count as such.
  std::optional<std::string> left_file;                       ///< for left vectors
  std::optional<std::string> schur_file, schur_vectors_file;  ///< for T and Z of A = Z T Z^H
  bool conditions = false, general = false;
};

/// Finds eigenvalues of a matrix, and writes them as an array of one column: in ascending order those of a symmetric or
/// Hermitian one. Throws FileError for whatever keeps it from that, and UsageError for options that don't go together.
void find_eigenvalues(const EigenOptions& options);

}  // namespace nuv::tools
