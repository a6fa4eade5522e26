#pragma once

// The bottom of the triangular solves: a small triangle, dense in a buffer, against a few vectors' width of right-hand
// sides.

#include <cmath>
#include <limits>

#include "base/quotient.hpp"
#include "base/simd.hpp"
#include "kernels/packed/triangular.hpp"

namespace nuv::packed::inline NUV_ISA {
namespace solve_detail {

using simd::Simd;

/// A vector of right-hand sides in a row of the buffer: of a complex type the real parts and the imaginary ones, which
/// stand `width` reals behind them.
template <Scalar T>
struct RowVector {
  Simd<T> x;

  static RowVector load(const T* row, int) { return {simd::load(row)}; }
  void store(T* row, int) const { simd::store(row, x); }

  /// this -= factor * other
  [[gnu::always_inline]] void subtract(T factor, const RowVector& other) {
    x = simd::fnma(simd::broadcast(factor), other.x, x);
  }
  [[gnu::always_inline]] void multiply(T factor) { x = x * simd::broadcast(factor); }
};

template <RealScalar R>
struct RowVector<std::complex<R>> {
  Simd<R> re, im;

  static RowVector load(const R* row, int width) { return {simd::load(row), simd::load(row + width)}; }
  void store(R* row, int width) const {
    simd::store(row, re);
    simd::store(row + width, im);
  }
  [[gnu::always_inline]] void subtract(std::complex<R> factor, const RowVector& other) {
    const Simd<R> a = simd::broadcast(factor.real()), b = simd::broadcast(factor.imag());
    re = simd::fma(b, other.im, simd::fnma(a, other.re, re));
    im = simd::fnma(b, other.re, simd::fnma(a, other.im, im));
  }
  [[gnu::always_inline]] void multiply(std::complex<R> factor) {
    const Simd<R> a = simd::broadcast(factor.real()), b = simd::broadcast(factor.imag());
    const Simd<R> product_re = simd::fnma(b, im, a * re);
    im = simd::fma(b, re, a * im);
    re = product_re;
  }
};

template <Scalar T>
struct SolveShape {
  static constexpr bool complex = ComplexScalar<T>;
  static constexpr int parts = complex ? 2 : 1;
  static constexpr int vectors = simd::vector_registers == 32 ? (complex ? 2 : 4) : (complex ? 1 : 2);
  static constexpr int columns = vectors * lanes<Real<T>>;  ///< right-hand sides taken together
  static constexpr int rows_together = 4;
};

/// Right-hand sides in a buffer: a row of `width` numbers, whole vectors of them, for each row of the triangle. Real
/// and imaginary parts of a row are apart.
template <Scalar T>
struct SolveBuffer {
  Real<T>* first;       ///< row 0
  std::ptrdiff_t step;  ///< from a row to the next, in reals
  int width;

  Real<T>* row(Int i) const { return first + i * step; }

  T get(Int i, int j) const { return packed::get<Layout::parts_apart, T>(row(i), width, j); }
  void set(Int i, int j, T value) const { put<Layout::parts_apart, T>(row(i), width, j, value); }

  /// The numbers from j on of a row, as many as a vector holds, as they stand in a matrix.
  [[gnu::always_inline]] Simd<Real<T>> numbers(Int i, int j) const {
    if constexpr (RealScalar<T>) {
      return simd::load(row(i) + j);
    } else {
      constexpr int n = lanes<Real<T>>;
      const Real<T>* const re = row(i) + j / n * n;
      const auto pair = simd::interleave<Real<T>>(simd::load(re), simd::load(re + width));
      return j % n == 0 ? pair.first : pair.second;
    }
  }
};

/// Writes the first `count` numbers of a vector.
template <Scalar T>
[[gnu::always_inline]] inline void store_numbers(T* to, Simd<Real<T>> x, Int count) {
  constexpr int n = simd::elements_per_vector<T>, parts = SolveShape<T>::parts;
  if (count >= n) {
    simd::store(reinterpret_cast<Real<T>*>(to), x);
  } else {
    simd::store_first(reinterpret_cast<Real<T>*>(to), x, static_cast<int>(count) * parts);
  }
}

/// Writes `count` numbers of each of the first `order` rows to memory in which the numbers of a row are `along` apart
/// and rows `deep`; one of the two is 1.
template <Scalar T>
void unpack(const SolveBuffer<T>& buffer, Int order, int count, T* to, std::ptrdiff_t along, std::ptrdiff_t deep) {
  constexpr int n = simd::elements_per_vector<T>;
  if (along == 1) {
    for (Int i = 0; i < order; ++i) {
      for (int j = 0; j < count; j += n) store_numbers(to + i * deep + j, buffer.numbers(i, j), count - j);
    }
    return;
  }
  for (int j = 0; j < count; j += n) {
    for (Int i = 0; i < order; i += n) {
      Simd<Real<T>> x[n];
#pragma GCC unroll 16
      for (int s = 0; s < n; ++s) x[s] = buffer.numbers(std::min(i + s, order - 1), j);
      simd::transpose<T, n>(x);
#pragma GCC unroll 16
      for (int k = 0; k < n; ++k) {
        if (j + k >= count) break;
        store_numbers(to + (j + k) * along + i, x[k], order - i);
      }
    }
  }
}

}  // namespace solve_detail

/// A triangle of order up to Block::leaf, lower (an upper one is stored in reverse order), with the inverses of its
/// diagonal.
template <Scalar T>
class SmallTriangle {
 public:
  using Buffer = solve_detail::SolveBuffer<T>;

  SmallTriangle(const TriangularProblem<T>& p, Int i0, Int order) : order_(order), unit_diagonal_(p.M.unit_diagonal) {
    const Int first = p.lower ? i0 : i0 + order - 1;
    const std::ptrdiff_t sign = p.lower ? 1 : -1, along = sign * p.M.along, deep = sign * p.M.deep;
    const auto value = [&](T x) { return p.M.conjugated ? conjugate(x) : x; };
    const T* row = p.M.at(first, first);
    for (Int i = 0; i < order; ++i, row += along) {
      for (Int l = 0; l < i; ++l) entries_[i * leaf + l] = value(row[l * deep]);
      if (unit_diagonal_) continue;
      divisor_[i] = value(row[i * deep]);
      inverse_[i] = quotient(T(1), divisor_[i]);
      exact_division_[i] = !is_safe(divisor_[i]);
    }
  }

  /// Solves for right-hand sides of whole vectors, at most SolveShape::vectors of them.
  void solve(const Buffer& buffer) const { solve_vectors<Shape::vectors>(buffer); }

 private:
  using Shape = solve_detail::SolveShape<T>;
  static constexpr Int leaf = Block<T>::leaf;

  /// A divisor whose inverse neither overflows nor loses digits.
  static bool is_safe(T x) {
    using R = Real<T>;
    const R size = std::abs(std::real(x)) + std::abs(std::imag(x));
    return size > 4 * std::numeric_limits<R>::min() && size < R(0.25) / std::numeric_limits<R>::min();
  }

  template <int vectors>
  [[gnu::noinline]] void solve_vectors(const Buffer& buffer) const {
    if constexpr (vectors > 1) {
      if (buffer.width < vectors * lanes<Real<T>>) return solve_vectors<vectors - 1>(buffer);
    }
    constexpr int together = Shape::rows_together;
    Int i0 = 0;
    for (; i0 + together <= order_; i0 += together) solve_rows<together, vectors>(i0, buffer);
    for (; i0 < order_; ++i0) solve_rows<1, vectors>(i0, buffer);
  }

  template <int count, int vectors>
  [[gnu::always_inline]] void solve_rows(Int i0, const Buffer& buffer) const {
    using Row = solve_detail::RowVector<T>;
    constexpr int n = lanes<Real<T>>, width = vectors * n;
    Row rest[count][vectors];
    const auto load = [&](Int i, Row(&x)[vectors]) __attribute__((always_inline)) {
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) x[v] = Row::load(buffer.row(i) + v * n, width);
    };
    const auto store = [&](Int i, const Row(&x)[vectors]) __attribute__((always_inline)) {
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) x[v].store(buffer.row(i) + v * n, width);
    };
    const auto subtract = [&](int r, Int l, const Row(&x)[vectors]) __attribute__((always_inline)) {
      const T factor = entries_[(i0 + r) * leaf + l];
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) rest[r][v].subtract(factor, x[v]);
    };
#pragma GCC unroll 4
    for (int r = 0; r < count; ++r) load(i0 + r, rest[r]);
    for (Int l = 0; l < i0; ++l) {
      Row x[vectors];
      load(l, x);
#pragma GCC unroll 4
      for (int r = 0; r < count; ++r) subtract(r, l, x);
    }
#pragma GCC unroll 4
    for (int r = 0; r < count; ++r) {
#pragma GCC unroll 4
      for (int l = 0; l < r; ++l) subtract(r, i0 + l, rest[l]);
      if (unit_diagonal_) continue;
      if (exact_division_[i0 + r]) {
        store(i0 + r, rest[r]);
        divide(i0 + r, buffer);
        load(i0 + r, rest[r]);
      } else {
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) rest[r][v].multiply(inverse_[i0 + r]);
      }
    }
#pragma GCC unroll 4
    for (int r = 0; r < count; ++r) store(i0 + r, rest[r]);
  }

  [[gnu::noinline]] void divide(Int i, const Buffer& buffer) const {
    for (int j = 0; j < buffer.width; ++j) buffer.set(i, j, quotient(buffer.get(i, j), divisor_[i]));
  }

  Int order_;
  bool unit_diagonal_;
  T entries_[leaf * leaf];
  T divisor_[leaf], inverse_[leaf];
  bool exact_division_[leaf];
};

/// Solves M Y = Y on rows i0 to i0 + order of a problem, order <= Block::leaf.
template <Scalar T>
[[gnu::noinline]] void solve_block(const TriangularProblem<T>& p, Int i0, Int order) {
  using Shape = solve_detail::SolveShape<T>;
  constexpr int n = lanes<Real<T>>;
  const SmallTriangle<T> triangle(p, i0, order);
  alignas(64) Real<T> room[Block<T>::leaf * Shape::columns * Shape::parts];
  const std::ptrdiff_t along = p.left ? p.B.ld : 1, deep = p.left ? 1 : p.B.ld;
  for (Int j0 = 0; j0 < p.columns; j0 += Shape::columns) {
    const int count = std::min<Int>(Shape::columns, p.columns - j0);
    const int width = (count + n - 1) / n * n;
    const std::ptrdiff_t step = width * Shape::parts;
    T* const y = p.y(i0, j0);
    pack_strided<Layout::parts_apart, Shape::columns>(y, along, deep, false, count, width, order, room);
    const solve_detail::SolveBuffer<T> buffer{room, step, width}, reversed{room + (order - 1) * step, -step, width};
    triangle.solve(p.lower ? buffer : reversed);
    unpack(buffer, order, count, y, along, deep);
  }
}

}  // namespace nuv::packed::inline NUV_ISA
