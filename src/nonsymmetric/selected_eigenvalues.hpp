#pragma once

// Eigenvalues of a Schur form that a caller selects by a flag each. A pair is selected if either of its flags is set.

#include <algorithm>

#include "nonsymmetric/diagonal_blocks.hpp"

namespace nuv {

inline bool is_selected(const Logical* select, DiagonalBlock block) {
  return std::any_of(select + (block.first - 1), select + block.last, is_true);
}

/// How many eigenvalues are selected, both of a pair or none.
template <Scalar T>
Int count_selected(const Logical* select, Matrix<const T> S, Int n) {
  Int count = 0;
  for_each_diagonal_block(S, n, true, [&](DiagonalBlock block) {
    if (is_selected(select, block)) count += block.order();
  });
  return count;
}

}  // namespace nuv
