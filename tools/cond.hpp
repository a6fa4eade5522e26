#pragma once

#include <string>

#include "matrix_file.hpp"

namespace nuv::tools {

/// Estimates the reciprocal condition numbers of a square matrix in the one and the infinity norm, and tells them.
/// Throws FileError.
std::string condition_report(const MatrixOptions& options);

}  // namespace nuv::tools
