#pragma once

#include <algorithm>

#include "kernels/packed/product.hpp"

namespace nuv::packed::inline NUV_ISA {

/// X := factor X on a region of an m by n matrix, where the factor is of type T or real; a zero factor writes zeros, so
/// that what X held does not matter.
template <Scalar T, Scalar Factor>
void scale(Int m, Int n, Factor factor, Matrix<T> X, Region region = Region::all) {
  if (factor == Factor(1)) return;
  for (Int j = 1; j <= n; ++j) {
    const Int first = region == Region::lower ? j : 1;
    const Int last = region == Region::upper ? std::min(m, j) : m;
    T* const x = X.at(1, j);
    if (factor == Factor(0)) {
      std::fill(x + first - 1, x + std::max(first - 1, last), T(0));
    } else {
      for (Int i = first - 1; i < last; ++i) x[i] = factor * x[i];
    }
  }
}

}  // namespace nuv::packed::inline NUV_ISA
