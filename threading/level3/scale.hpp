#pragma once

#include "base/matrix.hpp"

namespace nuv::threading {

/// X := factor X for an m by n matrix; a zero factor writes zeros, so that what X held does not matter.
template <Scalar T>
void scale(Int m, Int n, T factor, Matrix<T> X) {
  if (factor == T(1)) return;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) X(i, j) = factor == T(0) ? T(0) : factor * X(i, j);
  }
}

}  // namespace nuv::threading
