#pragma once

#include <optional>
#include <string>
#include <vector>

#include "equations.hpp"

namespace nuv::tools {

struct LeastSquaresOptions : EquationOptions {
  std::optional<double> rank_tolerance;        ///< of the diagonal of R, relative to its largest element
  std::optional<double> reciprocal_condition;  ///< of the columns that count, instead
  std::vector<std::string> constraint_files;   ///< none, or those of C and d
};

/// Finds X that comes nearest to A X = B, by columns in the Euclidean norm; where many do, the least of them. With
/// constraints, of the X with C X = d, and there must not be many. X goes to the output; the account of it, with the
/// rank, the largest norm of a residual and the time, to standard error. Throws FileError, also where the constraints
/// cannot all hold, or leave more than one X that is right, and UsageError for a tolerance that is none.
void fit(const LeastSquaresOptions& options);

}  // namespace nuv::tools
