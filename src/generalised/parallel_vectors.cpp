#include "generalised/parallel_vectors.hpp"

#include <utility>

#include "environment/hermitian.hpp"
#include "environment/magnitudes.hpp"
#include "environment/two_by_two.hpp"
#include "orthogonal/householder.hpp"

namespace nuv {

template <Scalar T>
void lapll(Int n, T* x, Int incx, T* y, Int incy, Real<T>& ssmin) {
  ssmin = 0;
  if (n <= 1) return;
  // The reflector that leaves x one element is applied to y; another one leaves y two.
  const Vector<const T> v{x, incx};
  T* const y2 = y + incy;
  T tau;
  larfg(n, x[0], x + incx, incx, tau);
  const T r11 = std::exchange(x[0], T(1));
  blas::axpy(n, negated(conjugate(tau)) * inner_product<T>(true, n, v, {y, incy}), v, {y, incy});
  larfg(n - 1, *y2, n > 2 ? y2 + incy : y2, incy, tau);
  Real<T> ssmax;
  las2(magnitude(r11), magnitude(y[0]), magnitude(*y2), ssmin, ssmax);
}

}  // namespace nuv

#include "generalised/parallel_vectors.entries.inc"
