#include "svd/transposition.hpp"

#include <algorithm>
#include <utility>

#include "base/matrix.hpp"

namespace nuv {
namespace {

/// Order of the blocks that are taken apart: one with its partner stays in the second cache, and so do the next two.
constexpr Int block_order = 80;

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

/// Asks memory for the lines of a block while another one is worked on, in the order of their addresses, a tile's share
/// at a time. Tiles that came by themselves would want a line of another page with each of their columns.
template <Scalar T>
class LinesAhead {
 public:
  LinesAhead(Int m, Int n, Matrix<const T> A) : line_(A.at(1, 1)), end_(line_ + m), m_(m), columns_(n), ld_(A.ld) {}

  void ask_for_some() {
    if (columns_ == 0 || m_ == 0) return;
    for (Int i = 0; i < lines_of_tile; ++i) __builtin_prefetch(line_ + i * per_line, 1);
    line_ += lines_of_tile * per_line;
    if (line_ < end_) return;
    line_ = end_ += ld_;
    line_ -= m_;
    --columns_;
  }

 private:
  static constexpr Int per_line = 64 / sizeof(T), lines_of_tile = std::max(1, tile*tile / per_line);

  const T *line_, *end_;
  Int m_, columns_, ld_;
};

/// Does something else with each tile.
template <Scalar T, class Beside>
void exchange(Int m, Int n, Matrix<T> A, Matrix<T> B, Beside beside) {
  for_each_block(m, n, tile, [&](Int i, Int j, Int rows, Int columns) {
    beside();
    if (rows == tile && columns == tile) return exchange_tiles(block(A, i, j), block(B, j, i));
    for (Int k = j; k < j + columns; ++k) {
      for (Int l = i; l < i + rows; ++l) std::swap(A(l, k), B(k, l));
    }
  });
}

template <Scalar T>
void exchange(Int m, Int n, Matrix<T> A, Matrix<T> B) {
  exchange(m, n, A, B, [] {});
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
    for (Int i = 1; i < j; i += block_order) {
      const bool is_last = i + block_order >= j;
      const Int next_i = is_last ? 1 : i + block_order, next_j = is_last ? j + block_order : j;
      const Int next_columns = std::clamp(n - next_j + 1, 0, block_order);
      LinesAhead<T> next_above(block_order, next_columns, block(A, next_i, next_j)),
          next_below(next_columns, block_order, block(A, next_j, next_i));
      exchange(block_order, columns, block(A, i, j), block(A, j, i), [&] {
        next_above.ask_for_some();
        next_below.ask_for_some();
      });
    }
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
