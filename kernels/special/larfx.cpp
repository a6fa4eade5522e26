#include <algorithm>

#include "base/short_reflector.hpp"
#include "frame/option_matching.hpp"
#include "kernels/special/elements.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// Calls visit(offset, count) for whole vectors of elements, count known to the compiler, and for the rest behind them.
template <Scalar T, class Visit>
[[gnu::always_inline]] inline void for_each_vector(Int n, Visit visit) {
  constexpr int width = elements_per_vector<T>;
  std::ptrdiff_t i = 0;
  for (; i + width <= n; i += width) visit(i, width);
  if (i < n) visit(i, static_cast<int>(n - i));
}

template <Scalar T>
[[gnu::always_inline]] inline Simd<Real<T>> load_some(const T* from, int count) {
  return count == elements_per_vector<T> ? load_elements(from) : load_elements(from, count);
}
template <Scalar T>
[[gnu::always_inline]] inline void store_some(T* to, Simd<Real<T>> x, int count) {
  if (count == elements_per_vector<T>) {
    store_elements(to, x);
  } else {
    store_elements(to, x, count);
  }
}

/// C := C - (C v) tau v^H for a short v: as long as a row. All columns pass through the registers at once.
template <int order, Scalar T>
void apply_short_from_right(Int m, const T* v, T tau, T* c, Int ldc) {
  Factor<T> weight[order], multiple[order];
#pragma GCC unroll 10
  for (int j = 0; j < order; ++j) {
    weight[j] = Factor<T>(v[j]);
    multiple[j] = Factor<T>(tau * conjugate(v[j]));
  }
  for_each_vector<T>(
      m, [&](std::ptrdiff_t i, int count) __attribute__((always_inline)) {
        Simd<Real<T>> x[order], sum{};
#pragma GCC unroll 10
        for (int j = 0; j < order; ++j) {
          x[j] = load_some(c + std::ptrdiff_t{j} * ldc + i, count);
          sum = weight[j].add_product(sum, x[j]);
        }
#pragma GCC unroll 10
        for (int j = 0; j < order; ++j) {
          store_some(c + std::ptrdiff_t{j} * ldc + i, multiple[j].subtract_product(x[j], sum), count);
        }
      });
}

/// Inner products v^H c of columns c.
template <Scalar T, int columns>
class InnerProducts {
  using R = Real<T>;

 public:
  [[gnu::always_inline]] void add(int j, Simd<R> v, Simd<R> c) {
    straight_[j] = simd::fma(v, c, straight_[j]);
    if constexpr (ComplexScalar<T>) crosswise_[j] = simd::fma(v, simd::swap_neighbours<R>(c), crosswise_[j]);
  }
  T value(int j) const {
    if constexpr (ComplexScalar<T>) {
      return {simd::sum_of_lanes<R>(straight_[j]),
              simd::sum_of_lanes<R>(crosswise_[j] * simd::alternating(R(1), R(-1)))};
    } else {
      return simd::sum_of_lanes<R>(straight_[j]);
    }
  }

 private:
  Simd<R> straight_[columns]{}, crosswise_[columns]{};
};

/// C := C - tau v (v^H C) for `columns` columns.
template <int columns, Scalar T>
void apply_to_columns(Int m, const T* v, T tau, T* c, Int ldc) {
  const auto column = [&](int j) { return c + std::ptrdiff_t{j} * ldc; };
  InnerProducts<T, columns> products;
  for_each_vector<T>(
      m, [&](std::ptrdiff_t i, int count) __attribute__((always_inline)) {
        const Simd<Real<T>> element = load_some(v + i, count);
#pragma GCC unroll 4
        for (int j = 0; j < columns; ++j) products.add(j, element, load_some(column(j) + i, count));
      });
  Factor<T> multiple[columns];
#pragma GCC unroll 4
  for (int j = 0; j < columns; ++j) multiple[j] = Factor<T>(tau * products.value(j));
  for_each_vector<T>(
      m, [&](std::ptrdiff_t i, int count) __attribute__((always_inline)) {
        const Simd<Real<T>> element = load_some(v + i, count);
#pragma GCC unroll 4
        for (int j = 0; j < columns; ++j) {
          T* const place = column(j) + i;
          store_some(place, multiple[j].subtract_product(load_some(place, count), element), count);
        }
      });
}

template <Scalar T>
void apply_from_left(Int m, Int n, const T* v, T tau, T* c, Int ldc) {
  constexpr int columns = 4;
  Int j = 0;
  for (; j + columns <= n; j += columns) apply_to_columns<columns>(m, v, tau, c + std::ptrdiff_t{j} * ldc, ldc);
  for (; j < n; ++j) apply_to_columns<1>(m, v, tau, c + std::ptrdiff_t{j} * ldc, ldc);
}

/// C := C - (C v) tau v^H for `vectors` vectors of rows, of the last of them `count` elements.
template <int vectors, Scalar T>
[[gnu::always_inline]] inline void apply_to_rows(Int n, const T* v, T tau, T* c, Int ldc, int count) {
  constexpr int width = elements_per_vector<T>;
  const auto load = [&](const T* column, int i) __attribute__((always_inline)) {
    return i == vectors - 1 ? load_some(column + i * width, count) : load_elements(column + i * width);
  };
  Simd<Real<T>> sum[vectors]{};
  for (Int j = 0; j < n; ++j) {
    const T* const column = c + std::ptrdiff_t{j} * ldc;
    const Factor<T> weight(v[j]);
#pragma GCC unroll 4
    for (int i = 0; i < vectors; ++i) sum[i] = weight.add_product(sum[i], load(column, i));
  }
  for (Int j = 0; j < n; ++j) {
    T* const column = c + std::ptrdiff_t{j} * ldc;
    const Factor<T> multiple(tau * conjugate(v[j]));
#pragma GCC unroll 4
    for (int i = 0; i < vectors; ++i) {
      store_some(column + i * width, multiple.subtract_product(load(column, i), sum[i]),
                 i == vectors - 1 ? count : width);
    }
  }
}

template <Scalar T>
void apply_from_right(Int m, Int n, const T* v, T tau, T* c, Int ldc) {
  constexpr int width = elements_per_vector<T>, vectors = 4;
  Int i = 0;
  for (; i + vectors * width <= m; i += vectors * width) apply_to_rows<vectors>(n, v, tau, c + i, ldc, width);
  for (; i + width <= m; i += width) apply_to_rows<1>(n, v, tau, c + i, ldc, width);
  if (i < m) apply_to_rows<1>(n, v, tau, c + i, ldc, m - i);
}

}  // namespace

/// Applies the elementary reflector H = I - tau v v^H to an m by n matrix C: H C (side 'L', v of length m) or C H (any
/// other side, v of length n). v is used as it stands, its first element included. With tau = 0 nothing is looked at.
///
/// work    not used: C goes through the registers in strips that need no memory
template <Scalar T>
void larfx(char side, Int m, Int n, const T* v, T tau, T* c, Int ldc, T*) {
  if (tau == T(0) || m <= 0 || n <= 0) return;
  if (same_letter(side, 'L')) {
    if (m > longest_short_reflector) return apply_from_left(m, n, v, tau, c, ldc);
    with_constant(m, [&](auto order) { apply_short_from_left<order()>(n, v, tau, c, ldc); });
  } else {
    if (n > longest_short_reflector) return apply_from_right(m, n, v, tau, c, ldc);
    with_constant(n, [&](auto order) { apply_short_from_right<order()>(m, v, tau, c, ldc); });
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/larfx.entries.inc"
