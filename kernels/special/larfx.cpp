#include <algorithm>
#include <cstdint>

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

/// Some rows of a matrix as they lie in `vectors` vectors, the first and the last of which they may fill in part.
template <int vectors, Scalar T>
class Rows {
 public:
  /// The rows begin at element `first` of the first vector and end before element `last` of the last one.
  Rows(int first, int last) : first_(first), last_(last) {}

  /// Vector i of a column, given what its first vector would have at element 0.
  [[gnu::always_inline]] Simd<Real<T>> load(const T* column, int i) const {
    const T* const from = column + i * elements_per_vector<T>;
    if (is_whole(i)) return load_elements(from);
    if constexpr (masks_are_cheap) return load_element_range(from, begin(i), end(i));
    return load_some(from, end(i));
  }
  [[gnu::always_inline]] void load(const T* column, Simd<Real<T>> (&x)[vectors]) const {
    for (int i = 0; i < vectors; ++i) x[i] = load(column, i);
  }
  [[gnu::always_inline]] void store(T* column, int i, Simd<Real<T>> x) const {
    T* const to = column + i * elements_per_vector<T>;
    if (is_whole(i)) return store_elements(to, x);
    if constexpr (masks_are_cheap) {
      simd::store_between(parts_of(to), x, begin(i) * lanes_per_element<T>, end(i) * lanes_per_element<T>);
    } else {
      store_some(to, x, end(i));
    }
  }

  /// Lanes in which sums over rows are gathered, in the order that they have where the rows begin at the first lane.
  /// Each lane has gathered the same rows then, wherever the matrix lies in memory.
  [[gnu::always_inline]] Simd<Real<T>> in_order(Simd<Real<T>> sums) const {
    if constexpr (!masks_are_cheap) return sums;
    return simd::turned<Real<T>>(sums, first_ * lanes_per_element<T>);
  }

  /// Elements of the first vector in front of the rows with which all columns lie in as few lines as they can. Where
  /// masks are slow a vector is a part of a line, and nothing is won.
  static int elements_in_front(const T* c, Int ldc) {
    const auto address = reinterpret_cast<std::uintptr_t>(c);
    constexpr std::ptrdiff_t line = sizeof(Simd<Real<T>>);
    if (!masks_are_cheap || address % sizeof(T) != 0 || ldc * std::ptrdiff_t{sizeof(T)} % line != 0) return 0;
    return static_cast<int>(address % line / sizeof(T));
  }

 private:
  static constexpr bool masks_are_cheap = sizeof(Simd<Real<T>>) == 64;

  static constexpr bool is_whole(int i) { return i > 0 && i < vectors - 1; }
  int begin(int i) const { return i == 0 ? first_ : 0; }
  int end(int i) const { return i == vectors - 1 ? last_ : elements_per_vector<T>; }

  int first_, last_;
};

/// Vectors of rows that pass through the registers together.
constexpr int most_vectors = 6;

/// Calls visit(std::integral_constant<int, vectors>) for 1 <= vectors <= most_vectors.
template <int vectors = 1, class Visit>
void with_vectors(int count, Visit visit) {
  if (count == vectors) return visit(std::integral_constant<int, vectors>());
  if constexpr (vectors < most_vectors) with_vectors<vectors + 1>(count, visit);
}

/// Calls work(rows, offset) with the m rows of C as Rows of a number of vectors that the compiler knows, in strips of
/// as many as there may be at most. `offset` is that of the element 0 of their first vector from the first row.
template <Scalar T, class Work>
void for_each_strip(Int m, const T* c, Int ldc, Work work) {
  constexpr int width = elements_per_vector<T>;
  int first = Rows<1, T>::elements_in_front(c, ldc);
  for (Int offset = -first; offset < m; offset += most_vectors * width, first = 0) {
    const Int count = std::min<Int>(m - offset, most_vectors * width);
    with_vectors(static_cast<int>((count - 1) / width + 1), [&](auto vectors) {
      work(Rows<vectors(), T>(first, static_cast<int>(count - (vectors() - 1) * width)), offset, vectors);
    });
  }
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

  /// Puts the lanes of all sums into another order.
  template <class Order>
  [[gnu::always_inline]] void reorder(Order in_order) {
    for (int j = 0; j < columns; ++j) {
      straight_[j] = in_order(straight_[j]);
      if constexpr (ComplexScalar<T>) crosswise_[j] = in_order(crosswise_[j]);
    }
  }

  [[gnu::always_inline]] void get(T (&values)[columns]) {
    R re[simd::padded_to_lanes<R>(columns)], im[simd::padded_to_lanes<R>(columns)];
    simd::sums_of_lanes(straight_, re);
    if constexpr (ComplexScalar<T>) {
      for (Simd<R>& x : crosswise_) x *= simd::alternating(R(1), R(-1));
      simd::sums_of_lanes(crosswise_, im);
      for (int j = 0; j < columns; ++j) values[j] = {re[j], im[j]};
    } else {
      for (int j = 0; j < columns; ++j) values[j] = re[j];
    }
  }

 private:
  Simd<R> straight_[columns]{}, crosswise_[columns]{};
};

template <int columns, Scalar T>
[[gnu::always_inline]] inline void get_multiples(InnerProducts<T, columns>& products, T tau,
                                                 Factor<T> (&multiple)[columns]) {
  T values[columns];
  products.get(values);
#pragma GCC unroll 4
  for (int j = 0; j < columns; ++j) multiple[j] = Factor<T>(tau * values[j]);
}

/// C := C - tau v (v^H C) for `columns` columns and a v that the registers hold.
template <int columns, int vectors, Scalar T>
[[gnu::always_inline]] inline void apply_to_columns(const Rows<vectors, T>& rows, const Simd<Real<T>> (&v)[vectors],
                                                    T tau, T* c, Int ldc) {
  InnerProducts<T, columns> products;
#pragma GCC unroll 8
  for (int i = 0; i < vectors; ++i) {
#pragma GCC unroll 4
    for (int j = 0; j < columns; ++j) products.add(j, v[i], rows.load(c + std::ptrdiff_t{j} * ldc, i));
  }
  products.reorder([&](Simd<Real<T>> sums) __attribute__((always_inline)) { return rows.in_order(sums); });
  Factor<T> multiple[columns];
  get_multiples(products, tau, multiple);
#pragma GCC unroll 4
  for (int j = 0; j < columns; ++j) {
    T* const column = c + std::ptrdiff_t{j} * ldc;
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) rows.store(column, i, multiple[j].subtract_product(rows.load(column, i), v[i]));
  }
}

/// The same for a longer v.
template <int columns, Scalar T>
void apply_to_long_columns(Int m, const T* v, T tau, T* c, Int ldc) {
  const auto column = [&](int j) { return c + std::ptrdiff_t{j} * ldc; };
  InnerProducts<T, columns> products;
  for_each_vector<T>(
      m, [&](std::ptrdiff_t i, int count) __attribute__((always_inline)) {
        const Simd<Real<T>> element = load_some(v + i, count);
#pragma GCC unroll 4
        for (int j = 0; j < columns; ++j) products.add(j, element, load_some(column(j) + i, count));
      });
  Factor<T> multiple[columns];
  get_multiples(products, tau, multiple);
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

/// Calls apply(columns, c) for groups of columns of a number that the compiler knows.
template <Scalar T, class Apply>
void for_each_group(Int n, T* c, Int ldc, Apply apply) {
  constexpr int columns = 4;
  Int j = 0;
  for (; j + columns <= n; j += columns) apply(std::integral_constant<int, columns>(), c + std::ptrdiff_t{j} * ldc);
  for (; j < n; ++j) apply(std::integral_constant<int, 1>(), c + std::ptrdiff_t{j} * ldc);
}

template <Scalar T>
void apply_from_left(Int m, Int n, const T* v, T tau, T* c, Int ldc) {
  if (m > (most_vectors - 1) * elements_per_vector<T>) {
    return for_each_group(n, c, ldc,
                          [&](auto columns, T* group) { apply_to_long_columns<columns()>(m, v, tau, group, ldc); });
  }
  for_each_strip(m, c, ldc, [&](auto rows, std::ptrdiff_t offset, auto vectors) {
    Simd<Real<T>> element[vectors()];
    rows.load(v + offset, element);
    for_each_group(
        n, c + offset, ldc, [&](auto columns, T* group) __attribute__((always_inline)) {
          apply_to_columns<columns()>(rows, element, tau, group, ldc);
        });
  });
}

/// C := C - (C v) tau v^H for some rows.
template <int vectors, Scalar T>
[[gnu::always_inline]] inline void apply_to_rows(const Rows<vectors, T>& rows, Int n, const T* v, T tau, T* c,
                                                 Int ldc) {
  Simd<Real<T>> sum[vectors]{};
  for (Int j = 0; j < n; ++j) {
    const Factor<T> weight(v[j]);
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) {
      sum[i] = weight.add_product(sum[i], rows.load(c + std::ptrdiff_t{j} * ldc, i));
    }
  }
  for (Int j = 0; j < n; ++j) {
    T* const column = c + std::ptrdiff_t{j} * ldc;
    const Factor<T> multiple(tau * conjugate(v[j]));
#pragma GCC unroll 8
    for (int i = 0; i < vectors; ++i) {
      rows.store(column, i, multiple.subtract_product(rows.load(column, i), sum[i]));
    }
  }
}

template <Scalar T>
void apply_from_right(Int m, Int n, const T* v, T tau, T* c, Int ldc) {
  for_each_strip(m, c, ldc,
                 [&](auto rows, std::ptrdiff_t offset, auto) { apply_to_rows(rows, n, v, tau, c + offset, ldc); });
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
