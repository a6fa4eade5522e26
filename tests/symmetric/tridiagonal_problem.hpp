#pragma once

// A tridiagonal eigenproblem as the routines take it.

#include <algorithm>

#include "support/filled.hpp"
#include "symmetric/tridiagonal_matrices.hpp"

namespace nuv::test {

template <RealScalar R>
bool is_ascending(const GuardedVector<R>& x) {
  return std::is_sorted(x.data(), x.data() + x.size());
}

template <RealScalar R>
bool is_zero(const GuardedVector<R>& x) {
  return std::all_of(x.data(), x.data() + x.size(), [](R element) { return element == 0; });
}

}  // namespace nuv::test
