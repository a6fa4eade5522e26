#include "kernels/level1/multiplier.hpp"
#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

template <Scalar T, Scalar S>
[[gnu::always_inline]] inline void rotate(Int n, T* x, Int incx, T* y, Int incy, Real<T> c, S s) {
  const Multiplier<Real<T>> by_c(c);
  const Multiplier<S> by_s(s), by_minus_conj_s(-conjugate(s));
  for_each_pair(n, x, incx, y, incy, [=](auto& xi, auto& yi) {
    const auto rotated = by_s.times_plus(yi, by_c.times(xi));
    yi = by_minus_conj_s.times_plus(xi, by_c.times(yi));
    xi = rotated;
  });
}

}  // namespace

/// A plane rotation of n pairs: x := c x + s y, y := c y - conj(s) x.
template <Scalar T>
[[gnu::always_inline]] inline void rot(Int n, T* x, Int incx, T* y, Int incy, Real<T> c, T s) {
  rotate(n, x, incx, y, incy, c, s);
}

/// Complex pairs with a real s.
template <ComplexScalar T>
[[gnu::always_inline]] inline void rot(Int n, T* x, Int incx, T* y, Int incy, Real<T> c, Real<T> s) {
  rotate(n, x, incx, y, incy, c, s);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/rot.entries.inc"
