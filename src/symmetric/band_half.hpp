#pragma once

// The lower half of a Hermitian band matrix, whichever is stored, from either end: what works on it has one form for
// four.

#include "base/matrix.hpp"

namespace nuv {

/// The same elements from the other end, if the vector goes backwards: kernels want them in the order of memory.
template <class T>
Vector<T> forward(Int count, Vector<T> x) {
  if (x.inc >= 0 || count <= 0) return x;
  return {x.data + std::ptrdiff_t{count - 1} * x.inc, -x.inc};
}

/// Of A where the lower triangle is stored, of A^T, which is conj(A), where the upper one is.
template <class T>
struct BandHalf {
  T* first;    ///< element (1, 1)
  Int down;    ///< from an element to the one below it
  Int across;  ///< and to the one on its right

  /// kd + 1 rows of ab, the main diagonal in the last (upper) or the first.
  static BandHalf of(bool upper, Int kd, T* ab, Int ldab) {
    return {upper ? ab + kd : ab, upper ? ldab - 1 : 1, upper ? 1 : ldab - 1};
  }

  /// That of the matrix of order n with its rows and columns in the opposite order, conjugated once more.
  BandHalf reversed(Int n) const { return {at(n, n), -across, -down}; }

  /// Address of element (i, j), j <= i.
  T* at(Int i, Int j) const { return first + (i - std::ptrdiff_t{1}) * down + (j - std::ptrdiff_t{1}) * across; }
  T& operator()(Int i, Int j) const { return *at(i, j); }

  /// The row from element (i, j) on, and the column.
  Vector<T> row(Int i, Int j) const { return {at(i, j), across}; }
  Vector<T> column(Int i, Int j) const { return {at(i, j), down}; }
};

}  // namespace nuv
