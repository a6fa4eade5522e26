#include "kernels/level1/multiplier.hpp"
#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// y := alpha x + y for n elements; x is not read if alpha is zero.
template <Scalar T>
[[gnu::always_inline]] inline void axpy(Int n, T alpha, const T* x, Int incx, T* y, Int incy) {
  if (alpha == T(0)) return;
  const Multiplier<T> by_alpha(alpha);
  for_each_pair(n, x, incx, y, incy, [=](const auto& xi, auto& yi) { yi = by_alpha.times_plus(xi, yi); });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/axpy.entries.inc"
