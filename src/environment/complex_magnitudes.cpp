#include "environment/complex_magnitudes.hpp"

#include "environment/magnitudes.hpp"

namespace nuv {

template <ComplexScalar T>
Int imax1(Int n, const T* x, Int incx) {
  if (n < 1) return 0;
  Int best = 1;
  Real<T> largest = magnitude(x[0]);
  for (Int i = 2; i <= n; ++i) {
    const Real<T> a = magnitude(x[std::ptrdiff_t{i - 1} * incx]);
    if (!(largest >= a)) {
      best = i;
      largest = a;
    }
  }
  return best;
}

template <ComplexScalar T>
Real<T> sum1(Int n, const T* x, Int incx) {
  Real<T> sum = 0;
  for (Int i = 0; i < n; ++i) sum += magnitude(x[std::ptrdiff_t{i} * incx]);
  return sum;
}

}  // namespace nuv

#include "environment/complex_magnitudes.entries.inc"
