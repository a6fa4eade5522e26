#pragma once

// Packing: operands of a product are copied into slivers in the order in which the register tile reads them.

#include <algorithm>

#include "base/matrix.hpp"
#include "base/simd.hpp"

namespace nuv::threading::inline NUV_ISA {

using simd::lanes;

enum class Structure {
  full,
  lower_stored,      ///< symmetric or Hermitian, the triangle l <= i is stored
  upper_stored,      ///< likewise, l >= i
  lower_triangular,  ///< zero for l > i
  upper_triangular,  ///< zero for l < i
};

/// One operand of a product, seen as a function of i, the index along the side of C that it covers (rows for the left
/// operand, columns for the right one), and l, the index that the product sums over.
template <Scalar T>
struct Operand {
  const T* data;
  std::ptrdiff_t along;  ///< distance from i to i + 1
  std::ptrdiff_t deep;   ///< distance from l to l + 1
  bool conjugated = false;
  Structure structure = Structure::full;
  bool hermitian = false;      ///< the mirrored triangle is conjugated, the diagonal real
  bool unit_diagonal = false;  ///< of a triangular operand

  const T* at(Int i, Int l) const { return data + i * along + l * deep; }

  /// Element (i, l) where it takes a look at the diagonal to know.
  T fetch(Int i, Int l) const {
    const bool below = l < i;
    switch (structure) {
      case Structure::full:
        break;
      case Structure::lower_stored:
      case Structure::upper_stored: {
        if (i == l) return hermitian ? T(std::real(*at(i, l))) : stored(i, l);
        if (below == (structure == Structure::lower_stored)) return stored(i, l);
        return hermitian ? conjugate(stored(l, i)) : stored(l, i);
      }
      case Structure::lower_triangular:
      case Structure::upper_triangular: {
        if (i == l) return unit_diagonal ? T(1) : stored(i, l);
        if (below != (structure == Structure::lower_triangular)) return T(0);
        break;
      }
    }
    return stored(i, l);
  }

 private:
  T stored(Int i, Int l) const { return conjugated ? conjugate(*at(i, l)) : *at(i, l); }
};

/// How a sliver lays out one step: reals side by side; complex numbers as pairs, or as real parts and then imaginary
/// parts.
enum class Layout { pairs, parts_apart };

/// Writes the element with index i < width of one step.
template <Layout layout, Scalar T>
[[gnu::always_inline]] inline void put(Real<T>* step, int width, int i, T value) {
  if constexpr (RealScalar<T>) {
    step[i] = value;
  } else if constexpr (layout == Layout::pairs) {
    step[2 * i] = value.real();
    step[2 * i + 1] = value.imag();
  } else {
    step[i] = value.real();
    step[width + i] = value.imag();
  }
}

/// Packs `depth` steps of `count` elements, each step padded with zeros to `width`, from memory without structure.
template <Layout layout, int fixed_width, Scalar T>
void pack_strided(const T* from, std::ptrdiff_t along, std::ptrdiff_t deep, bool conjugated, int count, int width,
                  Int depth, Real<T>* to) {
  constexpr int parts = ComplexScalar<T> ? 2 : 1;
  if (count < width) std::fill_n(to, std::ptrdiff_t{depth} * width * parts, Real<T>(0));
  const std::ptrdiff_t step = std::ptrdiff_t{width} * parts;
  const auto copy_steps = [&](int n, int w, auto value) {
    if (along == 1) {
      for (Int l = 0; l < depth; ++l) {
        for (int i = 0; i < n; ++i) put<layout, T>(to + l * step, w, i, value(from[l * deep + i]));
      }
    } else {
      // A few columns of the source at a time, so that both sides stay in the first-level cache.
      constexpr Int strip = 8;
      for (Int l0 = 0; l0 < depth; l0 += strip) {
        const Int l1 = std::min(depth, l0 + strip);
        for (int i = 0; i < n; ++i) {
          const T* source = from + i * along;
          for (Int l = l0; l < l1; ++l) put<layout, T>(to + l * step, w, i, value(source[l * deep]));
        }
      }
    }
  };
  const auto copy = [&](int n, int w) {
    if (conjugated) {
      copy_steps(n, w, [](T x) { return conjugate(x); });
    } else {
      copy_steps(n, w, [](T x) { return x; });
    }
  };
  if (count == fixed_width && width == fixed_width) {
    copy(fixed_width, fixed_width);
  } else {
    copy(count, width);
  }
}

/// Packs elements i0 to i0 + count, steps l0 to l0 + depth, of an operand.
template <Layout layout, int fixed_width, Scalar T>
void pack_sliver(const Operand<T>& x, Int i0, int count, int width, Int l0, Int depth, Real<T>* to) {
  constexpr int parts = ComplexScalar<T> ? 2 : 1;
  const std::ptrdiff_t step = std::ptrdiff_t{width} * parts;
  const auto plain = [&](Int from, Int until) {
    if (from < until) {
      pack_strided<layout, fixed_width>(x.at(i0, from), x.along, x.deep, x.conjugated, count, width, until - from,
                                        to + (from - l0) * step);
    }
  };
  if (x.structure == Structure::full) return plain(l0, l0 + depth);

  // Steps before the diagonal, across it, and behind it.
  const Int end = l0 + depth;
  const Int across = std::clamp(i0, l0, end);
  const Int behind = std::clamp(i0 + count, l0, end);
  const bool stored_before = x.structure == Structure::lower_stored || x.structure == Structure::lower_triangular;
  const bool triangular = x.structure == Structure::lower_triangular || x.structure == Structure::upper_triangular;
  const auto other_side = [&](Int from, Int until) {
    if (from >= until) return;
    Real<T>* const target = to + (from - l0) * step;
    if (triangular) {
      std::fill_n(target, (until - from) * step, Real<T>(0));
    } else {
      pack_strided<layout, fixed_width>(x.at(from, i0), x.deep, x.along, x.conjugated != x.hermitian, count, width,
                                        until - from, target);
    }
  };
  if (stored_before) {
    plain(l0, across);
    other_side(behind, end);
  } else {
    other_side(l0, across);
    plain(behind, end);
  }
  for (Int l = across; l < behind; ++l) {
    Real<T>* const target = to + (l - l0) * step;
    std::fill_n(target, step, Real<T>(0));
    for (int i = 0; i < count; ++i) put<layout, T>(target, width, i, x.fetch(i0 + i, l));
  }
}

}  // namespace nuv::threading::inline NUV_ISA
