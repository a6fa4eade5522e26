#include <utility>

#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Exchanges n elements of x and y.
template <Scalar T>
[[gnu::always_inline]] inline void swap(Int n, T* x, Int incx, T* y, Int incy) {
  for_each_pair(n, x, incx, y, incy, [](auto& xi, auto& yi) { std::swap(xi, yi); });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/swap.entries.inc"
