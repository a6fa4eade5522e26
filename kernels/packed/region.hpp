#pragma once

// Products of which a triangle is written.

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
  const auto each_inside = [&](auto visit) {
    for (int j = 0; j < columns; ++j) {
      for (int i = 0; i < rows; ++i) {
        if (region == Region::lower ? i0 + i >= j0 + j : i0 + i <= j0 + j) {
          visit(copy[i + j * Tile<T>::rows], C.data[i0 + i + std::ptrdiff_t{j0 + j} * C.ld]);
        }
      }
    }
  };
  if (!update.writes_only()) each_inside([](T& mine, T& theirs) { mine = theirs; });
  multiply_tile_of_height<T>(depth, a, b, update, copy, Tile<T>::rows, rows, columns);
  each_inside([](T& mine, T& theirs) { theirs = mine; });
}

}  // namespace nuv::packed::inline NUV_ISA
