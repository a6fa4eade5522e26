#pragma once

// A measure of complex numbers that takes no root.

#include <cmath>

#include "base/types.hpp"

namespace nuv {

/// |x|, of a complex number |re| + |im|: at most sqrt(2) too large.
template <Scalar T>
Real<T> abs1(T x) {
  if constexpr (ComplexScalar<T>) {
    return std::abs(x.real()) + std::abs(x.imag());
  } else {
    return std::abs(x);
  }
}

}  // namespace nuv
