#pragma once

// A tridiagonal eigenproblem as the routines take it.

#include <algorithm>

#include "support/guarded.hpp"
#include "symmetric/tridiagonal_matrices.hpp"

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
  GuardedMatrix<T> Z(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) Z(i, j) = T(i == j);
  }
  Z.seal();
  return Z;
}

template <RealScalar R>
bool is_ascending(const GuardedVector<R>& x) {
  return std::is_sorted(x.data(), x.data() + x.size());
}

template <RealScalar R>
bool is_zero(const GuardedVector<R>& x) {
  return std::all_of(x.data(), x.data() + x.size(), [](R element) { return element == 0; });
}

}  // namespace nuv::test
