#pragma once

#include <optional>
#include <string>

#include "matrix_file.hpp"

namespace nuv::tools {

struct SingularOptions : MatrixOptions {
  std::optional<std::string> output_file;            ///< for the values; none: standard output
  std::optional<std::string> left_file, right_file;  ///< none: no vectors of that side
  std::optional<std::string> plot_file;              ///< for a picture of the values
  std::optional<std::string> partner_file;           ///< the matrix B of the generalised problem
  std::optional<std::string> partner_left_file;      ///< for its left vectors; none: not wanted
  std::optional<double> rank_tolerance;              ///< relative to the largest value
  bool thin = false, full = false;                   ///< neither: thin
};

/// Finds the singular values of a matrix, and writes them in descending order as an array of one column; vectors on
/// either side, one to a column. The account, on standard error, tells rank and condition number. With a partner it
/// does the same for generalised singular values (pair_svd.hpp). Throws FileError for whatever keeps it from that, and
/// UsageError for options that don't go together.
void find_singular_values(const SingularOptions& options);

}  // namespace nuv::tools
