#pragma once

// The four precisions as the commands name them.

#include <complex>
#include <concepts>
#include <string_view>

#include "base/types.hpp"

namespace nuv::tools {

/// A precision in words: "complex single precision".
template <Scalar T>
constexpr std::string_view precision_words() {
  constexpr bool is_single = std::same_as<Real<T>, float>;
  if constexpr (ComplexScalar<T>) return is_single ? "complex single precision" : "complex double precision";
  return is_single ? "single precision" : "double precision";
}

/// Calls work(T()) with a number of the precision of that letter.
template <class Work>
void in_precision(char letter, Work work) {
  switch (letter) {
    case 's':
      return work(float());
    case 'd':
      return work(double());
    case 'c':
      return work(std::complex<float>());
    default:
      return work(std::complex<double>());
  }
}

}  // namespace nuv::tools
