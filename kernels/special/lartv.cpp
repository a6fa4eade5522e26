#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// A plane rotation of its own for each of n pairs: x_i := c_i x_i + s_i y_i, y_i := c_i y_i - conj(s_i) x_i. The
/// increments are positive; incc is that of c and of s.
template <Scalar T>
void lartv(Int n, T* x, Int incx, T* y, Int incy, const Real<T>* c, const T* s, Int incc) {
  for (Int i = 0; i < n; ++i) {
    T& xi = element(x, i, incx);
    T& yi = element(y, i, incy);
    const Real<T> ci = element(c, i, incc);
    const T si = element(s, i, incc);
    const T rotated = ci * xi + si * yi;
    yi = ci * yi - conjugate(si) * xi;
    xi = rotated;
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/lartv.entries.inc"
