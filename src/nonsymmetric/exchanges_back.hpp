#pragma once

// What balancing has exchanged, put back in vectors.

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/service_math.hpp"

namespace nuv {

/// Exchanges rows of V, of m columns, with those that scale(1) ... scale(ilo - 1) and scale(ihi + 1) ... scale(n) name,
/// the last exchange of balancing first.
template <Scalar T>
void exchange_rows_back(Int n, Int ilo, Int ihi, const Real<T>* scale, Int m, Matrix<T> V) {
  const auto exchange = [&](Int i) {
    const Int k = truncated(scale[i - 1]);
    if (k != i) blas::swap(m, row(V, i, 1), row(V, k, 1));
  };
  for (Int i = ilo - 1; i >= 1; --i) exchange(i);
  for (Int i = ihi + 1; i <= n; ++i) exchange(i);
}

}  // namespace nuv
