#pragma once

#include "matrix_file.hpp"

namespace nuv::tools {

/// Estimates the reciprocal condition numbers of a square matrix in the one and the infinity norm, and tells them.
/// Throws FileError.
void show_condition(const MatrixOptions& options);

}  // namespace nuv::tools
