#pragma once

// Block sizes of the packed product, by instruction set and precision.

#include "base/simd.hpp"
#include "base/types.hpp"

namespace nuv::threading::inline NUV_ISA {

using simd::lanes;

/// A register tile has row_vectors vectors by `columns` columns of C: row_vectors * columns accumulators (twice that for
/// a complex product, whose real and imaginary parts are apart), row_vectors operands and a broadcast must fit the
/// register file.
template <Scalar T>
struct Tile {
  static constexpr int parts = ComplexScalar<T> ? 2 : 1;
  static constexpr int row_vectors = simd::vector_registers == 32   ? (parts == 2 ? 2 : 3)
                                     : simd::vector_registers == 16 ? (parts == 2 ? 1 : 3)
                                                                    : 1;
  static constexpr int columns = simd::vector_registers == 32   ? (parts == 2 ? 6 : 8)
                                 : simd::vector_registers == 16 ? (parts == 2 ? 4 : 4)
                                                                : 2;
  static constexpr int rows = row_vectors * lanes<Real<T>>;
};

/// Sizes of the packed blocks, in elements. A sliver of B (depth by Tile::columns) stays in the first-level cache while
/// the slivers of A pass by; the block of A (height by depth) takes half of a second-level cache of 512 KiB or more; the
/// block of B (depth by width) takes a part of the last-level cache.
template <Scalar T>
struct Block {
  static constexpr Int depth = sizeof(T) == 4 ? 384 : sizeof(T) == 8 ? 256 : 192;
  static constexpr Int height_bytes = simd::vector_registers == 32 ? 384 * 1024 : 192 * 1024;
  static constexpr Int height = height_bytes / (depth * Int{sizeof(T)}) / Tile<T>::rows * Tile<T>::rows;
  static constexpr Int width = 4096 / Tile<T>::columns * Tile<T>::columns;

  /// Order of the triangle at which triangular products and solves stop dividing.
  static constexpr Int leaf = ComplexScalar<T> ? 32 : 64;
};

}  // namespace nuv::threading::inline NUV_ISA
