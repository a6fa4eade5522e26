#pragma once

// What is packed across the diagonal of an operand, and isn't what its elements are: zeros where a triangle has none,
// complex numbers for the ones and the real numbers on a diagonal. A finite number meets them without harm. For a tile
// where an infinity or a NaN would meet them, the elements of C are formed one by one.

#include <algorithm>

#include "kernels/finite_check.hpp"
#include "kernels/packed/pack.hpp"
#include "kernels/packed/tile.hpp"

namespace nuv::packed::inline NUV_ISA {

template <RealScalar R>
using FiniteCheck = kernels::FiniteCheck<R, 4>;

/// Takes numbers that stand one behind the other.
template <RealScalar R>
[[gnu::noinline]] void take(const R* x, std::ptrdiff_t count, FiniteCheck<R>& check) {
  FiniteCheck<R> here = check;
  std::ptrdiff_t i = 0;
  for (; i + 4 * lanes<R> <= count; i += 4 * lanes<R>) {
#pragma GCC unroll 4
    for (int c = 0; c < 4; ++c) here.take(simd::load(x + i + c * lanes<R>), c);
  }
  for (; i < count; i += lanes<R>) {
    here.take(tile_detail::load_rows(x + i, static_cast<int>(std::min<std::ptrdiff_t>(lanes<R>, count - i))), 0);
  }
  check = here;
}

/// The slivers of a tile, `steps` long from step l0 on, and its place in C.
template <Scalar T>
struct TileOfSlivers {
  const Real<T>*a, *b;
  Int l0, steps, i0, j0;
  int rows, columns;

  int width_of_a() const { return round_up(rows, lanes<Real<T>>); }
  static constexpr int width_of_b = Tile<T>::columns;

  const Real<T>* step_of_a(Int l) const { return a + std::ptrdiff_t{l} * width_of_a() * Tile<T>::parts; }
  const Real<T>* step_of_b(Int l) const { return b + std::ptrdiff_t{l} * width_of_b * Tile<T>::parts; }
};

/// Whether numbers that are not finite meet substitutes in a tile.
template <Scalar T>
[[gnu::noinline]] bool meets_substitutes(const Operand<T>& A, const Operand<T>& B, TileOfSlivers<T> tile) {
  FiniteCheck<Real<T>> check;
  const auto step_at = [&](Int l) { return std::clamp(l - tile.l0, Int{0}, tile.steps); };
  const auto take_steps = [&](const Real<T>* from, const Real<T>* until) { take(from, until - from, check); };
  if (A.has_substitutes()) {
    take_steps(tile.step_of_b(step_at(tile.i0)), tile.step_of_b(step_at(tile.i0 + tile.rows)));
  }
  if (B.has_substitutes()) {
    take_steps(tile.step_of_a(step_at(tile.j0)), tile.step_of_a(step_at(tile.j0 + tile.columns)));
  }
  return !check.passed();
}

/// Adds the product of two numbers, of which the first is an element of this kind.
template <Scalar T>
void add_product(ElementKind kind, T element, T other, T& sum) {
  switch (kind) {
    case ElementKind::none:
      return;
    case ElementKind::real:
      sum += std::real(element) * other;
      return;
    case ElementKind::plain:
      sum += element * other;
  }
}

/// A tile of C := alpha A B + beta C of which each element gets the terms that it has, and no others.
template <Scalar T>
[[gnu::noinline]] void multiply_tile_by_elements(const Operand<T>& A, const Operand<T>& B, TileOfSlivers<T> tile,
                                                 Update<T> update, Matrix<T> C) {
  for (Int j = 0; j < tile.columns; ++j) {
    for (Int i = 0; i < tile.rows; ++i) {
      T sum{};
      for (Int l = 0; l < tile.steps; ++l) {
        const T a = get<Layout::parts_apart, T>(tile.step_of_a(l), tile.width_of_a(), i);
        const T b = get<Layout::pairs, T>(tile.step_of_b(l), tile.width_of_b, j);
        if (A.has_substitutes()) {
          add_product(A.kind_of(tile.i0 + i, tile.l0 + l), a, b, sum);
        } else {
          add_product(B.kind_of(tile.j0 + j, tile.l0 + l), b, a, sum);
        }
      }
      update.apply(sum, C(tile.i0 + i + 1, tile.j0 + j + 1));
    }
  }
}

}  // namespace nuv::packed::inline NUV_ISA
