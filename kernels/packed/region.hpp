#pragma once

// Products of which a triangle is written.

#include <algorithm>

#include "base/matrix.hpp"
#include "kernels/packed/tile.hpp"

namespace nuv::packed::inline NUV_ISA {

/// The part of C that a product writes.
enum class Region { all, lower, upper };

/// True if no element of the tile at (i, j), counted from zero, lies in the region.
inline bool is_outside(Region region, Int i, Int j, int rows, int columns) {
  return (region == Region::lower && i + rows - 1 < j) || (region == Region::upper && i > j + columns - 1);
}

inline bool crosses_diagonal(Region region, Int i, Int j, int rows, int columns) {
  return (region == Region::lower && i < j + columns - 1) || (region == Region::upper && i + rows - 1 > j);
}

/// A tile of which only the elements of the region are written: in a copy, by the same arithmetic.
template <Scalar T>
[[gnu::noinline]] void multiply_tile_in_region(Region region, Int i0, Int j0, Int depth, const Real<T>* a,
                                               const Real<T>* b, Update<T> update, Matrix<T> C, int rows, int columns) {
  T copy[Tile<T>::rows * Tile<T>::columns] = {};
  const auto each_part_inside = [&](auto visit) {
    for (int j = 0; j < columns; ++j) {
      const Int diagonal = j0 + j - i0;
      const int first = region == Region::lower ? static_cast<int>(std::clamp<Int>(diagonal, 0, rows)) : 0;
      const int last = region == Region::lower ? rows : static_cast<int>(std::clamp<Int>(diagonal + 1, 0, rows));
      visit(copy + j * Tile<T>::rows + first, C.at(i0 + first + 1, j0 + j + 1), last - first);
    }
  };
  if (!update.writes_only()) each_part_inside([](T* mine, const T* theirs, int n) { std::copy_n(theirs, n, mine); });
  multiply_tile_of_height<T>(depth, a, b, update, copy, Tile<T>::rows, rows, columns);
  each_part_inside([](const T* mine, T* theirs, int n) { std::copy_n(mine, n, theirs); });
}

}  // namespace nuv::packed::inline NUV_ISA
