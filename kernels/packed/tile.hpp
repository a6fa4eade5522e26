#pragma once

// The register tile: the one inner loop of all products.

#include <algorithm>

#include "base/matrix.hpp"
#include "base/simd.hpp"
#include "kernels/packed/blocking.hpp"

namespace nuv::packed::inline NUV_ISA {

using simd::Simd;

/// Factors of a product that are real numbers in its formula. They multiply complex numbers part by part, so that an
/// infinite part leaves the other alone; a complex factor does not, even if its imaginary part is zero.
enum class RealFactors { none, beta, both };

/// What becomes of a tile: C := alpha P + beta C; beta zero writes C without reading it, beta one adds to it.
template <Scalar T>
struct Update {
  T alpha, beta;
  RealFactors real = RealFactors::none;

  bool writes_only() const { return beta == T(0); }
  bool only_adds() const { return beta == T(1); }

  /// The same for an element.
  void apply(T product, T& c) const {
    const T scaled = real == RealFactors::both ? std::real(alpha) * product : alpha * product;
    if (writes_only()) {
      c = scaled;
    } else if (only_adds()) {
      c += scaled;
    } else {
      c = (real == RealFactors::none ? beta * c : std::real(beta) * c) + scaled;
    }
  }
};

namespace tile_detail {

/// Rows of C that a vector covers: all lanes, or the first ones at the lower edge.
template <RealScalar R>
[[gnu::always_inline]] inline Simd<R> load_rows(const R* c, int count) {
  return count >= lanes<R> ? simd::load(c) : simd::load_first(c, count);
}

template <RealScalar R>
[[gnu::always_inline]] inline void store_rows(R* c, Simd<R> x, int count) {
  if (count >= lanes<R>) {
    simd::store(c, x);
  } else {
    simd::store_first(c, x, count);
  }
}

}  // namespace tile_detail

/// Where a tile finds its operands. Element (l, j) of B stands at b[l * b_deep + j * b_along]; in a packed sliver
/// b_along is 1 and b_deep the number of columns. Of A a tile reads whole vectors of rows, a_deep apart; in a packed
/// sliver all of its vectors are padded with zeros, else what lies below the last row is not touched.
template <Scalar T>
struct TileOperands {
  const Real<T>*a, *b;
  std::ptrdiff_t a_deep = 0, b_deep = 0, b_along = 1;
};

/// `count` lines of memory, `apart` bytes from each other.
struct Lines {
  const char* first = nullptr;
  std::ptrdiff_t apart = 0;
  Int count = 0;
};

/// What a tile asks for in passing: in its first steps the columns of a tile of C, its own or the next one, then what
/// is to be packed next, a line a step. The addresses need not be valid.
template <Scalar T>
struct Ahead {
  const T* c;
  Lines lines = {};
};

/// Which operands are read where they are: there are no slivers of them.
enum class InPlace { none, b, both };

namespace tile_detail {

/// Asks for a column of C with at most `rows` rows, which is to be written.
template <int rows, Scalar T>
[[gnu::always_inline]] inline void prefetch_column(const T* c) {
  constexpr int line = 64 / static_cast<int>(sizeof(T));
#pragma GCC unroll 8
  for (int i = 0; i < rows; i += line) __builtin_prefetch(c + i, 1);
  __builtin_prefetch(c + rows - 1, 1);
}

/// Calls step() `depth` times and asks for what lies ahead: not for all at once, lest the loads of the operands wait
/// behind it.
template <int rows, bool has_lines, Scalar T, class Step>
[[gnu::always_inline]] inline void for_each_step(Int depth, int columns, Int ldc, Ahead<T> ahead, Step step) {
  Int l = 0;
  for (int j = 1; j <= columns; ++j) {
    prefetch_column<rows>(ahead.c);
    ahead.c += ldc;
    const Int end = !has_lines && j == columns ? depth : std::min(l + 1, depth);
    for (; l < end; ++l) step();
  }
  if constexpr (has_lines) {
    for (const Int end = std::min(depth, l + ahead.lines.count); l < end; ++l) {
      __builtin_prefetch(ahead.lines.first, 0, 2);
      ahead.lines.first += ahead.lines.apart;
      step();
    }
    for (; l < depth; ++l) step();
  }
}

}  // namespace tile_detail

/// C := alpha A B + beta C for one tile of C with `rows` by `columns` elements, 0 < rows <= row_vectors vectors,
/// 0 < columns <= Tile::columns, from `depth` steps.
template <int row_vectors, InPlace in_place, RealScalar R>
[[gnu::noinline]] void multiply_tile(Int depth, TileOperands<R> from, Update<R> update, R* c, Int ldc, int rows,
                                     int columns, Ahead<R> ahead) {
  constexpr int tile_columns = Tile<R>::columns;
  constexpr int width = lanes<R>, line = 64 / static_cast<int>(sizeof(R));
  constexpr bool a_in_place = in_place == InPlace::both, b_in_place = in_place != InPlace::none;
  const std::ptrdiff_t a_deep = a_in_place ? from.a_deep : row_vectors * width;
  const std::ptrdiff_t b_deep = b_in_place ? from.b_deep : tile_columns;
  const R *a = from.a, *b = from.b;
  // Columns of B that are not there are read as the last one.
  std::ptrdiff_t b_offset[tile_columns];
#pragma GCC unroll 16
  for (int j = 0; j < tile_columns; ++j) b_offset[j] = b_in_place ? std::min(j, columns - 1) * from.b_along : j;
  const int last_rows = rows - (row_vectors - 1) * width;

  Simd<R> sum[tile_columns][row_vectors];
#pragma GCC unroll 16
  for (int j = 0; j < tile_columns; ++j) {
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) sum[j][i] = Simd<R>{};
  }
  const auto step = [&]() __attribute__((always_inline)) {
    Simd<R> column[row_vectors];
    if constexpr (a_in_place) {
      // The tiles below come next. Their columns are short pieces far apart, which the processor doesn't foresee. (On
      // Zen 4, products with 8 columns of a matrix from memory run at twice the rate if the request comes three tiles
      // early and not one; from two to eight are alike.)
      constexpr int further_down = 9 * line;
#pragma GCC unroll 4
      for (int i = 0; i < row_vectors * width; i += line) __builtin_prefetch(a + further_down + i, 0, 2);
    }
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) {
      column[i] =
          a_in_place && i + 1 == row_vectors ? simd::load_first(a + i * width, last_rows) : simd::load(a + i * width);
    }
#pragma GCC unroll 16
    for (int j = 0; j < tile_columns; ++j) {
      const Simd<R> factor = simd::broadcast(b[b_offset[j]]);
#pragma GCC unroll 4
      for (int i = 0; i < row_vectors; ++i) sum[j][i] = simd::fma(column[i], factor, sum[j][i]);
    }
    a += a_deep;
    b += b_deep;
  };
  tile_detail::for_each_step<row_vectors * width, !a_in_place>(depth, columns, ldc, ahead, step);
  const Simd<R> alpha = simd::broadcast(update.alpha);
  const Simd<R> beta = simd::broadcast(update.beta);
#pragma GCC unroll 16
  for (int j = 0; j < tile_columns; ++j) {
    if (j == columns) break;
    R* const cj = c + std::ptrdiff_t{j} * ldc;
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) {
      R* const target = cj + i * width;
      const int count = rows - i * width;
      if (update.writes_only()) {
        tile_detail::store_rows(target, alpha * sum[j][i], count);
      } else {
        const Simd<R> old = tile_detail::load_rows(target, count);
        const Simd<R> kept = update.only_adds() ? old : beta * old;
        tile_detail::store_rows(target, simd::fma(alpha, sum[j][i], kept), count);
      }
    }
  }
}

/// The same for complex numbers. A sliver of A holds for each step the real parts, then the imaginary parts of its
/// rows; a sliver of B holds for each step pairs of real and imaginary part.
template <int row_vectors, InPlace in_place, RealScalar R>
[[gnu::noinline]] void multiply_tile(Int depth, TileOperands<std::complex<R>> from, Update<std::complex<R>> update,
                                     std::complex<R>* c, Int ldc, int rows, int columns, Ahead<std::complex<R>> ahead) {
  static_assert(in_place == InPlace::none);
  constexpr int tile_columns = Tile<std::complex<R>>::columns;
  constexpr int width = lanes<R>;
  const R *a = from.a, *b = from.b;
  Simd<R> re[tile_columns][row_vectors], im[tile_columns][row_vectors];
#pragma GCC unroll 16
  for (int j = 0; j < tile_columns; ++j) {
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) re[j][i] = im[j][i] = Simd<R>{};
  }
  const auto step = [&]() __attribute__((always_inline)) {
    Simd<R> column_re[row_vectors], column_im[row_vectors];
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) {
      column_re[i] = simd::load(a + i * width);
      column_im[i] = simd::load(a + (row_vectors + i) * width);
    }
#pragma GCC unroll 16
    for (int j = 0; j < tile_columns; ++j) {
      const Simd<R> factor_re = simd::broadcast(b[2 * j]);
#pragma GCC unroll 4
      for (int i = 0; i < row_vectors; ++i) {
        re[j][i] = simd::fma(column_re[i], factor_re, re[j][i]);
        im[j][i] = simd::fma(column_im[i], factor_re, im[j][i]);
      }
      const Simd<R> factor_im = simd::broadcast(b[2 * j + 1]);
#pragma GCC unroll 4
      for (int i = 0; i < row_vectors; ++i) {
        re[j][i] = simd::fnma(column_im[i], factor_im, re[j][i]);
        im[j][i] = simd::fma(column_re[i], factor_im, im[j][i]);
      }
    }
    a += 2 * row_vectors * width;
    b += 2 * tile_columns;
  };
  tile_detail::for_each_step<row_vectors * width, true>(depth, columns, ldc, ahead, step);
  const Simd<R> alpha_re = simd::broadcast(update.alpha.real()), alpha_im = simd::broadcast(update.alpha.imag());
  const Simd<R> beta_re = simd::broadcast(update.beta.real()), beta_im = simd::broadcast(update.beta.imag());
  const auto finish = [&](RealFactors real) __attribute__((always_inline)) {
#pragma GCC unroll 16
    for (int j = 0; j < tile_columns; ++j) {
      if (j == columns) break;
      R* const cj = reinterpret_cast<R*>(c + std::ptrdiff_t{j} * ldc);
#pragma GCC unroll 4
      for (int i = 0; i < row_vectors; ++i) {
        R* const target = cj + 2 * i * width;
        const int count = 2 * (rows - i * width);
        if (count <= 0) break;
        Simd<R> new_re = alpha_re * re[j][i], new_im = alpha_re * im[j][i];
        if (real != RealFactors::both) {
          new_re = simd::fnma(alpha_im, im[j][i], new_re);
          new_im = simd::fma(alpha_im, re[j][i], new_im);
        }
        if (!update.writes_only()) {
          const Simd<R> first = tile_detail::load_rows(target, count);
          const Simd<R> second = count > width ? tile_detail::load_rows(target + width, count - width) : Simd<R>{};
          const auto [old_re, old_im] = simd::deinterleave<R>(first, second);
          if (update.only_adds()) {
            // An infinite part of C must not meet the zero of beta.
            new_re += old_re;
            new_im += old_im;
          } else {
            if (real == RealFactors::none) {
              new_re = simd::fnma(beta_im, old_im, new_re);
              new_im = simd::fma(beta_im, old_re, new_im);
            }
            new_re = simd::fma(beta_re, old_re, new_re);
            new_im = simd::fma(beta_re, old_im, new_im);
          }
        }
        const auto [first, second] = simd::interleave<R>(new_re, new_im);
        tile_detail::store_rows(target, first, count);
        if (count > width) tile_detail::store_rows(target + width, second, count - width);
      }
    }
  };
  if (update.real == RealFactors::none) {
    finish(RealFactors::none);
  } else {
    finish(update.real);
  }
}

/// A tile with as many row vectors as `rows` needs.
template <InPlace in_place, Scalar T, int row_vectors = Tile<T>::row_vectors>
void multiply_tile_of_height(Int depth, const TileOperands<T>& from, Update<T> update, T* c, Int ldc, int rows,
                             int columns, Ahead<T> ahead) {
  if constexpr (row_vectors > 1) {
    if (rows <= (row_vectors - 1) * lanes<Real<T>>) {
      return multiply_tile_of_height<in_place, T, row_vectors - 1>(depth, from, update, c, ldc, rows, columns, ahead);
    }
  }
  multiply_tile<row_vectors, in_place>(depth, from, update, c, ldc, rows, columns, ahead);
}

/// The same for packed slivers.
template <Scalar T>
void multiply_tile_of_height(Int depth, const Real<T>* a, const Real<T>* b, Update<T> update, T* c, Int ldc, int rows,
                             int columns) {
  multiply_tile_of_height<InPlace::none>(depth, TileOperands<T>{a, b}, update, c, ldc, rows, columns, Ahead<T>{c});
}

}  // namespace nuv::packed::inline NUV_ISA
