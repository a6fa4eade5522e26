#pragma once

// Packing: operands of a product are copied into slivers in the order in which the register tile reads them.

#include <algorithm>

#include "base/elements.hpp"
#include "base/matrix.hpp"

namespace nuv::packed::inline NUV_ISA {

using simd::lanes;

enum class Structure {
  full,
  lower_stored,      ///< symmetric or Hermitian, the triangle l <= i is stored
  upper_stored,      ///< likewise, l >= i
  lower_triangular,  ///< zero for l > i
  upper_triangular,  ///< zero for l < i
  joined,            ///< the steps of one operand without structure, and those of another one behind them
};

/// What an element of an operand is to a product: not there, a real number, or one like all others.
enum class ElementKind { none, real, plain };

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

  /// Of joined operands the second, and its first step.
  const T* second = nullptr;
  std::ptrdiff_t second_along = 0, second_deep = 0;
  Int joint = 0;

  const T* at(Int i, Int l) const { return data + i * along + l * deep; }

  bool is_triangular() const {
    return structure == Structure::lower_triangular || structure == Structure::upper_triangular;
  }

  ElementKind kind_of(Int i, Int l) const {
    if (i == l) return (is_triangular() && unit_diagonal) || hermitian ? ElementKind::real : ElementKind::plain;
    if (is_triangular() && (l < i) != (structure == Structure::lower_triangular)) return ElementKind::none;
    return ElementKind::plain;
  }

  /// Whether elements across the diagonal are packed as numbers that stand for them only as long as they meet no
  /// infinity: zeros for what is not there, complex numbers for real ones.
  bool has_substitutes() const { return is_triangular() || (ComplexScalar<T> && hermitian); }

  /// Element (i, l) where it takes a look at the diagonal to know.
  T fetch(Int i, Int l) const {
    const bool below = l < i;
    switch (structure) {
      case Structure::full:
      case Structure::joined:
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

/// The operand from index i on.
template <Scalar T>
Operand<T> shifted(Operand<T> x, Int i) {
  x.data += i * x.along;
  if (x.structure == Structure::joined) x.second += i * x.second_along;
  return x;
}

/// The first k steps of an operand and those of another, neither of them with a structure, and both conjugated or not.
template <Scalar T>
Operand<T> joined(Operand<T> x, Int k, const Operand<T>& other) {
  x.structure = Structure::joined;
  x.second = other.data;
  x.second_along = other.along;
  x.second_deep = other.deep;
  x.joint = k;
  return x;
}

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

/// Reads it back.
template <Layout layout, Scalar T>
T get(const Real<T>* step, int width, int i) {
  if constexpr (RealScalar<T>) {
    return step[i];
  } else if constexpr (layout == Layout::pairs) {
    return {step[2 * i], step[2 * i + 1]};
  } else {
    return {step[i], step[width + i]};
  }
}

namespace pack_detail {

using simd::elements_per_vector;
using simd::lanes_per_element;
using simd::Simd;
using simd::transpose;

/// The first `count` elements from memory, as many as a vector holds; the others are zero.
template <bool conjugated, Scalar T>
[[gnu::always_inline]] inline Simd<Real<T>> load_elements(const T* from, Int count) {
  using R = Real<T>;
  if (count <= 0) return Simd<R>{};
  const R* const numbers = reinterpret_cast<const R*>(from);
  const Simd<R> x = count >= elements_per_vector<T>
                        ? simd::load(numbers)
                        : simd::load_first(numbers, static_cast<int>(count) * lanes_per_element<T>);
  if constexpr (conjugated) return x * simd::alternating<R>(1, -1);
  return x;
}

/// Vectors that are written together: two of complex elements where their parts are set apart.
template <Layout layout, Scalar T>
inline constexpr int group = ComplexScalar<T>&& layout == Layout::parts_apart ? 2 : 1;

/// Writes the elements from i on of a step; get(g) is vector g of a group. Parts are set apart in whole vectors.
template <Layout layout, Scalar T, class Get>
[[gnu::always_inline]] inline void store_group(Real<T>* step, int width, int i, Get get) {
  if constexpr (group<layout, T> == 2) {
    const auto [re, im] = simd::deinterleave<Real<T>>(get(0), get(1));
    simd::store(step + i, re);
    simd::store(step + width + i, im);
  } else if (i + elements_per_vector<T> <= width) {
    simd::store(step + i * lanes_per_element<T>, get(0));
  } else {
    simd::store_first(step + i * lanes_per_element<T>, get(0), (width - i) * lanes_per_element<T>);
  }
}

/// A source whose elements lie side by side along C. Steps are far from each other in memory, and the processor does
/// not foresee them.
template <Layout layout, bool conjugated, Scalar T>
[[gnu::always_inline]] inline void copy_steps(const T* from, std::ptrdiff_t deep, int count, int width, Int depth,
                                              Real<T>* to) {
  constexpr int together = elements_per_vector<T> * group<layout, T>;
  constexpr Int ahead = 16;
  constexpr int line = 64 / static_cast<int>(sizeof(T));
  const std::ptrdiff_t step = std::ptrdiff_t{width} * lanes_per_element<T>;
  for (Int l = 0; l < depth; ++l) {
    const T* const source = from + l * deep;
    for (int i = 0; i < count; i += line) __builtin_prefetch(source + ahead * deep + i);
    for (int i = 0; i < width; i += together) {
      store_group<layout, T>(
          to + l * step, width, i, [&](int g) __attribute__((always_inline)) {
            const int first = i + g * elements_per_vector<T>;
            return load_elements<conjugated>(source + first, count - first);
          });
    }
  }
}

/// A source whose steps lie side by side: squares of it are transposed in registers.
template <Layout layout, bool conjugated, int fixed_width, Scalar T>
[[gnu::always_inline]] inline void transpose_steps(const T* from, std::ptrdiff_t along, int count, int width, Int depth,
                                                   Real<T>* to) {
  constexpr int n = elements_per_vector<T>;
  const std::ptrdiff_t step = std::ptrdiff_t{width} * lanes_per_element<T>;
  const auto load_row = [&](int i, Int l) __attribute__((always_inline)) {
    return i < count ? load_elements<conjugated>(from + i * along + l, depth - l) : Simd<Real<T>>{};
  };
  if constexpr (group<layout, T> == 1 && fixed_width < n && (fixed_width & (fixed_width - 1)) == 0) {
    for (Int l = 0; l < depth; l += n) {
      Simd<Real<T>> x[fixed_width];
#pragma GCC unroll 16
      for (int i = 0; i < fixed_width; ++i) x[i] = load_row(i, l);
      transpose<T, fixed_width>(x);
      Real<T>* const target = to + l * step;
      const Int numbers = (depth - l) * step;
#pragma GCC unroll 16
      for (int i = 0; i < fixed_width; ++i) {
        const Int left = numbers - i * lanes<Real<T>>;
        if (left >= lanes<Real<T>>) {
          simd::store(target + i * lanes<Real<T>>, x[i]);
        } else if (left > 0) {
          simd::store_first(target + i * lanes<Real<T>>, x[i], static_cast<int>(left));
        }
      }
    }
  } else {
    constexpr int groups = group<layout, T>;
    for (int i0 = 0; i0 < width; i0 += groups * n) {
      for (Int l = 0; l < depth; l += n) {
        Simd<Real<T>> x[groups][n];
#pragma GCC unroll 2
        for (int g = 0; g < groups; ++g) {
#pragma GCC unroll 16
          for (int i = 0; i < n; ++i) x[g][i] = load_row(i0 + g * n + i, l);
          transpose<T, n>(x[g]);
        }
#pragma GCC unroll 16
        for (int s = 0; s < n; ++s) {
          if (l + s >= depth) break;
          store_group<layout, T>(
              to + (l + s) * step, width, i0, [&](int g) __attribute__((always_inline)) { return x[g][s]; });
        }
      }
    }
  }
}

}  // namespace pack_detail

/// Packs `depth` steps of `count` elements, each step padded with zeros to `width`, from memory without structure in
/// which either i or l runs through neighbours. Slivers of width fixed_width are the rule. Where parts are set apart,
/// `width` is a multiple of the lanes.
template <Layout layout, int fixed_width, Scalar T>
void pack_strided(const T* from, std::ptrdiff_t along, std::ptrdiff_t deep, bool conjugated, int count, int width,
                  Int depth, Real<T>* to) {
  using namespace pack_detail;
  const auto pack = [&]<bool conjugates>(int n, int w) __attribute__((always_inline)) {
    if (along == 1) {
      copy_steps<layout, conjugates>(from, deep, n, w, depth, to);
    } else {
      transpose_steps<layout, conjugates, fixed_width>(from, along, n, w, depth, to);
    }
  };
  const auto pack_width = [&]<bool conjugates>() __attribute__((always_inline)) {
    if (count == fixed_width && width == fixed_width) {
      pack.template operator()<conjugates>(fixed_width, fixed_width);
    } else {
      pack.template operator()<conjugates>(count, width);
    }
  };
  if constexpr (ComplexScalar<T>) {
    if (conjugated) return pack_width.template operator()<true>();
  }
  pack_width.template operator()<false>();
}

/// Packs elements i0 to i0 + count, steps l0 to l0 + depth, of an operand.
template <Layout layout, int fixed_width, Scalar T>
void pack_sliver(const Operand<T>& x, Int i0, int count, int width, Int l0, Int depth, Real<T>* to) {
  const std::ptrdiff_t step = std::ptrdiff_t{width} * simd::lanes_per_element<T>;
  const auto plain = [&](Int from, Int until) {
    if (from < until) {
      pack_strided<layout, fixed_width>(x.at(i0, from), x.along, x.deep, x.conjugated, count, width, until - from,
                                        to + (from - l0) * step);
    }
  };
  const Int end = l0 + depth;
  if (x.structure == Structure::full) return plain(l0, end);
  if (x.structure == Structure::joined) {
    const Int until = std::min(end, x.joint), from = std::max(l0, x.joint);
    plain(l0, until);
    if (from < end) {
      pack_strided<layout, fixed_width>(x.second + i0 * x.second_along + (from - x.joint) * x.second_deep,
                                        x.second_along, x.second_deep, x.conjugated, count, width, end - from,
                                        to + (from - l0) * step);
    }
    return;
  }

  // Steps before the diagonal, across it, and behind it.
  const Int across = std::clamp(i0, l0, end);
  const Int behind = std::clamp(i0 + count, l0, end);
  const bool stored_before = x.structure == Structure::lower_stored || x.structure == Structure::lower_triangular;
  const auto other_side = [&](Int from, Int until) {
    if (from >= until) return;
    Real<T>* const target = to + (from - l0) * step;
    if (x.is_triangular()) {
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

}  // namespace nuv::packed::inline NUV_ISA
