#pragma once

// Sums of squares and norms of few numbers, formed from ratios to the largest so that no square overflows.

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

#include "base/types.hpp"

namespace nuv {

/// Adds the squares of n numbers to a sum that is held as scale^2 sumsq; a complex number counts as its two parts.
///
/// x       n elements, from the first one on backwards where incx is negative; incx is not zero
/// scale   becomes the largest magnitude met, if that is larger
/// sumsq   becomes NaN if an element is; n < 1 and zeros change nothing
template <Scalar T>
void lassq(Int n, const T* x, Int incx, Real<T>& scale, Real<T>& sumsq) {
  using R = Real<T>;
  if (n < 1) return;
  R largest = scale, sum = sumsq;
  const auto add = [&](R part) {
    if (part == 0) return;
    const R a = std::abs(part);
    if (a > largest) {
      const R ratio = largest / a;
      sum = 1 + sum * (ratio * ratio);
      largest = a;
    } else {
      const R ratio = a / largest;
      sum += ratio * ratio;
    }
  };
  for (Int i = 0; i < n; ++i) {
    const T element = x[std::ptrdiff_t{i} * incx];
    add(std::real(element));
    if constexpr (ComplexScalar<T>) add(std::imag(element));
  }
  scale = largest;
  sumsq = sum;
}

/// sqrt(x^2 + y^2)
template <RealScalar R>
R lapy2(R x, R y) {
  R w = std::abs(x), z = std::abs(y);
  if (w < z) std::swap(w, z);
  if (z == 0) return w;
  const R ratio = z / w;
  return w * std::sqrt(1 + ratio * ratio);
}

/// sqrt(x^2 + y^2 + z^2)
template <RealScalar R>
R lapy3(R x, R y, R z) {
  x = std::abs(x);
  y = std::abs(y);
  z = std::abs(z);
  const R w = std::max(std::max(x, y), z);
  if (w == 0) return x + y + z;  // zero, or the NaN that the comparisons passed over
  const R rx = x / w, ry = y / w, rz = z / w;
  return w * std::sqrt(rx * rx + ry * ry + rz * rz);
}

}  // namespace nuv
