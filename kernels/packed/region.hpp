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

namespace tile_detail {

/// Copies the numbers from `first` on until `last` of a column of a tile. Whole vectors are stored, since vectors are
/// what the tile loads; the others of their lanes become zero.
template <int rows, RealScalar R>
[[gnu::always_inline]] inline void load_part(const R* column, int first, int last, R* copy) {
#pragma GCC unroll 4
  for (int i = 0; i < rows; i += lanes<R>) {
    const int from = std::clamp(first - i, 0, lanes<R>), until = std::clamp(last - i, from, lanes<R>);
    simd::store(copy + i, simd::load_between(column + i, from, until));
  }
}

template <RealScalar R>
[[gnu::always_inline]] inline void store_part(const R* copy, int first, int last, R* column) {
  int i = first;
  for (; i + lanes<R> <= last; i += lanes<R>) simd::store(column + i, simd::load(copy + i));
  if (i < last) simd::store_first(column + i, simd::load_first(copy + i, last - i), last - i);
}

}  // namespace tile_detail

/// A tile of which only the elements of the region are written: in a copy, by the same arithmetic.
template <Scalar T>
[[gnu::noinline]] void multiply_tile_in_region(Region region, Int i0, Int j0, Int depth, const Real<T>* a,
                                               const Real<T>* b, Update<T> update, Matrix<T> C, int rows, int columns) {
  using R = Real<T>;
  constexpr int parts = Tile<T>::parts, height = Tile<T>::rows * parts;
  alignas(simd::vector_bytes) R copy[height * Tile<T>::columns];
  // move(column of C, first, last, copy), with the range inside counted in real numbers
  const auto each_column = [&](auto move) __attribute__((always_inline)) {
    for (int j = 0; j < columns; ++j) {
      const int below = static_cast<int>(std::clamp<Int>(j0 + j - i0, 0, rows));
      const int until = static_cast<int>(std::clamp<Int>(j0 + j - i0 + 1, 0, rows));
      const bool lower = region == Region::lower;
      move(reinterpret_cast<R*>(C.at(i0 + 1, j0 + j + 1)), (lower ? below : 0) * parts, (lower ? rows : until) * parts,
           copy + j * height);
    }
  };
  each_column([&](const R* column, int first, int last, R* mine) {
    tile_detail::load_part<height>(column, first, update.writes_only() ? first : last, mine);
  });
  multiply_tile_of_height<T>(depth, a, b, update, reinterpret_cast<T*>(copy), Tile<T>::rows, rows, columns);
  each_column(
      [](R* column, int first, int last, const R* mine) { tile_detail::store_part(mine, first, last, column); });
}

}  // namespace nuv::packed::inline NUV_ISA
