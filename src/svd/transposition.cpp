#include "svd/transposition.hpp"

#include <algorithm>
#include <utility>

#include "base/matrix.hpp"

namespace nuv {
namespace {

/// Order of the blocks that are taken apart: one with its partner stays in the second cache.
constexpr Int block_order = 128;

/// Order of the tiles whose elements are all loaded before any is stored, so that they go through registers.
constexpr Int tile = 4;

/// visit(i, j, rows, columns) for the blocks of an m by n matrix, by columns of blocks.
template <class Visit>
void for_each_block(Int m, Int n, Int order, Visit visit) {
  for (Int j = 1; j <= n; j += order) {
    for (Int i = 1; i <= m; i += order) visit(i, j, std::min(order, m - i + 1), std::min(order, n - j + 1));
  }
}

template <Scalar T>
struct Tile {
  T elements[tile][tile];

  explicit Tile(Matrix<const T> A) {
    for (Int j = 0; j < tile; ++j) std::copy_n(A.at(1, j + 1), tile, elements[j]);
  }

  void put_transposed(Matrix<T> B) const {
    for (Int j = 0; j < tile; ++j) {
      for (Int i = 0; i < tile; ++i) B(i + 1, j + 1) = elements[i][j];
    }
  }
};

template <Scalar T>
void exchange_tiles(Matrix<T> A, Matrix<T> B) {
  const Tile<T> a(A), b(B);
  a.put_transposed(B);
  b.put_transposed(A);
}

template <Scalar T>
void exchange(Int m, Int n, Matrix<T> A, Matrix<T> B) {
  for_each_block(m, n, tile, [&](Int i, Int j, Int rows, Int columns) {
    if (rows == tile && columns == tile) return exchange_tiles(block(A, i, j), block(B, j, i));
    for (Int k = j; k < j + columns; ++k) {
      for (Int l = i; l < i + rows; ++l) std::swap(A(l, k), B(k, l));
    }
  });
}

template <Scalar T>
void copy_transposed(Int m, Int n, Matrix<const T> A, Matrix<T> B) {
  for_each_block(m, n, tile, [&](Int i, Int j, Int rows, Int columns) {
    if (rows == tile && columns == tile) return Tile<T>(block(A, i, j)).put_transposed(block(B, j, i));
    for (Int k = j; k < j + columns; ++k) {
      for (Int l = i; l < i + rows; ++l) B(k, l) = A(l, k);
    }
  });
}

/// The strictly upper triangle of tiles against the strictly lower one, and the tiles between them.
template <Scalar T>
void transpose_block(Int n, Matrix<T> A) {
  for (Int j = 1; j <= n; j += tile) {
    const Int columns = std::min(tile, n - j + 1);
    exchange(j - 1, columns, block(A, 1, j), block(A, j, 1));
    for (Int k = j + 1; k < j + columns; ++k) {
      for (Int i = j; i < k; ++i) std::swap(A(i, k), A(k, i));
    }
  }
}

template <Scalar T>
void transpose(Int n, Matrix<T> A) {
  for (Int j = 1; j <= n; j += block_order) {
    const Int columns = std::min(block_order, n - j + 1);
    for (Int i = 1; i < j; i += block_order) exchange(block_order, columns, block(A, i, j), block(A, j, i));
    transpose_block(columns, block(A, j, j));
  }
}

}  // namespace

template <Scalar T>
void latsp(char kind, Int m, Int n, T* a, Int lda, T* b, Int ldb) {
  const Matrix<T> A{a, lda}, B{b, ldb};
  if (kind == 'T') transpose(m, A);
  if (kind == 'E') exchange(m, n, A, B);
  if (kind != 'C') return;
  for_each_block(m, n, block_order, [&](Int i, Int j, Int rows, Int columns) {
    copy_transposed<T>(rows, columns, block(A, i, j), block(B, j, i));
  });
}

}  // namespace nuv

#include "svd/transposition.entries.inc"
