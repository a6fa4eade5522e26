#include <cmath>

#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

template <RealScalar T>
T magnitude(T x) {
  return std::abs(x);
}

template <RealScalar R>
R magnitude(std::complex<R> x) {
  return std::abs(x.real()) + std::abs(x.imag());
}

}  // namespace

/// Position, from one, of the first element of largest |re| + |im|; 0 if n or incx is below 1.
template <Scalar T>
Int iamax(Int n, const T* x, Int incx) {
  if (n < 1 || incx < 1) return 0;
  Int best = 1;
  Real<T> largest = magnitude(x[0]);
  for (Int i = 1; i < n; ++i) {
    const Real<T> candidate = magnitude(element(x, i, incx));
    if (candidate > largest) {
      best = i + 1;
      largest = candidate;
    }
  }
  return best;
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/iamax.entries.inc"
