#pragma once

// The order of eigenvalues, and of what belongs to them. Sorted by selection, they move but rarely.

#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"

namespace nuv {

/// Sorts m numbers into ascending order. Calls exchange(i, j) for what else belongs to the numbers i and j, from one.
template <RealScalar R, class Exchange>
void sort_by_selection(Int m, R* w, Exchange exchange) {
  for (Int j = 1; j < m; ++j) {
    Int least = j;
    for (Int i = j + 1; i <= m; ++i) {
      if (w[i - 1] < w[least - 1]) least = i;
    }
    if (least == j) continue;
    std::swap(w[least - 1], w[j - 1]);
    exchange(least, j);
  }
}

/// The same for m eigenvalues and their vectors, the columns of Z, n by m.
template <Scalar T, class Exchange>
void sort_pairs(Int n, Int m, Real<T>* w, Matrix<T> Z, Exchange exchange) {
  sort_by_selection(m, w, [&](Int i, Int j) {
    blas::swap(n, column(Z, 1, i), column(Z, 1, j));
    exchange(i, j);
  });
}

}  // namespace nuv
