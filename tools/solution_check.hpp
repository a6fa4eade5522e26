#pragma once

#include <string>

#include "matrix_file.hpp"

namespace nuv::tools {

struct SolutionOptions : MatrixOptions {
  std::string solution_file, right_hand_side_file;
};

/// Tells how well an X solves A X = B, in the sense of least squares where A has more rows than columns, and whether a
/// solver could do much better. Throws FileError.
void judge_solution(const SolutionOptions& options);

}  // namespace nuv::tools
