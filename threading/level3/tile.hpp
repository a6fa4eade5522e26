#pragma once

// The register tile: the one inner loop of all products.

#include "base/matrix.hpp"
#include "base/simd.hpp"
#include "threading/level3/blocking.hpp"

namespace nuv::threading::inline NUV_ISA {

using simd::Simd;

/// What becomes of a tile: C := alpha P + beta C; beta zero writes C without reading it.
template <Scalar T>
struct Update {
  T alpha, beta;
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

/// C := alpha A B + beta C for one tile of C with `rows` by `columns` elements, 0 < rows <= row_vectors vectors,
/// 0 < columns <= Tile::columns.
///
/// a   packed sliver of A: for each of `depth` steps row_vectors vectors, padded with zeros
/// b   packed sliver of B: for each step Tile::columns numbers, padded with zeros
template <int row_vectors, RealScalar R>
[[gnu::noinline]] void multiply_tile(Int depth, const R* a, const R* b, Update<R> update, R* c, Int ldc, int rows,
                                     int columns) {
  constexpr int tile_columns = Tile<R>::columns;
  constexpr int width = lanes<R>;
  Simd<R> sum[tile_columns][row_vectors];
#pragma GCC unroll 16
  for (int j = 0; j < tile_columns; ++j) {
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) sum[j][i] = Simd<R>{};
  }
  for (int j = 0; j < columns; ++j) {
    for (int i = 0; i < rows; i += 64 / static_cast<int>(sizeof(R))) __builtin_prefetch(c + std::ptrdiff_t{j} * ldc + i, 1);
  }
  for (Int l = 0; l < depth; ++l) {
    Simd<R> column[row_vectors];
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) column[i] = simd::load(a + i * width);
#pragma GCC unroll 16
    for (int j = 0; j < tile_columns; ++j) {
      const Simd<R> factor = simd::broadcast(b[j]);
#pragma GCC unroll 4
      for (int i = 0; i < row_vectors; ++i) sum[j][i] = simd::fma(column[i], factor, sum[j][i]);
    }
    a += row_vectors * width;
    b += tile_columns;
  }
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
      if (update.beta == R(0)) {
        tile_detail::store_rows(target, alpha * sum[j][i], count);
      } else {
        const Simd<R> old = tile_detail::load_rows(target, count);
        const Simd<R> kept = update.beta == R(1) ? old : beta * old;
        tile_detail::store_rows(target, simd::fma(alpha, sum[j][i], kept), count);
      }
    }
  }
}

/// The same for complex numbers. A sliver of A holds for each step the real parts, then the imaginary parts of its rows;
/// a sliver of B holds for each step pairs of real and imaginary part.
template <int row_vectors, RealScalar R>
[[gnu::noinline]] void multiply_tile(Int depth, const R* a, const R* b, Update<std::complex<R>> update,
                                     std::complex<R>* c, Int ldc, int rows, int columns) {
  constexpr int tile_columns = Tile<std::complex<R>>::columns;
  constexpr int width = lanes<R>;
  Simd<R> re[tile_columns][row_vectors], im[tile_columns][row_vectors];
#pragma GCC unroll 16
  for (int j = 0; j < tile_columns; ++j) {
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) re[j][i] = im[j][i] = Simd<R>{};
  }
  for (Int l = 0; l < depth; ++l) {
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
  }
  const Simd<R> alpha_re = simd::broadcast(update.alpha.real()), alpha_im = simd::broadcast(update.alpha.imag());
  const Simd<R> beta_re = simd::broadcast(update.beta.real()), beta_im = simd::broadcast(update.beta.imag());
  const bool writes_only = update.beta == std::complex<R>(0);
#pragma GCC unroll 16
  for (int j = 0; j < tile_columns; ++j) {
    if (j == columns) break;
    R* const cj = reinterpret_cast<R*>(c + std::ptrdiff_t{j} * ldc);
#pragma GCC unroll 4
    for (int i = 0; i < row_vectors; ++i) {
      R* const target = cj + 2 * i * width;
      const int count = 2 * (rows - i * width);
      if (count <= 0) break;
      Simd<R> new_re = simd::fnma(alpha_im, im[j][i], alpha_re * re[j][i]);
      Simd<R> new_im = simd::fma(alpha_im, re[j][i], alpha_re * im[j][i]);
      if (!writes_only) {
        const Simd<R> first = tile_detail::load_rows(target, count);
        const Simd<R> second = count > width ? tile_detail::load_rows(target + width, count - width) : Simd<R>{};
        const auto [old_re, old_im] = simd::deinterleave<R>(first, second);
        new_re = simd::fma(beta_re, old_re, simd::fnma(beta_im, old_im, new_re));
        new_im = simd::fma(beta_re, old_im, simd::fma(beta_im, old_re, new_im));
      }
      const auto [first, second] = simd::interleave<R>(new_re, new_im);
      tile_detail::store_rows(target, first, count);
      if (count > width) tile_detail::store_rows(target + width, second, count - width);
    }
  }
}

/// A tile with as many row vectors as `rows` needs.
template <Scalar T, int row_vectors = Tile<T>::row_vectors>
void multiply_tile_of_height(Int depth, const Real<T>* a, const Real<T>* b, Update<T> update, T* c, Int ldc, int rows,
                             int columns) {
  if constexpr (row_vectors > 1) {
    if (rows <= (row_vectors - 1) * lanes<Real<T>>) {
      return multiply_tile_of_height<T, row_vectors - 1>(depth, a, b, update, c, ldc, rows, columns);
    }
  }
  multiply_tile<row_vectors>(depth, a, b, update, c, ldc, rows, columns);
}

}  // namespace nuv::threading::inline NUV_ISA
