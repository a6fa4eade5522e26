#pragma once

// Band matrices as their routines see them.
//
// A column of a band matrix stands in a column of ab, its diagonal element in the same row of each. A leading dimension
// shorter by one turns the diagonals into rows: the view A(i, j) is then the element (i, j) of the matrix itself, as
// long as it lies in the band, and what lies around a square in the band looks like a dense matrix.

#include <type_traits>

#include "base/matrix.hpp"

namespace nuv {

/// A view of the matrix whose diagonal stands in row diagonal_row of ab.
template <class T>
Matrix<T> band_view(T* ab, Int ldab, Int diagonal_row) {
  return {ab + (diagonal_row - 1), ldab - 1};
}

/// Diagonals beside the main one up to which calls of kernels, a column at a time, cost more than the work itself.
inline constexpr Int narrow_band = 8;

/// Calls work with min(count, narrow_band) as a constant, so that its loops are unrolled.
template <int limit = narrow_band, class Work>
void with_constant(Int count, Work work) {
  if constexpr (limit > 0) {
    if (count < limit) return with_constant<limit - 1>(count, work);
  }
  work(std::integral_constant<int, limit>());
}

}  // namespace nuv
