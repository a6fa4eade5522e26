#pragma once

#include "svd.hpp"

namespace nuv::tools {

/// `nuv svd` of two matrices with the same number of columns: writes the pairs of the generalised singular values as an
/// array of two columns, in descending order of their quotients, and vectors where they are wanted.
void find_pair_values(const SingularOptions& options);

}  // namespace nuv::tools
