#include "symmetric/chased_reflectors.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/hermitian.hpp"

namespace nuv {

template <Scalar T>
void xlaeh2(Int m, Int n, Int kd, const T* tau, const T* v, Int ldv, T* z, Int ldz, T* work) {
  if (n < 2) return;
  const Matrix V{v, ldv};
  const Matrix Z{z, ldz};
  const Vector W{work, 1};
  for (Int start = (n - 2) / kd * kd + 1; start >= 1; start -= kd) {
    for (Int chase = 1; chase <= std::min(n - 1, kd); ++chase) {
      const Int t = start + chase - 1, length = std::min(n - t + 1, kd);
      if (length < 2) break;
      const Vector<const T> vt = column(V, t, chase);
      blas::gemv('N', m, length, T(1), block(Z, 1, t), vt, T(0), W);
      add_outer_product<T>(m, length, negated(tau[t - 1]), W, vt, block(Z, 1, t));
    }
  }
}

}  // namespace nuv

#include "symmetric/chased_reflectors.entries.inc"
