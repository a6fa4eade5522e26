#include "environment/complex_symmetric.hpp"

#include <algorithm>
#include <utility>

#include "base/quotient.hpp"
#include "environment/service_math.hpp"

namespace nuv {
namespace {

/// sqrt(x^2 + y^2), formed from ratios to the larger magnitude, which is not zero.
template <ComplexScalar T>
T root_of_squares(T x, T y) {
  const Real<T> scale = std::max(modulus(x), modulus(y));
  const T xs = x / scale, ys = y / scale;
  return scale * principal_root(xs * xs + ys * ys);
}

}  // namespace

template <ComplexScalar T>
void laesy(T a, T b, T c, T& rt1, T& rt2, T& evscal, T& cs1, T& sn1) {
  using R = Real<T>;
  if (modulus(b) == 0) {
    const bool exchange = modulus(a) < modulus(c);
    rt1 = exchange ? c : a;
    rt2 = exchange ? a : c;
    cs1 = exchange ? 0 : 1;
    sn1 = exchange ? 1 : 0;
    evscal = 1;
    return;
  }

  const T mean = (a + c) * R(0.5), difference = (a - c) * R(0.5);
  T distance = root_of_squares(difference, b);
  rt1 = mean + distance;
  rt2 = mean - distance;
  if (modulus(rt1) < modulus(rt2)) {
    std::swap(rt1, rt2);
    distance = negated(distance);
  }

  // The product of sum and difference is b^2: of the two quotients for (rt1 - a) / b one does not cancel.
  const T plus = distance + difference, minus = distance - difference;
  const T ratio = modulus(plus) > modulus(minus) ? quotient(b, plus) : quotient(minus, b);
  const T length = root_of_squares(T(1), ratio);
  const bool scales = modulus(length) >= R(0.1);
  evscal = scales ? quotient(T(1), length) : T(0);
  cs1 = scales ? evscal : T(1);
  sn1 = scales ? ratio * evscal : ratio;
}

template <ComplexScalar T>
void lacrt(Int n, T* cx, Int incx, T* cy, Int incy, T c, T s) {
  std::ptrdiff_t x = incx < 0 ? std::ptrdiff_t{1 - n} * incx : 0, y = incy < 0 ? std::ptrdiff_t{1 - n} * incy : 0;
  for (Int i = 0; i < n; ++i, x += incx, y += incy) {
    const T old = cx[x];
    cx[x] = c * old + s * cy[y];
    cy[y] = c * cy[y] - s * old;
  }
}

}  // namespace nuv

#include "environment/complex_symmetric.entries.inc"
