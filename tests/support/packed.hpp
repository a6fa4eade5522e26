#pragma once

// Triangles in packed storage.

#include "support/guarded.hpp"

namespace nuv::test {

/// Runs visit(i, j, k) for the elements (i, j) of a triangle in the order in which packed storage has them, k from 1
/// on.
template <class Visit>
void for_each_packed(bool upper, Int n, Visit visit) {
  Int k = 0;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = upper ? 1 : j; i <= (upper ? j : n); ++i) visit(i, j, ++k);
  }
}

constexpr Int packed_size(Int n) {
  return n * (n + 1) / 2;
}

/// What A has in a triangle, packed.
template <class T>
GuardedVector<T> packed(bool upper, const GuardedMatrix<T>& A) {
  GuardedVector<T> ap(packed_size(A.rows()));
  for_each_packed(upper, A.rows(), [&](Int i, Int j, Int k) { ap(k) = A(i, j); });
  ap.seal();
  return ap;
}

/// The full matrix whose triangle is this; its other triangle holds guards.
template <class T>
GuardedMatrix<T> unpacked(bool upper, Int n, const GuardedVector<T>& ap) {
  GuardedMatrix<T> A(n, n, std::max(1, n));
  for_each_packed(upper, n, [&](Int i, Int j, Int k) { A(i, j) = ap(k); });
  A.seal();
  return A;
}

}  // namespace nuv::test
