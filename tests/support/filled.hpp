#pragma once

// Guarded arrays that hold given numbers.

#include <algorithm>
#include <vector>

#include "support/guarded.hpp"

namespace nuv::test {

/// A vector that holds some numbers.
template <RealScalar R>
GuardedVector<R> guarded(const std::vector<R>& numbers) {
  GuardedVector<R> x(Int(numbers.size()));
  std::copy(numbers.begin(), numbers.end(), x.data());
  x.seal();
  return x;
}

template <Scalar T>
GuardedMatrix<T> identity(Int n, Int ld) {
  GuardedMatrix<T> I(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) I(i, j) = T(i == j);
  }
  I.seal();
  return I;
}

}  // namespace nuv::test
