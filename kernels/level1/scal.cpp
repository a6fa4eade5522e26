#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// x := alpha x for n elements; nothing if n or incx is below 1.
template <Scalar T>
void scal(Int n, T alpha, T* x, Int incx) {
  if (n < 1 || incx < 1) return;
  for (Int i = 0; i < n; ++i) element(x, i, incx) *= alpha;
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/scal.entries.inc"
