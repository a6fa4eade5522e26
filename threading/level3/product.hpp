#pragma once

// The packed product behind all of level 3 (K. Goto and R. van de Geijn, "Anatomy of high-performance matrix
// multiplication", ACM TOMS 34, 2008; F. Van Zee and R. van de Geijn, "BLIS: a framework for rapidly instantiating BLAS
// functionality", ACM TOMS 41, 2015).

#include <nuv/nuv_lapack.h>

#include <algorithm>

#include "threading/level3/blocking.hpp"
#include "threading/level3/pack.hpp"
#include "threading/level3/tile.hpp"

namespace nuv::threading::inline NUV_ISA {

/// The part of C that a product writes.
enum class Region { all, lower, upper };

namespace product_detail {

constexpr Int round_up(Int n, Int multiple) { return (n + multiple - 1) / multiple * multiple; }

/// n split into equal parts of at most `limit`, each a multiple of `multiple`.
constexpr Int even_part(Int n, Int limit, Int multiple) {
  const Int parts = (n + limit - 1) / limit;
  return parts <= 1 ? n : round_up((n + parts - 1) / parts, multiple);
}

inline constexpr int stack_bytes = 48 * 1024;
inline constexpr int alignment = 128;

/// Room for one block of each operand: on the stack for small products, else from the pool. Where the pool is refused
/// memory, blocks shrink to what the stack holds, which is at least Block::leaf steps of as many columns of B.
template <Scalar T>
class PackingRoom {
 public:
  Int depth, height, width;
  Real<T>*a, *b;

  PackingRoom(Int m, Int n, Int k)
      : depth(even_part(k, Block<T>::depth, 8)),
        height(round_up(even_part(m, Block<T>::height, Tile<T>::rows), lanes<Real<T>>)),
        width(round_up(std::min(n, Block<T>::width), Tile<T>::columns)) {
    if (bytes() <= stack_bytes) {
      lay_out(stack_);
    } else if (void* room = nuv_serv_allocate(static_cast<unsigned>(bytes()), alignment)) {
      pooled_ = room;
      lay_out(room);
    } else {
      constexpr Int least_width = round_up(Block<T>::leaf, Tile<T>::columns);
      depth = std::min(depth, Block<T>::leaf);
      height = std::min(height, Int{Tile<T>::rows});
      width = std::min(width, least_width);
      static_assert(Block<T>::leaf * (Tile<T>::rows + least_width) * sizeof(T) + alignment <= stack_bytes);
      lay_out(stack_);
    }
  }
  ~PackingRoom() {
    if (pooled_ != nullptr) nuv_serv_deallocate(pooled_);
  }
  PackingRoom(const PackingRoom&) = delete;
  PackingRoom& operator=(const PackingRoom&) = delete;

 private:
  std::size_t bytes_of_a() const { return (std::size_t(depth) * height * sizeof(T) + alignment - 1) / alignment * alignment; }
  std::size_t bytes() const { return bytes_of_a() + std::size_t(depth) * width * sizeof(T); }
  void lay_out(void* room) {
    a = static_cast<Real<T>*>(room);
    b = reinterpret_cast<Real<T>*>(static_cast<char*>(room) + bytes_of_a());
  }

  void* pooled_ = nullptr;
  alignas(alignment) char stack_[stack_bytes];
};

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
  if (update.beta != T(0)) each_inside([](T& mine, T& theirs) { mine = theirs; });
  multiply_tile_of_height<T>(depth, a, b, update, copy, Tile<T>::rows, rows, columns);
  each_inside([](T& mine, T& theirs) { theirs = mine; });
}

}  // namespace product_detail

/// C := alpha A B + beta C on a region of C, m by n, with A m by k and B k by n; m, n, k > 0.
///
/// With n and k at most Block::leaf, all that the product reads of a row or column is packed before that row or column
/// of C is written: C may then be one of the operands.
template <Scalar T>
void product(Int m, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta, Matrix<T> C,
             Region region = Region::all) {
  using namespace product_detail;
  constexpr int tile_rows = Tile<T>::rows, tile_columns = Tile<T>::columns, parts = Tile<T>::parts;
  PackingRoom<T> room(m, n, k);

  for (Int jc = 0; jc < n; jc += room.width) {
    const Int width = std::min(room.width, n - jc);
    for (Int pc = 0; pc < k; pc += room.depth) {
      const Int depth = std::min(room.depth, k - pc);
      const Update<T> update{alpha, pc == 0 ? beta : T(1)};
      for (Int j = 0; j < width; j += tile_columns) {
        const int columns = std::min<Int>(tile_columns, width - j);
        pack_sliver<Layout::pairs, tile_columns>(B, jc + j, columns, tile_columns, pc, depth,
                                                 room.b + std::ptrdiff_t{j} * depth * parts);
      }
      for (Int ic = 0; ic < m; ic += room.height) {
        const Int height = std::min(room.height, m - ic);
        if (is_outside(region, ic, jc, height, width)) continue;
        for (Int i = 0; i < height; i += tile_rows) {
          const int rows = std::min<Int>(tile_rows, height - i);
          pack_sliver<Layout::parts_apart, tile_rows>(A, ic + i, rows, round_up(rows, lanes<Real<T>>), pc, depth,
                                                      room.a + std::ptrdiff_t{i} * depth * parts);
        }
        for (Int j = 0; j < width; j += tile_columns) {
          const int columns = std::min<Int>(tile_columns, width - j);
          const Real<T>* const b = room.b + std::ptrdiff_t{j} * depth * parts;
          for (Int i = 0; i < height; i += tile_rows) {
            const int rows = std::min<Int>(tile_rows, height - i);
            const Real<T>* const a = room.a + std::ptrdiff_t{i} * depth * parts;
            const Int i0 = ic + i, j0 = jc + j;
            if (is_outside(region, i0, j0, rows, columns)) continue;
            if (crosses_diagonal(region, i0, j0, rows, columns)) {
              multiply_tile_in_region(region, i0, j0, depth, a, b, update, C, rows, columns);
            } else {
              multiply_tile_of_height<T>(depth, a, b, update, C.at(i0 + 1, j0 + 1), C.ld, rows, columns);
            }
          }
        }
      }
    }
  }
}

/// op(X), by its option letter, as the left operand of a product ...
template <Scalar T>
Operand<T> left_operand(char trans, Matrix<const T> X) {
  const bool plain = trans == 'N' || trans == 'n';
  return {X.data, plain ? 1 : X.ld, plain ? X.ld : 1, trans == 'C' || trans == 'c'};
}

/// ... and as the right one.
template <Scalar T>
Operand<T> right_operand(char trans, Matrix<const T> X) {
  const bool plain = trans == 'N' || trans == 'n';
  return {X.data, plain ? X.ld : 1, plain ? 1 : X.ld, trans == 'C' || trans == 'c'};
}

}  // namespace nuv::threading::inline NUV_ISA
