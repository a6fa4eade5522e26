#pragma once

// Symmetric matrices of some dozens of rows in a lower triangle whose columns begin at the same place in a line of
// memory: what lies under the diagonal of a band is like that. The vectors beside it fit into the registers, and a
// vector of the triangle is a line, the first and the last in part, so that no load or store crosses from one line to
// the next; crossings take half the time of so short a product otherwise. For real numbers where a vector is a line;
// all else goes the way of larger matrices. Inner products are summed up lane by lane, so that their rounding depends
// on the place in a line.

#include <cstdint>
#include <utility>

#include "base/simd.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// The rows of such a triangle in `vectors` vectors: row 0 in lane `front` of the first, the last row before lane `end`
/// of the last.
template <int vectors, RealScalar R>
class ShortLower {
  using Vector = simd::Simd<R>;
  static constexpr int lanes = simd::lanes<R>;

 public:
  ShortLower(int front, int end) : front_(front), end_(end) {}

  /// y := alpha A x. False, and nothing done, for factors that are not finite: zeros stand for what is not of the
  /// triangle, and the sums of a row are multiplied by alpha together.
  bool multiply(R alpha, const R* a, Int lda, const R* x, R* y) const {
    Vector xs[vectors], sum[vectors]{};
    load(x, xs);
    if (!is_finite(xs) || alpha * 0 != 0) return false;
    for_each_vector([&](auto b) __attribute__((always_inline)) { add_columns<b()>(a, lda, x, xs, sum); });
    for_each_vector([&](auto b) __attribute__((always_inline)) {
      simd::store_between(y - front_ + b() * lanes, simd::broadcast(alpha) * sum[b()], from(b()), until(b()));
    });
    return true;
  }

  /// A := A + alpha x y^T + alpha y x^T
  bool update(R alpha, const R* x, const R* y, R* a, Int lda) const {
    Vector xs[vectors], ys[vectors];
    load(x, xs);
    load(y, ys);
    for_each_vector([&](auto b) __attribute__((always_inline)) {
      for (int lane = from(b()); lane < until(b()); ++lane) {
        const Int j = b() * lanes + lane - front_;
        const Vector of_x = simd::broadcast(alpha * y[j]), of_y = simd::broadcast(alpha * x[j]);
        R* const column = a + std::ptrdiff_t{j} * lda - front_;
        for_each_vector([&](auto i) __attribute__((always_inline)) {
          if constexpr (i() >= b()) {
            const int first = i() == b() ? lane : 0;
            R* const place = column + i() * lanes;
            const Vector old = load_rows<i(), i() == b()>(place, first);
            store_rows<i(), i() == b()>(place, simd::fma(of_x, xs[i()], simd::fma(of_y, ys[i()], old)), first);
          }
        });
      }
    });
    return true;
  }

 private:
  /// Calls visit(b) for all vectors, b a constant.
  template <class Visit>
  [[gnu::always_inline]] static void for_each_vector(Visit visit) {
    [&]<int... b>(std::integer_sequence<int, b...>) __attribute__((always_inline)) {
      (visit(std::integral_constant<int, b>()), ...);
    }
    (std::make_integer_sequence<int, vectors>());
  }

  int from(int b) const { return b == 0 ? front_ : 0; }
  int until(int b) const { return b == vectors - 1 ? end_ : lanes; }

  [[gnu::always_inline]] void load(const R* x, Vector (&to)[vectors]) const {
    for_each_vector([&](auto b) __attribute__((always_inline)) {
      to[b()] = simd::load_between(x - front_ + b() * lanes, from(b()), until(b()));
    });
  }

  static bool is_finite(const Vector (&x)[vectors]) {
    Vector zero{};
    for_each_vector([&](auto b) __attribute__((always_inline)) { zero = simd::fma(x[b()], Vector{}, zero); });
    return simd::sum_of_lanes<R>(zero) == 0;
  }

  /// Vector i of a column, from lane `first` on where it is cut there.
  template <int i, bool is_cut>
  [[gnu::always_inline]] Vector load_rows(const R* place, int first) const {
    if constexpr (is_cut) return simd::load_between(place, first, until(i));
    return i == vectors - 1 ? simd::load_first(place, end_) : simd::load(place);
  }
  template <int i, bool is_cut>
  [[gnu::always_inline]] void store_rows(R* place, Vector x, int first) const {
    if constexpr (is_cut) return simd::store_between(place, x, first, until(i));
    i == vectors - 1 ? simd::store_first(place, x, end_) : simd::store(place, x);
  }

  /// The columns whose diagonal elements lie in vector b: their lower part meets x from the left, and gives an inner
  /// product with x for the row of each that lies above the diagonal.
  template <int b>
  [[gnu::always_inline]] void add_columns(const R* a, Int lda, const R* x, const Vector (&xs)[vectors],
                                          Vector (&sum)[vectors]) const {
    Vector products[lanes]{};
    for (int lane = from(b); lane < until(b); ++lane) {
      const Int j = b * lanes + lane - front_;
      const R* const column = a + std::ptrdiff_t{j} * lda - front_;
      const Vector xj = simd::broadcast(x[j]);
      sum[b] = simd::fma(load_rows<b, true>(column + b * lanes, lane), xj, sum[b]);
      Vector product = load_rows<b, true>(column + b * lanes, lane + 1) * xs[b];
      for_each_vector([&](auto i) __attribute__((always_inline)) {
        if constexpr (i() > b) {
          const Vector rows = load_rows<i(), false>(column + i() * lanes, 0);
          sum[i()] = simd::fma(rows, xj, sum[i()]);
          product = simd::fma(rows, xs[i()], product);
        }
      });
      products[lane] = product;
    }
    R sums[simd::padded_to_lanes<R>(lanes)];
    simd::sums_of_lanes(products, sums);
    sum[b] += simd::load(sums);
  }

  int front_, end_;
};

/// What work(triangle) gives for the ShortLower of a triangle of order n > 0, if it is one; false if not.
template <RealScalar R, class Work>
bool with_short_lower(Int n, const R* a, Int lda, Work work) {
  constexpr int line = 64, lanes = simd::lanes<R>, most_vectors = sizeof(R) == 8 ? 6 : 4;
  if constexpr (sizeof(simd::Simd<R>) == line) {
    const auto address = reinterpret_cast<std::uintptr_t>(a);
    if (lda * std::ptrdiff_t{sizeof(R)} % line != 0 || address % sizeof(R) != 0) return false;
    const int front = static_cast<int>(address % line / sizeof(R));
    if (n > most_vectors * lanes - front) return false;
    const int vectors = (front + n - 1) / lanes + 1;
    bool done = false;
    [&]<int... i>(std::integer_sequence<int, i...>) {
      ((vectors == i + 1 && (done = work(ShortLower<i + 1, R>(front, front + n - i * lanes)))), ...);
    }
    (std::make_integer_sequence<int, most_vectors>());
    return done;
  } else {
    return false;
  }
}

}  // namespace nuv::kernels::inline NUV_ISA
