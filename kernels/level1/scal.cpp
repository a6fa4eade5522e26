#include "kernels/level1/multiplier.hpp"
#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

template <Scalar T, Scalar Factor>
[[gnu::always_inline]] inline void scale(Int n, Factor alpha, T* x, Int incx) {
  if (n < 1 || incx < 1 || alpha == Factor(1)) return;
  const Multiplier<Factor> by_alpha(alpha);
  for_each_element(n, x, incx, [=](auto& xi) { xi = by_alpha.times(xi); });
}

}  // namespace

/// x := alpha x for n elements; nothing if n or incx is below 1.
template <Scalar T>
[[gnu::always_inline]] inline void scal(Int n, T alpha, T* x, Int incx) {
  scale(n, alpha, x, incx);
}

/// A complex x by a real alpha.
template <ComplexScalar T>
[[gnu::always_inline]] inline void scal(Int n, Real<T> alpha, T* x, Int incx) {
  scale(n, alpha, x, incx);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/scal.entries.inc"
