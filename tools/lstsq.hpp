#pragma once

#include "equations.hpp"

namespace nuv::tools {

/// Finds X that comes nearest to A X = B, by columns in the Euclidean norm, for a matrix A of full rank; of the X that
/// fit where A has fewer rows than columns, the least. X goes to the output; the account of it, with the norm of each
/// residual and the time, to standard error. Throws FileError.
void fit(const EquationOptions& options);

}  // namespace nuv::tools
