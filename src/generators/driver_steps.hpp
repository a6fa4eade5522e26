#pragma once

// What the drivers that make random matrices have in common: reading their options and preparing seed and diagonal.

#include <cstdlib>

#include "base/types.hpp"
#include "blas.hpp"
#include "environment/norms_general.hpp"
#include "frame/option_matching.hpp"
#include "generators/spectra.hpp"

namespace nuv {

/// Index of an option among the letters that a driver takes, counted from zero; -1 for any other letter.
template <std::size_t Size>
constexpr Int index_of(char option, const char (&letters)[Size]) {
  for (std::size_t i = 0; i + 1 < Size; ++i) {
    if (same_letter(option, letters[i])) return static_cast<Int>(i);
  }
  return -1;
}

/// Number of the distribution that a driver's letter names; 0 for none.
constexpr Int distribution(char dist) {
  return index_of(dist, "USN") + 1;
}

/// For 'F' and 'T' 0 and 1; -1 for any other letter.
constexpr Int truth(char option) {
  return index_of(option, "FT");
}

constexpr bool is_mode(Int mode, Int last) {
  return mode >= -last && mode <= last;
}

/// Whether a condition suits the mode it goes with. A NaN does not.
template <RealScalar R>
constexpr bool is_condition(Int mode, R cond) {
  return !mode_uses_cond(mode) || cond >= 1;
}

/// Makes any four words a state of the random numbers.
inline void normalise_seed(Int* iseed) {
  for (Int i = 0; i < 4; ++i) iseed[i] = std::abs(iseed[i] % 4096);
  iseed[3] |= 1;
}

/// Fills d as latm1 does; where it is spread by cond its largest element becomes one of magnitude |dmax|.
///
/// returns 0; 1: latm1 refused its arguments; 2: d is zero, so that it can't be scaled
template <Scalar T>
Int fill_diagonal(Int mode, Real<T> cond, T dmax, Int irsign, Int idist, Int* iseed, T* d, Int n) {
  Int info = 0;
  latm1(mode, cond, irsign, idist, iseed, d, n, info);
  if (info != 0) return 1;
  if (!mode_uses_cond(mode)) return 0;
  const Real<T> largest = lange<T>('M', n, 1, d, n, nullptr);
  if (largest == 0) return dmax == T(0) ? 0 : 2;
  blas::scal(n, dmax / largest, Vector<T>(d, 1));
  return 0;
}

}  // namespace nuv
