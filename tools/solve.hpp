#pragma once

#include "equations.hpp"
#include "methods.hpp"

namespace nuv::tools {

struct SolveOptions : EquationOptions {
  MethodRequest method;
  bool force = false;  ///< write the solution of a system that is singular to working precision, too
};

/// Solves A X = B. X goes to the output; the account of it, with the scaled residual, the condition number, the bound
/// of the error and the time, to standard error. Throws UsageError and FileError.
void solve(const SolveOptions& options);

}  // namespace nuv::tools
