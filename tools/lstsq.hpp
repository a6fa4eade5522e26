#pragma once

#include <optional>

#include "equations.hpp"

namespace nuv::tools {

struct LeastSquaresOptions : EquationOptions {
  std::optional<double> rank_tolerance;  ///< of the diagonal of R, relative to its largest element
};

/// Finds X that comes nearest to A X = B, by columns in the Euclidean norm, for a matrix A of full rank; of the X that
/// fit where A has fewer rows than columns, the least. X goes to the output; the account of it, with the rank, the
/// largest norm of a residual and the time, to standard error. Throws FileError, also where the numerical rank is less
/// than the smaller size of A, and UsageError for a tolerance that is none.
void fit(const LeastSquaresOptions& options);

}  // namespace nuv::tools
