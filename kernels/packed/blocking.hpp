#pragma once

// Block sizes of the packed product, by instruction set and precision.

#include "base/simd.hpp"
#include "base/types.hpp"

namespace nuv::packed::inline NUV_ISA {

using simd::lanes;

constexpr Int round_up(Int n, Int multiple) {
  return (n + multiple - 1) / multiple * multiple;
}

/// n > 0 split into equal parts of at most `limit`, each a multiple of `multiple` unless it is the only one.
constexpr Int even_part(Int n, Int limit, Int multiple) {
  const Int parts = (n - 1) / limit + 1;
  return parts == 1 ? n : round_up((n - 1) / parts + 1, multiple);
}

/// A register tile has row_vectors vectors by `columns` columns of C: row_vectors * columns accumulators (twice that
/// for a complex product, whose real and imaginary parts are apart), row_vectors operands and a broadcast must fit the
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

/// The tile of inner products: rows * columns sums (twice that for a complex product), `rows` vectors of one operand
/// and one of the other must fit the register file.
template <Scalar T>
struct InnerTile {
  static constexpr bool wide = simd::vector_registers == 32;
  static constexpr int parts = ComplexScalar<T> ? 2 : 1;
  static constexpr int rows = wide ? (parts == 2 ? 3 : 5) : simd::vector_registers == 16 ? (parts == 2 ? 2 : 3) : 2;
  static constexpr int columns = wide ? (parts == 2 ? 4 : 5) : simd::vector_registers == 16 ? (parts == 2 ? 3 : 4) : 2;

  /// What the vectors of a block take in the second-level cache.
  static constexpr Int block_bytes = 256 * 1024;

  /// When inner products are faster than the packed product: with so few columns of C, or less than twice as many rows
  /// and columns, from so many steps on. (Measured on Zen 4 with AVX-512: products of order 8, 25, 50 and 60 over 1000
  /// steps run at 1.6, 1.8, 1.3 and 1.1 times the rate, complex ones of order 8 and 25 at 2 and 1.6 times; 64 columns
  /// or half the steps are even. With AVX2 32 columns are.)
  static constexpr Int few = wide ? 32 : 16;
  static constexpr Int least_depth = 2048 / sizeof(T);
};

/// Sizes of the packed blocks, in elements. A sliver of B (depth by Tile::columns) stays in the first-level cache while
/// the slivers of A pass by; the block of A (height by depth) takes half of a second-level cache of 512 KiB or more;
/// the block of B (depth by width) takes 1.5 MiB, a small part of the last-level cache. (On Zen 4 blocks of 1 to 2 MiB
/// are alike, and faster than 8 MiB by 3 to 6 % from order 2000 on.)
template <Scalar T>
struct Block {
  static constexpr bool wide_tiles = simd::vector_registers == 32;

  static constexpr Int depth = sizeof(T) == 4 ? 384 : sizeof(T) == 8 ? 256 : 192;
  static constexpr Int width = 1536 * 1024 / (depth * Int{sizeof(T)}) / Tile<T>::columns * Tile<T>::columns;

  /// A product of few steps takes more rows at once, so that C is walked in long pieces of columns.
  static constexpr Int height_bytes = (wide_tiles ? 384 : 192) * 1024;
  static constexpr Int height(Int steps) {
    return height_bytes / (steps * Int{sizeof(T)}) / Tile<T>::rows * Tile<T>::rows;
  }

  /// Columns that a sliver of A meets before the next sliver's turn. A narrow tile spends so few cycles on a step that
  /// slivers of A would come too slowly from the second-level cache; there the slivers of B, a third as long, take
  /// turns.
  static constexpr Int panel = (wide_tiles ? 1 : 16) * Tile<T>::columns;

  /// Packing pays when enough tiles read a sliver, and when it mends the way memory is read. With at most few_rows rows
  /// B is read where it is, each element by up to 16 tiles. A is read where it is, by columns, with at most few_columns
  /// columns of C, or if all of it stays in a cache that feeds the tile: half of a second-level one, or, for narrow
  /// tiles, of a first-level one. (Measured on Zen 4: from 8 by 8 to 384 by 384 it wins over packing, by 30 to 3 %. For
  /// 8, 32 and 128 columns of C it wins by 70, 18 and 4 %, and with 8 columns by 130 % where A comes from memory. With
  /// AVX2 packing is as fast for 16 columns and by 15 to 28 % faster for 32: a narrow tile takes a line and a half of
  /// each column of A.)
  static constexpr Int few_rows = 16 * Tile<T>::rows;
  static constexpr Int few_columns = (wide_tiles ? 16 : 2) * Tile<T>::columns;
  static constexpr Int near_elements = (wide_tiles ? 512 : 16) * 1024 / Int{sizeof(T)};

  /// Steps that products joined into one have at most. It is the depth of a block where memory is refused, so that the
  /// sums of such products are the same then.
  static constexpr Int joined = 96;

  /// Order of the triangle at which triangular products and solves stop dividing.
  static constexpr Int leaf = ComplexScalar<T> ? 32 : 64;
};

}  // namespace nuv::packed::inline NUV_ISA
