#pragma once

// Sizes, increments and factors for the tests of the kernels and of level 3, whose published contracts are the same in
// all precisions.

#include <vector>

#include "support/options.hpp"
#include "support/precisions.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {

/// Every remainder of the widths that vector code may take, and lengths of several widths.
inline std::vector<Int> kernel_sizes() {
  std::vector<Int> all = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 33, 70};
  if (is_sanitized) all.pop_back();
  return all;
}

/// Increments, of which a case takes some.
inline constexpr Int increments[] = {1, -1, 2, -2, 7, -7};

/// A factor with an imaginary part where the precision has one.
template <Scalar T>
T factor_of(double re, double im) {
  if constexpr (ComplexScalar<T>) {
    return {Real<T>(re), Real<T>(im)};
  } else {
    return T(re);
  }
}

template <Scalar T>
std::vector<T> alphas() {
  return {factor_of<T>(0.75, -0.5), T(1), T(0)};
}

template <Scalar T>
std::vector<T> betas() {
  return {T(0), factor_of<T>(-0.5, 1.25), T(1), T(-1)};
}

/// Threshold for Sum::error_of.
inline constexpr double kernel_threshold = 10;

}  // namespace nuv::test
