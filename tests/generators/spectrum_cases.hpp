#pragma once

// What tests of matrices with a given spectrum share: states of the random numbers, and the spectrum that a matrix has.

#include <algorithm>
#include <array>
#include <vector>

#include "routines.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {

using Seed = std::array<Int, 4>;
inline constexpr Seed first_seed = {1998, 56, 2013, 1979};

/// The state after a number of draws from (0, 1).
template <Scalar T>
Seed after_draws(Seed seed, Int count) {
  for (Int k = 0; k < count; ++k) routine_call::laran<Real<T>>(seed.data());
  return seed;
}

/// In decreasing order.
template <Scalar T>
using Spectrum = std::vector<WideReal<T>>;

template <Scalar T>
Spectrum<T> in_decreasing_order(Spectrum<T> spectrum) {
  std::sort(spectrum.begin(), spectrum.end(), std::greater<>());
  return spectrum;
}

/// Those that a matrix was asked to have; count numbers.
template <Scalar T>
Spectrum<T> requested_eigenvalues(const Real<T>* d, Int count) {
  return in_decreasing_order<T>(Spectrum<T>(d, d + count));
}

template <Scalar T>
Spectrum<T> requested_singular_values(const Real<T>* d, Int count) {
  Spectrum<T> values(d, d + count);
  for (auto& value : values) value = std::abs(value);
  return in_decreasing_order<T>(values);
}

template <Scalar T>
Spectrum<T> eigenvalues(const WideMatrix<T>& A) {
  const WideVector<T> values = wide_eigenvalues<T>(A);
  return in_decreasing_order<T>(Spectrum<T>(values.data(), values.data() + values.size()));
}

template <Scalar T>
Spectrum<T> singular_values(const WideMatrix<T>& A) {
  const WideVector<T> values = wide_singular_values<T>(A);
  return Spectrum<T>(values.data(), values.data() + values.size());
}

/// The largest difference of two spectra in units of the larger size, n, of the matrix, eps and the largest magnitude
/// of what was requested. Each of the some n reflections, or n^2 rotations in sweeps of n, adds an error of eps or so.
template <Scalar T>
double spectrum_error(const Spectrum<T>& spectrum, const Spectrum<T>& requested, Int n) {
  if (spectrum.size() != requested.size()) return HUGE_VAL;
  WideReal<T> difference = 0, largest = 0;
  for (std::size_t i = 0; i < spectrum.size(); ++i) {
    if (!(std::abs(spectrum[i] - requested[i]) <= difference)) difference = std::abs(spectrum[i] - requested[i]);
    largest = std::max(largest, std::abs(requested[i]));
  }
  return difference == 0 ? 0 : double(difference / (largest * WideReal<T>(n) * WideReal<T>(epsilon<T>)));
}

inline constexpr double spectrum_threshold = 100;

}  // namespace nuv::test
