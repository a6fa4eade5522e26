#pragma once

#include "equations.hpp"

namespace nuv::tools {

struct SolveOptions : EquationOptions {
  bool positive_definite = false;  ///< A is Hermitian and positive definite: Cholesky instead of LU
};

/// Solves A X = B. X goes to the output; the account of it, with the scaled residual and the time, to standard error.
/// Throws FileError.
void solve(const SolveOptions& options);

}  // namespace nuv::tools
