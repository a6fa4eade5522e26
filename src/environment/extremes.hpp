#pragma once

// The larger and the smaller of two numbers, or a NaN if one of them is NaN. Those of the standard library give way to
// the other number where the NaN is the second.

#include "base/types.hpp"

namespace nuv {

template <RealScalar R>
constexpr R larger_or_nan(R x, R y) {
  return x < y || y != y ? y : x;
}

template <RealScalar R>
constexpr R smaller_or_nan(R x, R y) {
  return y < x || y != y ? y : x;
}

}  // namespace nuv
