#pragma once

// Division, of complex numbers above all: no quotient of the libraries is left to the compiler's runtime.

#include <cmath>

#include "base/types.hpp"

namespace nuv {

/// x / y
template <RealScalar T>
constexpr T quotient(T x, T y) {
  return x / y;
}

/// (a + ib) / (c + id) by the ratio of the divisor's parts, the larger one below, so that no square of a part is formed
/// (R. L. Smith, Algorithm 116, CACM 5, 1962). Nothing else is scaled.
template <RealScalar R>
std::complex<R> quotient(std::complex<R> x, std::complex<R> y) {
  const R a = x.real(), b = x.imag(), c = y.real(), d = y.imag();
  if (std::abs(c) > std::abs(d)) {
    const R e = d / c;
    const R f = c + d * e;
    return {(a + b * e) / f, (b - a * e) / f};
  }
  const R e = c / d;
  const R f = d + c * e;
  return {(b + a * e) / f, (b * e - a) / f};
}

}  // namespace nuv
