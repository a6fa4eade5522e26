#pragma once

// The order of eigenvalues, and of what belongs to them. Sorted by selection, they move but rarely.

#include <functional>
#include <utility>

#include "base/matrix.hpp"
#include "blas.hpp"

namespace nuv {

/// Sorts m numbers into ascending order, or into another one that `before` tells. Calls exchange(i, j) for what else
/// belongs to the numbers i and j, from one, j <= i, with all places before j final.
template <RealScalar R, class Exchange, class Before = std::less<>>
void sort_by_selection(Int m, R* w, Exchange exchange, Before before = {}) {
  for (Int j = 1; j < m; ++j) {
    Int least = j;
    for (Int i = j + 1; i <= m; ++i) {
      if (before(w[i - 1], w[least - 1])) least = i;
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
