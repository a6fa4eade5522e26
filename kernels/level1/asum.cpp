#include "kernels/level1/magnitude.hpp"
#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Sum of |re| + |im| over n elements; 0 if n or incx is below 1.
template <Scalar T>
[[gnu::always_inline]] inline Real<T> asum(Int n, const T* x, Int incx) {
  using R = Real<T>;
  using V = simd::Simd<R>;
  if (n < 1 || incx < 1) return 0;
  if (incx == 1) {
    const R* const reals = as_reals(x);
    return simd::sum_of_lanes<R>(sum_over_registers<V, simd::lanes<R>, sum_chains>(
        real_count<T>(n), [=](V& sum, std::ptrdiff_t i, auto part) { sum += simd::abs<R>(load(reals + i, part)); }));
  }
  return sum_over_elements<R>(n, [=](R& sum, Int i) { sum += magnitude(element(x, i, incx)); });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/asum.entries.inc"
