#pragma once

// What stands in for the mathematical intrinsics of a Fortran compiler, each with rules of its own for zeros,
// infinities and NaN.

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "base/types.hpp"

namespace nuv {

/// The magnitude of a with the sign of b, found by comparison: -0 and every NaN count as positive in b, and a zero a
/// keeps its own sign.
template <RealScalar R>
constexpr R sign(R a, R b) {
  if (b < 0) return a <= 0 ? a : negated(a);
  return a < 0 ? negated(a) : a;
}

/// x without its fraction. What an Int can't hold, and NaN, gives the least Int, as the processor's conversion does.
template <RealScalar R>
constexpr Int truncated(R x) {
  constexpr R limit = 2147483648;
  return x > -limit && x < limit ? static_cast<Int>(x) : std::numeric_limits<Int>::min();
}

/// x to the power n, by squaring. Any x to the power 0 is 1. The least Int has no opposite and is not for n: it never
/// comes to an end.
template <RealScalar R>
constexpr R power(R x, Int n) {
  if (n < 0) {
    x = 1 / x;
    n = static_cast<Int>(-static_cast<std::uint32_t>(n));
  }
  R r = 1;
  while (n != 0) {
    if (n % 2 != 0) {
      r *= x;
      n -= 1;
    } else {
      x *= x;
      n /= 2;
    }
  }
  return r;
}

namespace detail {

/// The upper half of a double without its sign: the exponent in eleven bits, then twenty of the mantissa. Magnitudes
/// are in the order of these words.
inline std::uint32_t high_word(double x) {
  return static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(x) >> 32) & 0x7FFFFFFF;
}

/// Bounds between which sums of squares are formed as they are: about 2^-510, and 2^510.
inline constexpr std::uint32_t tiny_square = 0x20100000, huge_square = 0x5FD00000;

/// How far exponents may lie apart, 58, before the smaller number counts by its magnitude alone.
inline constexpr std::uint32_t negligible = 0x3A00000;

double hypotenuse_beyond_squares(double a, double b);

}  // namespace detail

/// sqrt(a^2 + b^2) from the squares themselves, scaled where they would leave the range. An infinity outweighs a NaN. A
/// result above the largest double does not come out as infinity: it has the exponent of an infinity beside its own
/// mantissa.
inline double hypotenuse(double a, double b) {
  const std::uint32_t ha = detail::high_word(a), hb = detail::high_word(b);
  const auto [low, high] = std::minmax(ha, hb);
  if (low > detail::tiny_square && high < detail::huge_square && high - low <= detail::negligible) {
    return std::sqrt(a * a + b * b);
  }
  return detail::hypotenuse_beyond_squares(a, b);
}

inline double modulus(std::complex<double> z) {
  return hypotenuse(z.real(), z.imag());
}

/// Rounded once: the squares of floats fit a double.
inline float modulus(std::complex<float> z) {
  return static_cast<float>(hypotenuse(z.real(), z.imag()));
}

/// The square root in the right half-plane. On the cut, the negative real axis, it lies on the positive imaginary axis
/// whatever the sign of the imaginary zero.
std::complex<double> principal_root(std::complex<double> z);

/// The same, computed in double precision.
std::complex<float> principal_root(std::complex<float> z);

}  // namespace nuv
