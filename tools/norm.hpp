#pragma once

#include "matrix_file.hpp"

namespace nuv::tools {

struct NormOptions : MatrixOptions {
  bool two = false;  ///< the two-norm, too, which takes the singular values
};

/// Computes norms of a matrix of any shape and tells them. Throws FileError.
void show_norms(const NormOptions& options);

}  // namespace nuv::tools
