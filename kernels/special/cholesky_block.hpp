#pragma once

// The parts of the Cholesky factorisation that work in registers.
//
// Both triangles run one algorithm, for a lower triangular F: A = F F^H with F = L for a lower triangle, and
// A^T = F F^H with F = U^T for an upper one. A block of F has Shape::width columns. It is computed from the columns to
// its left (left-looking):
//
//        .   .   .
//      F10  F11  .        F11 F11^H  =  A11 - F10 F10^H
//      F20  F21  .        F21        = (A21 - F20 F10^H) F11^-H
//
// F10, one row of blocks, is packed once. A21 passes through the registers in tiles that are updated and solved before
// they are written.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "kernels/special/elements.hpp"

namespace nuv::kernels::inline NUV_ISA {

enum class Triangle { lower, upper };

namespace cholesky {

template <Scalar T>
struct Shape {
  static constexpr bool many_registers = simd::vector_registers == 32;
  static constexpr int elements = elements_per_vector<T>;

  /// Columns of F in a block.
  static constexpr int width = std::max(many_registers ? 8 : 4, elements);
  /// Vectors that hold a column of F11, or a step of the packed F10.
  static constexpr int vectors = width / elements;
  /// Vectors of rows in a tile of L, whose accumulators stand for `width` columns.
  static constexpr int row_vectors = std::max(1, (many_registers ? 24 : 12) / (width * lanes_per_element<T>));
  /// Columns of U in a tile whose accumulators stand for `width` rows.
  static constexpr int columns = std::max(elements, 8 / (vectors * lanes_per_element<T>));
  /// Steps of F10 that are packed at once.
  static constexpr int depth = 256;
};

/// Scalars of a packed panel, `distance` numbers from step to step.
template <Scalar T>
struct PackedScalars {
  const T* step;

  T operator()(int j) const { return step[j]; }
  void advance() { step += Shape<T>::width; }
};

/// Scalars of `count` columns of a matrix, a row to a step. What lies behind the last column is the last column.
template <Scalar T, int columns>
class ColumnScalars {
 public:
  ColumnScalars(const T* first, std::ptrdiff_t ld, int count) {
#pragma GCC unroll 16
    for (int j = 0; j < columns; ++j) column_[j] = first + std::min(j, count - 1) * ld;
  }
  T operator()(int j) const {
    return column_[j][row_];
  }
  void advance() {
    ++row_;
  }

 private:
  const T* column_[columns];
  std::ptrdiff_t row_ = 0;
};

/// Sums of x conj(s) for vectors of elements x and scalars s.
template <Scalar T, int vectors, int columns>
class Sums {
  using R = Real<T>;
  static constexpr int parts = lanes_per_element<T>;

 public:
  /// Takes `depth` steps, with the vectors of a step at `x`, `distance` elements from step to step; of the last of them
  /// only the first `last_count` elements where that is not zero.
  template <class Scalars>
  [[gnu::always_inline]] void accumulate(Int depth, const T* x, std::ptrdiff_t distance, Scalars scalars,
                                         int last_count = 0) {
#pragma GCC unroll 16
    for (int j = 0; j < columns; ++j) {
#pragma GCC unroll 8
      for (int i = 0; i < vectors * parts; ++i) sum_[j][i] = Simd<R>{};
    }
    for (Int l = 0; l < depth; ++l) {
      Simd<R> row[vectors];
#pragma GCC unroll 8
      for (int i = 0; i < vectors; ++i) {
        const T* const from = x + i * elements_per_vector<T>;
        row[i] = i == vectors - 1 && last_count != 0 ? load_elements(from, last_count) : load_elements(from);
      }
#pragma GCC unroll 16
      for (int j = 0; j < columns; ++j) {
        const T s = scalars(j);
#pragma GCC unroll 8
        for (int i = 0; i < vectors; ++i) {
          sum_[j][i] = simd::fma(row[i], simd::broadcast(std::real(s)), sum_[j][i]);
          if constexpr (ComplexScalar<T>) {
            sum_[j][vectors + i] = simd::fma(row[i], simd::broadcast(std::imag(s)), sum_[j][vectors + i]);
          }
        }
      }
      x += distance;
      scalars.advance();
    }
  }

  [[gnu::always_inline]] Simd<R> value(int j, int i) const {
    if constexpr (RealScalar<T>) {
      return sum_[j][i];
    } else {
      return sum_[j][i] - times_i<R>(sum_[j][vectors + i]);
    }
  }

  /// Sums of conj(x) s.
  [[gnu::always_inline]] Simd<R> conjugated_value(int j, int i) const {
    if constexpr (RealScalar<T>) {
      return sum_[j][i];
    } else {
      return value(j, i) * simd::alternating(R(1), R(-1));
    }
  }

 private:
  Simd<R> sum_[columns][vectors * parts];
};

/// F11 as the solves with it take it: column by column, with the reciprocals of its diagonal. Elements above the
/// diagonal have no meaning.
template <Scalar T>
struct Block {
  static constexpr int width = Shape<T>::width;

  alignas(simd::vector_bytes) T f[width * width];
  Real<T> reciprocal[width];

  /// Solves X F11^H = X for `vectors` vectors of rows of X.
  template <int vectors>
  [[gnu::always_inline]] void solve(Simd<Real<T>> (&x)[width][vectors]) const {
    using R = Real<T>;
#pragma GCC unroll 16
    for (int p = 0; p < width; ++p) {
      const Simd<R> scale = simd::broadcast(reciprocal[p]);
#pragma GCC unroll 8
      for (int i = 0; i < vectors; ++i) {
        x[p][i] *= scale;
        Simd<R> turned{};
        if constexpr (ComplexScalar<T>) turned = times_i<R>(x[p][i]);
#pragma GCC unroll 16
        for (int q = p + 1; q < width; ++q) {
          const T s = f[q + p * width];
          x[q][i] = simd::fnma(x[p][i], simd::broadcast(std::real(s)), x[q][i]);
          if constexpr (ComplexScalar<T>) x[q][i] = simd::fma(turned, simd::broadcast(std::imag(s)), x[q][i]);
        }
      }
    }
  }
};

/// F11 in registers, column by column. What stands above its diagonal has no meaning.
template <Scalar T>
class BlockInRegisters {
  using R = Real<T>;
  static constexpr int width = Shape<T>::width, vectors = Shape<T>::vectors, elements = elements_per_vector<T>;
  static constexpr int parts = lanes_per_element<T>;

 public:
  /// Takes the triangle of A11, of the given order. A: its first element.
  template <Triangle triangle>
  [[gnu::always_inline]] void load(const T* a, Int lda, int order) {
#pragma GCC unroll 16
    for (int j = 0; j < width; ++j) {
#pragma GCC unroll 8
      for (int i = 0; i < vectors; ++i) {
        const int first = i * elements;
        const bool is_lower = triangle == Triangle::lower;
        const int begin = is_lower ? std::clamp(j - first, 0, elements) : 0;
        const int end = j >= order ? 0 : std::clamp((is_lower ? order : j + 1) - first, 0, elements);
        column_[j][i] = begin < end ? load_element_range(a + j * std::ptrdiff_t{lda} + first, begin, end) : Simd<R>{};
      }
    }
    if constexpr (triangle == Triangle::upper) transpose_squares();
  }

  /// Subtracts the product of `depth` packed steps with themselves.
  [[gnu::always_inline]] void subtract_square(Int depth, const T* packed) {
    constexpr int columns = std::min(8 / parts, width);
#pragma GCC unroll 4
    for (int p = 0; p < width; p += columns) {
      Sums<T, vectors, columns> sums;
      sums.accumulate(depth, packed, width, PackedScalars<T>{packed + p});
#pragma GCC unroll 8
      for (int j = 0; j < columns; ++j) {
#pragma GCC unroll 8
        for (int i = 0; i < vectors; ++i) column_[p + j][i] -= sums.value(j, i);
      }
    }
  }

  /// Factors the leading `order` columns; gives the number of columns done. Where that is less, the diagonal element of
  /// the next holds the pivot that is not positive.
  [[gnu::always_inline]] int factor(int order, R* reciprocal) {
    int done = 0;
    [&]<int... p>(std::integer_sequence<int, p...>) __attribute__((always_inline)) {
      (void)((p < order && factor_column<p>(reciprocal[p]) && ++done) && ...);
    }
    (std::make_integer_sequence<int, width>());
    return done;
  }

  /// Writes the block for the solves, and the first `columns` columns of the triangle, with the diagonal element behind
  /// them, to A.
  template <Triangle triangle>
  [[gnu::always_inline]] void store(Block<T>& block, T* a, Int lda, int order, int columns) {
#pragma GCC unroll 16
    for (int j = 0; j < width; ++j) {
#pragma GCC unroll 8
      for (int i = 0; i < vectors; ++i) store_elements(block.f + j * width + i * elements, column_[j][i]);
    }
    if (columns < order) a[columns * (std::ptrdiff_t{lda} + 1)] = block.f[columns * (width + 1)];
    if constexpr (triangle == Triangle::lower) {
      for (int j = 0; j < columns; ++j) {
        std::copy_n(block.f + j * (width + 1), order - j, a + j * (std::ptrdiff_t{lda} + 1));
      }
    } else {
      transpose_squares();
#pragma GCC unroll 16
      for (int j = 0; j < width; ++j) {
        if (j == order) break;
#pragma GCC unroll 8
        for (int i = 0; i < vectors; ++i) {
          const int count = std::clamp(std::min(j + 1, columns) - i * elements, 0, elements);
          store_elements(a + j * std::ptrdiff_t{lda} + i * elements, column_[j][i], count);
        }
      }
    }
  }

 private:
  /// Rows for columns.
  [[gnu::always_inline]] void transpose_squares() {
    Simd<R> turned[width][vectors];
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) {
#pragma GCC unroll 8
      for (int j = 0; j < vectors; ++j) {
        Simd<R> square[elements];
#pragma GCC unroll 16
        for (int e = 0; e < elements; ++e) square[e] = column_[i * elements + e][j];
        transpose<T>(square);
#pragma GCC unroll 16
        for (int e = 0; e < elements; ++e) turned[j * elements + e][i] = square[e];
      }
    }
    std::memcpy(column_, turned, sizeof turned);
  }

  template <int p>
  [[gnu::always_inline]] bool factor_column(R& reciprocal) {
    constexpr int own = p / elements, lane = p % elements * parts;
    const R pivot = column_[p][own][lane];
    const bool is_positive = pivot > 0;
    R diagonal = pivot;
    if (is_positive) {
      diagonal = std::sqrt(pivot);
      reciprocal = 1 / diagonal;
#pragma GCC unroll 8
      for (int i = own; i < vectors; ++i) column_[p][i] *= simd::broadcast(reciprocal);
      Simd<R> turned[vectors];
      if constexpr (ComplexScalar<T>) {
#pragma GCC unroll 8
        for (int i = own; i < vectors; ++i) turned[i] = times_i<R>(column_[p][i]);
      }
      [&]<int... behind>(std::integer_sequence<int, behind...>) __attribute__((always_inline)) {
        (subtract_column<p, p + 1 + behind>(turned), ...);
      }
      (std::make_integer_sequence<int, width - p - 1>());
    }
    column_[p][own][lane] = diagonal;
    if constexpr (ComplexScalar<T>) column_[p][own][lane + 1] = 0;
    return is_positive;
  }

  /// Column c -= column p times conj(f(c, p)); turned: i times column p, for complex numbers.
  template <int p, int c>
  [[gnu::always_inline]] void subtract_column(const Simd<R> (&turned)[vectors]) {
    constexpr int own = c / elements, lane = c % elements * parts;
    const Simd<R> re = broadcast_lane<R, lane>(column_[p][own]);
#pragma GCC unroll 8
    for (int i = own; i < vectors; ++i) {
      column_[c][i] = simd::fnma(column_[p][i], re, column_[c][i]);
      if constexpr (ComplexScalar<T>) {
        column_[c][i] = simd::fma(turned[i], broadcast_lane<R, lane + 1>(column_[p][own]), column_[c][i]);
      }
    }
  }

  Simd<R> column_[width][vectors];
};

/// What becomes of a tile of F21 after its update: solved, and written as far as F11 could be factored.
template <Scalar T>
struct Finish {
  const Block<T>* block;  ///< null: written without being solved
  int columns;            ///< of F that are written
};

/// Updates a tile of L: `rows` rows, at most `vectors` vectors. left: its rows in the columns that the panel stands
/// for.
template <Scalar T, int vectors, bool whole>
[[gnu::noinline]] void update_lower_tile(Int depth, const T* left, const T* packed, Finish<T> finish, T* a, Int lda,
                                         int rows) {
  constexpr int width = Shape<T>::width, elements = elements_per_vector<T>;
  const int last_count = whole ? 0 : rows - (vectors - 1) * elements;
  Simd<Real<T>> x[width][vectors];
  Sums<T, vectors, width> sums;
  sums.accumulate(depth, left, lda, PackedScalars<T>{packed}, last_count);
#pragma GCC unroll 16
  for (int p = 0; p < width; ++p) {
    const T* const column = a + std::ptrdiff_t{p} * lda;
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) {
      const T* const from = column + i * elements;
      const auto old = whole || i < vectors - 1 ? load_elements(from) : load_elements(from, last_count);
      x[p][i] = old - sums.value(p, i);
    }
  }
  if (finish.block != nullptr) finish.block->solve(x);
#pragma GCC unroll 16
  for (int p = 0; p < width; ++p) {
    if (p == finish.columns) break;
    T* const column = a + std::ptrdiff_t{p} * lda;
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) {
      T* const to = column + i * elements;
      if (whole || i < vectors - 1) {
        store_elements(to, x[p][i]);
      } else {
        store_elements(to, x[p][i], last_count);
      }
    }
  }
}

/// A tile with as many vectors as `rows` needs.
template <Scalar T, int vectors = Shape<T>::row_vectors>
void update_lower_rows(Int depth, const T* left, const T* packed, Finish<T> finish, T* a, Int lda, int rows) {
  constexpr int elements = elements_per_vector<T>;
  if constexpr (vectors > 1) {
    if (rows <= (vectors - 1) * elements) {
      return update_lower_rows<T, vectors - 1>(depth, left, packed, finish, a, lda, rows);
    }
  }
  if (rows == vectors * elements) {
    update_lower_tile<T, vectors, true>(depth, left, packed, finish, a, lda, rows);
  } else {
    update_lower_tile<T, vectors, false>(depth, left, packed, finish, a, lda, rows);
  }
}

/// Updates a tile of U: `count` columns of a block of rows. above: its columns in the rows that the panel stands for.
/// The tile is computed as it stands in memory, with vectors of rows, and transposed to be solved.
template <Scalar T>
[[gnu::noinline]] void update_upper_tile(Int depth, const T* above, const T* packed, Finish<T> finish, T* a, Int lda,
                                         int count) {
  constexpr int width = Shape<T>::width, vectors = Shape<T>::vectors, columns = Shape<T>::columns;
  constexpr int elements = elements_per_vector<T>;
  Sums<T, vectors, columns> sums;
  sums.accumulate(depth, packed, width, ColumnScalars<T, columns>(above, lda, count));

  Simd<Real<T>> x[width][columns / elements];
#pragma GCC unroll 8
  for (int j0 = 0; j0 < columns; j0 += elements) {
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) {
      Simd<Real<T>> square[elements];
#pragma GCC unroll 16
      for (int j = 0; j < elements; ++j) {
        const T* const column = a + std::min(j0 + j, count - 1) * std::ptrdiff_t{lda};
        square[j] = load_elements(column + i * elements) - sums.conjugated_value(j0 + j, i);
      }
      transpose<T>(square);
#pragma GCC unroll 16
      for (int q = 0; q < elements; ++q) x[i * elements + q][j0 / elements] = square[q];
    }
  }
  if (finish.block != nullptr) finish.block->solve(x);
#pragma GCC unroll 8
  for (int j0 = 0; j0 < columns; j0 += elements) {
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) {
      Simd<Real<T>> square[elements];
#pragma GCC unroll 16
      for (int q = 0; q < elements; ++q) square[q] = x[i * elements + q][j0 / elements];
      transpose<T>(square);
#pragma GCC unroll 16
      for (int j = 0; j < elements; ++j) {
        if (j0 + j >= count) break;
        T* const to = a + (j0 + j) * std::ptrdiff_t{lda} + i * elements;
        if (finish.columns == width) {
          store_elements(to, square[j]);
        } else {
          store_elements(to, square[j], std::clamp(finish.columns - i * elements, 0, elements));
        }
      }
    }
  }
}

}  // namespace cholesky
}  // namespace nuv::kernels::inline NUV_ISA
