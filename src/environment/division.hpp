#pragma once

// Complex division under the names of the exported routines; quotient() does the work.

#include "base/quotient.hpp"

namespace nuv {

/// p + i q = (a + i b) / (c + i d)
template <RealScalar R>
void ladiv(R a, R b, R c, R d, R& p, R& q) {
  const std::complex<R> ratio = quotient(std::complex<R>(a, b), std::complex<R>(c, d));
  p = ratio.real();
  q = ratio.imag();
}

/// x / y
template <ComplexScalar T>
T ladiv(T x, T y) {
  return quotient(x, y);
}

}  // namespace nuv
