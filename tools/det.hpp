#pragma once

#include "matrix_file.hpp"

namespace nuv::tools {

/// Computes the determinant of a square matrix and tells its sign, or its phase where it is complex, and the logarithm
/// of its magnitude, which stay in range where the determinant doesn't. Throws FileError.
void show_determinant(const MatrixOptions& options);

}  // namespace nuv::tools
