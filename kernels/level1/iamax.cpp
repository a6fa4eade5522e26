#include <algorithm>
#include <cmath>

#include "kernels/level1/magnitude.hpp"
#include "kernels/level1/walks.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// Magnitudes of the numbers in a register; that of a complex number in the lanes of both its parts.
template <Scalar T>
[[gnu::always_inline]] inline auto magnitudes(const T* from) {
  using R = Real<T>;
  simd::Simd<R> x = simd::abs<R>(simd::load(as_reals(from)));
  if constexpr (ComplexScalar<T>) x += simd::swap_neighbours<R>(x);
  return simd::in_register(x);
}

/// The order in which the largest comes first. What is not a number is never preferred.
struct LargestFirst {
  static auto prefers(auto a, auto b) { return a > b; }
};

struct SmallestFirst {
  static auto prefers(auto a, auto b) { return a < b; }
};

/// Lane by lane, or of two numbers: a if it comes first in the order, else b.
template <class Order, class V>
[[gnu::always_inline]] inline V preferred(V a, V b) {
  return Order::prefers(a, b) ? a : b;
}

/// How many numbers a register holds.
template <Scalar T>
inline constexpr int width = simd::lanes<Real<T>> / parts<T>;

/// In some lane the magnitude that Order prefers among `best` and those of n >= width contiguous numbers; in all lanes
/// that is `best` itself if it is preferred. The last register may overlap the one before.
template <class Order, Scalar T>
[[gnu::always_inline]] inline auto best_magnitudes(std::ptrdiff_t n, const T* x, Real<T> best) {
  using V = simd::Simd<Real<T>>;
  constexpr int chains = 4;
  V chain[chains];
  for (V& one : chain) one = simd::broadcast(best);
  std::ptrdiff_t i = 0;
#pragma GCC unroll 1
  for (; i + chains * width<T> <= n; i += chains * width<T>) {
#pragma GCC unroll 4
    for (int k = 0; k < chains; ++k) chain[k] = preferred<Order>(magnitudes(x + i + k * width<T>), chain[k]);
  }
  for (; i + width<T> <= n; i += width<T>) chain[0] = preferred<Order>(magnitudes(x + i), chain[0]);
  if (i < n) chain[1] = preferred<Order>(magnitudes(x + n - width<T>), chain[1]);
  return preferred<Order>(preferred<Order>(chain[0], chain[1]), preferred<Order>(chain[2], chain[3]));
}

/// Place, from zero, of the first of n >= width contiguous numbers that has a magnitude which one of them has.
template <Scalar T>
[[gnu::always_inline]] inline std::ptrdiff_t first_of_magnitude(std::ptrdiff_t n, const T* x, Real<T> magnitude) {
  const auto wanted = simd::broadcast(magnitude);
  for (std::ptrdiff_t i = 0;; i = std::min(i + width<T>, n - width<T>)) {
    if (const unsigned found = simd::equal_lanes(magnitudes(x + i), wanted)) {
      return i + __builtin_ctz(found) / parts<T>;
    }
  }
}

/// A long vector is read once, in pieces of so many registers; the best piece, then in cache, is read again for the
/// place.
constexpr int registers_of_piece = 64;

template <class Order, Scalar T>
[[gnu::always_inline]] inline Int first_best_contiguous(Int n, const T* x) {
  using R = Real<T>;
  using V = simd::Simd<R>;
  constexpr std::ptrdiff_t piece = registers_of_piece * width<T>;
  constexpr unsigned all_lanes = (1u << simd::lanes<R>)-1;
  R best = magnitude(x[0]);
  if (std::isnan(best)) return 1;
  std::ptrdiff_t start_of_best = 0;
  for (std::ptrdiff_t start = 0; start < n; start += piece) {
    // The last piece reaches back when it is shorter than a register; what it repeats is not preferred again.
    const std::ptrdiff_t from = std::min(start, std::ptrdiff_t{n} - width<T>);
    const auto candidates = best_magnitudes<Order>(std::min(piece, n - from), x + from, best);
    if (simd::equal_lanes(candidates, simd::broadcast(best)) != all_lanes) {
      best = simd::fold_lanes<R>(candidates, [](V a, V b) { return preferred<Order>(a, b); });
      start_of_best = from;
    }
  }
  return static_cast<Int>(start_of_best + first_of_magnitude(n - start_of_best, x + start_of_best, best)) + 1;
}

/// Numbers from which registers are faster: the way from their lanes to a place is long.
constexpr int fewest_in_registers = 16;

template <class Order, Scalar T>
[[gnu::always_inline]] inline Int first_best(Int n, const T* x, Int incx) {
  if (n < 1 || incx < 1) return 0;
  if (incx == 1 && n >= std::max(width<T>, fewest_in_registers)) return first_best_contiguous<Order>(n, x);
  Int place = 1;
  Real<T> best = magnitude(x[0]);
  for (Int i = 1; i < n; ++i) {
    const Real<T> candidate = magnitude(element(x, i, incx));
    if (Order::prefers(candidate, best)) {
      place = i + 1;
      best = candidate;
    }
  }
  return place;
}

}  // namespace

/// Position, from one, of the first element of largest |re| + |im|; 0 if n or incx is below 1.
template <Scalar T>
[[gnu::always_inline]] inline Int iamax(Int n, const T* x, Int incx) {
  return first_best<LargestFirst>(n, x, incx);
}

/// Position, from one, of the first element of smallest |re| + |im|; 0 if n or incx is below 1.
template <Scalar T>
[[gnu::always_inline]] inline Int iamin(Int n, const T* x, Int incx) {
  return first_best<SmallestFirst>(n, x, incx);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level1/iamax.entries.inc"
