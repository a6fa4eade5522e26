#pragma once

// The bottom of the triangular solves: a small triangle, dense in a buffer, against a few vectors' width of right-hand
// sides.

#include <cmath>
#include <limits>

#include "base/quotient.hpp"
#include "base/simd.hpp"
#include "threading/level3/triangular.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace solve_detail {

using simd::Simd;

/// A row of right-hand sides in vectors: one for a real type, real and imaginary parts for a complex one.
template <Scalar T>
struct RowVector {
  Simd<T> x;

  static RowVector load(const T* row, int v) { return {simd::load(row + v * lanes<T>)}; }
  void store(T* row, int v) const { simd::store(row + v * lanes<T>, x); }

  /// this -= factor * other
  [[gnu::always_inline]] void subtract(T factor, const RowVector& other) {
    x = simd::fnma(simd::broadcast(factor), other.x, x);
  }
  [[gnu::always_inline]] void multiply(T factor) { x = x * simd::broadcast(factor); }
};

template <RealScalar R>
struct RowVector<std::complex<R>> {
  Simd<R> re, im;

  static RowVector load(const R* row, int v) {
    return {simd::load(row + 2 * v * lanes<R>), simd::load(row + (2 * v + 1) * lanes<R>)};
  }
  void store(R* row, int v) const {
    simd::store(row + 2 * v * lanes<R>, re);
    simd::store(row + (2 * v + 1) * lanes<R>, im);
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
  static constexpr int vectors = simd::vector_registers == 32 ? (complex ? 2 : 4) : (complex ? 1 : 2);
  static constexpr int columns = vectors * lanes<Real<T>>;       ///< right-hand sides taken together
  static constexpr int row_reals = columns * (complex ? 2 : 1);  ///< reals in a row of the buffer
  static constexpr int rows_together = 4;
};

/// Where column j of a row stands: real and imaginary parts are apart, vector by vector.
template <Scalar T>
struct BufferRow {
  Real<T>* row;

  static constexpr int n = lanes<Real<T>>;
  T get(int j) const {
    if constexpr (RealScalar<T>) return row[j];
    else return T(row[j / n * 2 * n + j % n], row[j / n * 2 * n + n + j % n]);
  }
  void set(int j, T value) const {
    if constexpr (RealScalar<T>) {
      row[j] = value;
    } else {
      row[j / n * 2 * n + j % n] = value.real();
      row[j / n * 2 * n + n + j % n] = value.imag();
    }
  }
};

}  // namespace solve_detail

/// A triangle of order up to Block::leaf, lower (an upper one is stored in reverse order), with the inverses of its
/// diagonal.
template <Scalar T>
class SmallTriangle {
 public:
  SmallTriangle(const TriangularProblem<T>& p, Int i0, Int order) : order_(order) {
    const auto index = [&](Int i) { return i0 + (p.lower ? i : order - 1 - i); };
    for (Int i = 0; i < order; ++i) {
      for (Int l = 0; l < i; ++l) entries_[i * leaf + l] = p.M.fetch(index(i), index(l));
      divisor_[i] = p.M.fetch(index(i), index(i));
      inverse_[i] = quotient(T(1), divisor_[i]);
      exact_division_[i] = !is_safe(divisor_[i]);
    }
  }

  /// Solves for the rows of a buffer of SolveShape::columns right-hand sides.
  [[gnu::noinline]] void solve(Real<T>* buffer) const {
    using namespace solve_detail;
    constexpr int together = Shape::rows_together;
    Int i0 = 0;
    for (; i0 + together <= order_; i0 += together) solve_rows<together>(i0, buffer);
    for (; i0 < order_; ++i0) solve_rows<1>(i0, buffer);
  }

 private:
  using Shape = solve_detail::SolveShape<T>;
  static constexpr Int leaf = Block<T>::leaf;

  /// A divisor whose inverse neither overflows nor loses digits.
  static bool is_safe(T x) {
    using R = Real<T>;
    const R size = std::abs(std::real(x)) + std::abs(std::imag(x));
    return size > 4 * std::numeric_limits<R>::min() && size < R(0.25) / std::numeric_limits<R>::min();
  }

  template <int count>
  [[gnu::always_inline]] void solve_rows(Int i0, Real<T>* buffer) const {
    using Row = solve_detail::RowVector<T>;
    constexpr int vectors = Shape::vectors;
    const auto row = [&](Int i) { return buffer + i * Shape::row_reals; };
    Row rest[count][vectors];
#pragma GCC unroll 4
    for (int r = 0; r < count; ++r) {
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) rest[r][v] = Row::load(row(i0 + r), v);
    }
    for (Int l = 0; l < i0; ++l) {
      Row x[vectors];
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) x[v] = Row::load(row(l), v);
#pragma GCC unroll 4
      for (int r = 0; r < count; ++r) {
        const T factor = entries_[(i0 + r) * leaf + l];
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) rest[r][v].subtract(factor, x[v]);
      }
    }
#pragma GCC unroll 4
    for (int r = 0; r < count; ++r) {
#pragma GCC unroll 4
      for (int l = 0; l < r; ++l) {
        const T factor = entries_[(i0 + r) * leaf + i0 + l];
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) rest[r][v].subtract(factor, rest[l][v]);
      }
      if (exact_division_[i0 + r]) {
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) rest[r][v].store(row(i0 + r), v);
        divide(i0 + r, row(i0 + r));
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) rest[r][v] = Row::load(row(i0 + r), v);
      } else {
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) rest[r][v].multiply(inverse_[i0 + r]);
      }
    }
#pragma GCC unroll 4
    for (int r = 0; r < count; ++r) {
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) rest[r][v].store(row(i0 + r), v);
    }
  }

  [[gnu::noinline]] void divide(Int i, Real<T>* row) const {
    const solve_detail::BufferRow<T> x{row};
    for (int j = 0; j < Shape::columns; ++j) x.set(j, quotient(x.get(j), divisor_[i]));
  }

  Int order_;
  T entries_[leaf * leaf];
  T divisor_[leaf], inverse_[leaf];
  bool exact_division_[leaf];
};

/// Solves M Y = Y on rows i0 to i0 + order of a problem, order <= Block::leaf.
template <Scalar T>
[[gnu::noinline]] void solve_block(const TriangularProblem<T>& p, Int i0, Int order) {
  using Shape = solve_detail::SolveShape<T>;
  const SmallTriangle<T> triangle(p, i0, order);
  alignas(64) Real<T> buffer[Block<T>::leaf * Shape::row_reals];
  const auto buffer_row = [&](Int i) {
    return solve_detail::BufferRow<T>{buffer + (p.lower ? i : order - 1 - i) * Shape::row_reals};
  };
  for (Int j0 = 0; j0 < p.columns; j0 += Shape::columns) {
    const int count = std::min<Int>(Shape::columns, p.columns - j0);
    // The longer stride outside, so that memory is walked in order.
    const auto each = [&](auto visit) {
      if (p.left) {
        for (int j = 0; j < count; ++j) {
          T* const y = p.y(i0, j0 + j);
          for (Int i = 0; i < order; ++i) visit(buffer_row(i), j, y[i]);
        }
      } else {
        for (Int i = 0; i < order; ++i) {
          T* const y = p.y(i0 + i, j0);
          for (int j = 0; j < count; ++j) visit(buffer_row(i), j, y[j]);
        }
      }
    };
    if (count < Shape::columns) std::fill_n(buffer, order * Shape::row_reals, Real<T>(0));
    each([](auto row, int j, T& y) { row.set(j, y); });
    triangle.solve(buffer);
    each([](auto row, int j, T& y) { y = row.get(j); });
  }
}

}  // namespace nuv::threading::inline NUV_ISA
