#pragma once

// The inner loops of the dense matrix-vector kernels.
//
// Each takes a few columns of a matrix at a time, so that the vectors beside them are loaded, and stored, once for all
// of these columns, and runs down the rows in strips of one register.
//
//   a      m by `columns`, element (i, j) at a[i + j * lda], i and j from zero
//   x, y   m contiguous elements

#include "base/simd.hpp"
#include "kernels/level2/pieces.hpp"

namespace nuv::kernels::inline NUV_ISA {

using simd::Simd;

/// Columns that the loops take at a time where there are enough of them: a factor of each, which is two registers for a
/// complex one, should fit into registers beside the strips at work. More than eight streams are more than the
/// processor follows well.
template <Scalar T>
inline constexpr int column_group = std::min(8, simd::vector_registers / (ComplexScalar<T> ? 4 : 2));

// ------------------------------------------------------------------------------------------------------------- strips

/// Elements of T in a register; a complex one takes two lanes, the real part first.
template <Scalar T>
using Strip = Simd<Real<T>>;

template <Scalar T>
inline constexpr int strip_rows = sizeof(Strip<T>) / sizeof(T);

struct WholeStrip {};

struct StripTail {
  int rows;
};

template <Scalar T>
[[gnu::always_inline]] inline Strip<T> load_strip(const T* from, WholeStrip) {
  return simd::load(reinterpret_cast<const Real<T>*>(from));
}

template <Scalar T>
[[gnu::always_inline]] inline Strip<T> load_strip(const T* from, StripTail tail) {
  constexpr int lanes_each = sizeof(T) / sizeof(Real<T>);
  return simd::load_first(reinterpret_cast<const Real<T>*>(from), tail.rows * lanes_each);
}

/// Some rows of a strip, from the first on and up to the last, which is not one of them.
struct StripPart {
  int first, last;
};

template <Scalar T>
[[gnu::always_inline]] inline Strip<T> load_strip(const T* from, StripPart part) {
  constexpr int lanes_each = sizeof(T) / sizeof(Real<T>);
  return simd::load_between(reinterpret_cast<const Real<T>*>(from), part.first * lanes_each, part.last * lanes_each);
}

template <Scalar T>
[[gnu::always_inline]] inline void store_strip(T* to, Strip<T> x, StripPart part) {
  constexpr int lanes_each = sizeof(T) / sizeof(Real<T>);
  simd::store_between(reinterpret_cast<Real<T>*>(to), x, part.first * lanes_each, part.last * lanes_each);
}

template <Scalar T>
[[gnu::always_inline]] inline void store_strip(T* to, Strip<T> x, WholeStrip) {
  simd::store(reinterpret_cast<Real<T>*>(to), x);
}

template <Scalar T>
[[gnu::always_inline]] inline void store_strip(T* to, Strip<T> x, StripTail tail) {
  constexpr int lanes_each = sizeof(T) / sizeof(Real<T>);
  simd::store_first(reinterpret_cast<Real<T>*>(to), x, tail.rows * lanes_each);
}

/// All rows of a strip, or its first ones.
template <Scalar T>
[[gnu::always_inline]] inline Strip<T> load_rows(const T* from, StripTail tail) {
  return tail.rows >= strip_rows<T> ? load_strip(from, WholeStrip{}) : load_strip(from, tail);
}

/// Element k of a strip, if it is there, replaced by zero.
template <Scalar T>
[[gnu::always_inline]] inline Strip<T> without_element(Strip<T> x, int k) {
  constexpr int lanes_each = sizeof(T) / sizeof(Real<T>);
  return simd::without_lanes<Real<T>>(x, k * lanes_each, (k + 1) * lanes_each);
}

/// The imaginary part of element k of a strip, if it is there, replaced by zero.
template <ComplexScalar T>
[[gnu::always_inline]] inline Strip<T> without_imaginary_part(Strip<T> x, int k) {
  return simd::without_lanes<Real<T>>(x, 2 * k + 1, 2 * k + 2);
}

/// Elements in the strips that hold n.
template <Scalar T>
constexpr int padded(int n) {
  return (n + strip_rows<T> - 1) / strip_rows<T> * strip_rows<T>;
}

/// Asks for what stands further down in a column. A loop that does two things with each element fills the processor's
/// window before it looks far ahead, and the prefetchers begin anew with each page of each column: from the caches
/// beyond the first, such a loop is a sixth faster this way. The distance was measured on Zen 4; two to four lines are
/// alike.
template <Scalar T>
[[gnu::always_inline]] inline void prefetch_further_down(const T* column) {
  constexpr int lines = 3, first_level_cache = 3;
  __builtin_prefetch(column + lines * 64 / sizeof(T), 0, first_level_cache);
}

/// Calls visit(i, rows) for the strips of m rows; i is the first row, `rows` a WholeStrip or the StripTail at the end.
template <Scalar T, class Visit>
[[gnu::always_inline]] inline void for_each_strip(std::ptrdiff_t m, Visit visit) {
  std::ptrdiff_t i = 0;
  for (; i + strip_rows<T> <= m; i += strip_rows<T>) visit(i, WholeStrip{});
  if constexpr (strip_rows < T >> 1) {
    if (i < m) visit(i, StripTail{static_cast<int>(m - i)});
  }
}

/// i x, for complex elements.
template <ComplexScalar T>
[[gnu::always_inline]] inline Strip<T> times_i(Strip<T> x) {
  return simd::swap_neighbours<Real<T>>(x) * simd::alternating<Real<T>>(-1, 1);
}

/// A number by which strips are multiplied.
template <Scalar T>
struct Factor {
  Strip<T> value;

  Factor() = default;
  [[gnu::always_inline]] explicit Factor(T x) : value(simd::broadcast(x)) {}
};

template <ComplexScalar T>
struct Factor<T> {
  Strip<T> re, im;

  Factor() = default;
  [[gnu::always_inline]] explicit Factor(T x) : re(simd::broadcast(x.real())), im(simd::broadcast(x.imag())) {}
};

/// a[0] c[0] + a[1] c[1] + ... for strips a and factors c. The terms go to two sums in turn, since with one the
/// multiplier would wait for its own results.
template <Scalar T>
struct Combination {
  Strip<T> sum[2]{};

  [[gnu::always_inline]] void add(int j, Strip<T> a, Factor<T> c) { sum[j % 2] = simd::fma(a, c.value, sum[j % 2]); }
  [[gnu::always_inline]] Strip<T> value() const { return sum[0] + sum[1]; }
};

/// Complex terms go to two sums by the parts of the factors, so that the lanes of a strip need not be moved; the sum of
/// the products with imaginary parts is multiplied by i at the end.
template <ComplexScalar T>
struct Combination<T> {
  Strip<T> by_re{}, by_im{};

  [[gnu::always_inline]] void add(int, Strip<T> a, Factor<T> c) {
    by_re = simd::fma(a, c.re, by_re);
    by_im = simd::fma(a, c.im, by_im);
  }
  [[gnu::always_inline]] Strip<T> value() const { return by_re + times_i<T>(by_im); }
};

/// A strip of x as scalar products with columns take it. What is multiplied with the lanes of a column gives, added up
/// over the lanes, the real part of the product in one register and the imaginary part in the other.
template <bool conjugated, Scalar T>
struct ProductStrip {
  static constexpr int registers = 1;
  Strip<T> part[1];

  [[gnu::always_inline]] explicit ProductStrip(Strip<T> x) : part{x} {}
};

template <bool conjugated, ComplexScalar T>
struct ProductStrip<conjugated, T> {
  static constexpr int registers = 2;
  Strip<T> part[2];

  [[gnu::always_inline]] explicit ProductStrip(Strip<T> x) {
    const Strip<T> swapped = simd::swap_neighbours<Real<T>>(x), signs = simd::alternating<Real<T>>(-1, 1);
    part[0] = conjugated ? x : x * (Strip<T>{} - signs);
    part[1] = conjugated ? swapped * (Strip<T>{} - signs) : swapped;
  }
};

/// The scalar products of a strip of x with the columns, added up lane by lane.
template <int columns, bool conjugated, Scalar T>
struct ProductSums {
  static constexpr int registers = ProductStrip<conjugated, T>::registers;
  Strip<T> sum[columns * registers];

  [[gnu::always_inline]] ProductSums() {
#pragma GCC unroll 16
    for (int k = 0; k < columns * registers; ++k) sum[k] = Strip<T>{};
  }
  [[gnu::always_inline]] void add(int j, Strip<T> a, const ProductStrip<conjugated, T>& x) {
#pragma GCC unroll 2
    for (int k = 0; k < registers; ++k) sum[j * registers + k] = simd::fma(a, x.part[k], sum[j * registers + k]);
  }
  /// Writes the products, and what fills the last strip.
  [[gnu::always_inline]] void write(T* products) {
    simd::sums_of_lanes(sum, reinterpret_cast<Real<T>*>(products));
  }
};

/// A strip of x as outer products take it.
template <Scalar T>
struct OuterStrip {
  Strip<T> x;

  OuterStrip() = default;
  [[gnu::always_inline]] explicit OuterStrip(Strip<T> x_) : x(x_) {}

  /// sum + c x
  [[gnu::always_inline]] Strip<T> add_to(Strip<T> sum, Factor<T> c) const { return simd::fma(x, c.value, sum); }
};

template <ComplexScalar T>
struct OuterStrip<T> {
  Strip<T> x, ix;

  OuterStrip() = default;
  [[gnu::always_inline]] explicit OuterStrip(Strip<T> x_) : x(x_), ix(times_i<T>(x_)) {}

  [[gnu::always_inline]] Strip<T> add_to(Strip<T> sum, Factor<T> c) const {
    return simd::fma(ix, c.im, simd::fma(x, c.re, sum));
  }
  /// A real c multiplies part by part.
  [[gnu::always_inline]] Strip<T> add_to(Strip<T> sum, Factor<Real<T>> c) const { return simd::fma(x, c.value, sum); }
};

// -------------------------------------------------------------------------------------------------------------- loops

/// y := y + alpha x, where x is contiguous and alpha of type T or real.
template <Scalar T, Scalar Alpha>
[[gnu::always_inline]] inline void add_scaled(Int n, Alpha alpha, const T* x, Vector<T> y) {
  if (y.inc != 1) {
    for (Int i = 0; i < n; ++i) element(y, i) += alpha * x[i];
    return;
  }
  const Factor<Alpha> factor(alpha);
  for_each_strip<T>(
      n, [&](std::ptrdiff_t i, auto rows) __attribute__((always_inline)) {
        T* const target = y.data + i;
        store_strip(target, OuterStrip<T>(load_strip(x + i, rows)).add_to(load_strip(target, rows), factor), rows);
      });
}

/// y := y + A c
template <int columns, Scalar T>
[[gnu::noinline]] void add_columns(std::ptrdiff_t m, const T* a, std::ptrdiff_t lda, const T* c, T* y) {
  Factor<T> factor[columns];
#pragma GCC unroll 8
  for (int j = 0; j < columns; ++j) factor[j] = Factor<T>(c[j]);
  for_each_strip<T>(
      m, [&](std::ptrdiff_t i, auto rows) __attribute__((always_inline)) {
        Combination<T> sum;
#pragma GCC unroll 8
        for (int j = 0; j < columns; ++j) sum.add(j, load_strip(a + j * lda + i, rows), factor[j]);
        store_strip(y + i, load_strip(y + i, rows) + sum.value(), rows);
      });
}

/// Strips of y that fit into registers, with two sums for each.
inline constexpr int most_strips = simd::vector_registers / 4;

/// y := y + alpha A x for an m by n matrix A of (strips - 1) whole strips and one that may be shorter.
template <int strips, Scalar T, Scalar Alpha>
[[gnu::noinline]] void add_short_columns(Int m, Int n, Alpha alpha, const T* a, std::ptrdiff_t lda, const T* x,
                                         std::ptrdiff_t incx, T* y) {
  constexpr int last = strips - 1;
  const StripTail last_rows{m - last * strip_rows<T>};
  Combination<T> sum[strips];
  const auto add_column = [&](int parity) __attribute__((always_inline)) {
    const Factor<T> factor(*x);
#pragma GCC unroll 8
    for (int k = 0; k < last; ++k) sum[k].add(parity, load_strip(a + k * strip_rows<T>, WholeStrip{}), factor);
    sum[last].add(parity, load_strip(a + last * strip_rows<T>, last_rows), factor);
    a += lda;
    x += incx;
  };
  for (; n >= 2; n -= 2) {
    add_column(0);
    add_column(1);
  }
  if (n > 0) add_column(0);
  const Factor<Alpha> scale(alpha);
  const auto finish = [&](int k, auto rows) __attribute__((always_inline)) {
    T* const target = y + k * strip_rows<T>;
    store_strip(target, OuterStrip<T>(sum[k].value()).add_to(load_strip(target, rows), scale), rows);
  };
#pragma GCC unroll 8
  for (int k = 0; k < last; ++k) finish(k, WholeStrip{});
  finish(last, last_rows);
}

/// products := A^T x, or A^H x if conjugated. All padded(columns) elements are written.
template <int columns, bool conjugated, Scalar T>
[[gnu::noinline]] void multiply_by_columns(std::ptrdiff_t m, const T* a, std::ptrdiff_t lda, const T* x, T* products) {
  ProductSums<columns, conjugated, T> sums;
  for_each_strip<T>(
      m, [&](std::ptrdiff_t i, auto rows) __attribute__((always_inline)) {
        const ProductStrip<conjugated, T> strip(load_strip(x + i, rows));
#pragma GCC unroll 8
        for (int j = 0; j < columns; ++j) sums.add(j, load_strip(a + j * lda + i, rows), strip);
      });
  sums.write(products);
}

/// y := y + A c and products := A^T x, or A^H x if conjugated, with one look at A. All padded(columns) products are
/// written.
template <int columns, bool conjugated, Scalar T>
[[gnu::noinline]] void multiply_both_ways(std::ptrdiff_t m, const T* a, std::ptrdiff_t lda, const T* c, T* y,
                                          const T* x, T* products) {
  Factor<T> factor[columns];
#pragma GCC unroll 8
  for (int j = 0; j < columns; ++j) factor[j] = Factor<T>(c[j]);
  ProductSums<columns, conjugated, T> sums;
  for_each_strip<T>(
      m, [&](std::ptrdiff_t i, auto rows) __attribute__((always_inline)) {
        const ProductStrip<conjugated, T> strip(load_strip(x + i, rows));
        Combination<T> sum;
#pragma GCC unroll 8
        for (int j = 0; j < columns; ++j) {
          const T* const from = a + j * lda + i;
          const Strip<T> column = load_strip(from, rows);
          prefetch_further_down(from);
          sum.add(j, column, factor[j]);
          sums.add(j, column, strip);
        }
        store_strip(y + i, load_strip(y + i, rows) + sum.value(), rows);
      });
  sums.write(products);
}

/// A := A + x[0] c[0]^T + ..., with `terms` vectors of m elements and as many of factors for the columns.
template <int columns, int terms, Scalar T>
[[gnu::noinline]] void add_outer_products(std::ptrdiff_t m, const T* const (&x)[terms], const T (&c)[terms][columns],
                                          T* a, std::ptrdiff_t lda) {
  Factor<T> factor[terms][columns];
#pragma GCC unroll 2
  for (int t = 0; t < terms; ++t) {
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j) factor[t][j] = Factor<T>(c[t][j]);
  }
  for_each_strip<T>(
      m, [&](std::ptrdiff_t i, auto rows) __attribute__((always_inline)) {
        OuterStrip<T> strip[terms];
#pragma GCC unroll 2
        for (int t = 0; t < terms; ++t) strip[t] = OuterStrip<T>(load_strip(x[t] + i, rows));
#pragma GCC unroll 8
        for (int j = 0; j < columns; ++j) {
          T* const target = a + j * lda + i;
          Strip<T> sum = load_strip(target, rows);
#pragma GCC unroll 2
          for (int t = 0; t < terms; ++t) sum = strip[t].add_to(sum, factor[t][j]);
          store_strip(target, sum, rows);
        }
      });
}

}  // namespace nuv::kernels::inline NUV_ISA
