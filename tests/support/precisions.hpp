#pragma once

// What typed tests over the four precisions share.

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "base/types.hpp"

namespace nuv::test {

/// All four, or the double ones alone where the build says that the others would show nothing new.
#if defined(NUV_TEST_DOUBLE_ALONE)
using Precisions = testing::Types<double, std::complex<double>>;
#else
using Precisions = testing::Types<float, double, std::complex<float>, std::complex<double>>;
#endif

/// Names the instances of a typed test by the letter of the precision.
struct PrecisionLetter {
  template <class T>
  static std::string GetName(int) {
    return {precision_letter<T>};
  }
};

template <Scalar T>
inline constexpr Real<T> epsilon = std::numeric_limits<Real<T>>::epsilon();

/// The name under which a routine reports its bad arguments.
template <Scalar T>
std::string reported_name(const std::string& operation) {
  std::string name = precision_letter<T> + operation;
  name.resize(6, ' ');
  return name;
}

}  // namespace nuv::test
