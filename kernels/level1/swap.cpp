#include <utility>

#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Exchanges n elements of x and y.
template <Scalar T>
void swap(Int n, T* x, Int incx, T* y, Int incy) {
  if (n < 1) return;
  T* const px = first_element(x, n, incx);
  T* const py = first_element(y, n, incy);
  for (Int i = 0; i < n; ++i) std::swap(element(px, i, incx), element(py, i, incy));
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/swap.entries.inc"
