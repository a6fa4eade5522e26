#include "base/streaming.hpp"
#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// y := x for n elements.
template <Scalar T>
[[gnu::always_inline]] inline void copy(Int n, const T* x, Int incx, T* y, Int incy) {
  if (incx == 1 && incy == 1 && is_streamed<T>(n, 1)) {
    stream_copy(x, n, y);
    return finish_streaming();
  }
  for_each_pair(n, x, incx, y, incy, [](const auto& xi, auto& yi) { yi = xi; });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/copy.entries.inc"
