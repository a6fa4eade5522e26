#pragma once

// The measure of a number that the vector kernels use: |re| + |im|, far cheaper than the modulus and within a factor of
// sqrt(2) of it.

#include <cmath>

#include "base/types.hpp"

namespace nuv::kernels::inline NUV_ISA {

template <RealScalar R>
R magnitude(R x) {
  return std::abs(x);
}

template <RealScalar R>
R magnitude(std::complex<R> x) {
  return std::abs(x.real()) + std::abs(x.imag());
}

}  // namespace nuv::kernels::inline NUV_ISA
