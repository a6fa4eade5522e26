#pragma once

// Reflectors of at most ten elements, which have code of their own for each number.
//
// The functions are static: they are compiled for several instruction sets, whose code must not meet in the linker.

#include <type_traits>

#include "base/matrix.hpp"

namespace nuv {

inline constexpr int longest_short_reflector = 10;

/// Calls visit(std::integral_constant<int, order>) for 1 <= order <= longest_short_reflector.
template <int order = 1, class Visit>
static void with_constant(Int n, Visit visit) {
  if (n == order) return visit(std::integral_constant<int, order>());
  if constexpr (order < longest_short_reflector) with_constant<order + 1>(n, visit);
}

/// C := C - tau v (v^H C), column by column, for a v as long as a column.
template <int order, Scalar T>
static void apply_short_from_left(Int n, const T* v, T tau, T* c, Int ldc) {
  T weight[order], multiple[order];
#pragma GCC unroll 10
  for (int i = 0; i < order; ++i) {
    weight[i] = conjugate(v[i]);
    multiple[i] = tau * v[i];
  }
  for (Int j = 0; j < n; ++j) {
    T* const column = c + std::ptrdiff_t{j} * ldc;
    T sum = weight[0] * column[0];
#pragma GCC unroll 10
    for (int i = 1; i < order; ++i) sum += weight[i] * column[i];
#pragma GCC unroll 10
    for (int i = 0; i < order; ++i) column[i] -= sum * multiple[i];
  }
}

}  // namespace nuv
