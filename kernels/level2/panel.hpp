#pragma once

// Panels of a stored triangle: a few columns, of which a corner on the diagonal and the rectangle below or above it are
// stored.
//
//     upper   R      lower   D .
//             R              D D
//             D D            R R
//             . D            R R

#include "kernels/finite_check.hpp"
#include "kernels/level2/columns.hpp"

namespace nuv::kernels::inline NUV_ISA {

template <class T>
struct Panel {
  T* corner;     ///< element (i, j) at corner[i + j * ld], i and j from zero
  T* rectangle;  ///< with the same leading dimension
  std::ptrdiff_t ld;
  int columns;  ///< and rows of the corner
  Int height;   ///< of the rectangle; zero if there are fewer columns than the loops take at a time
};

/// The panel of columns j ... j + k - 1 of the stored triangle of a matrix of order n, j from zero.
template <class T>
Panel<T> panel_of(Matrix<T> A, bool upper, Int n, Int j, Int k) {
  const auto [first, count] = rows_beside(upper, n, j, k);
  return {A.at(j + 1, j + 1), A.at(first + 1, j + 1), A.ld, k, count};
}

/// Calls visit(j, k) for panels of k columns, j the first one from zero, which make up a triangle of order n, from the
/// first to the last or the other way. The panels have `size` columns, but for the one without a rectangle.
template <class Visit>
[[gnu::always_inline]] inline void for_each_panel(Int n, bool upper, bool forward, Int size, Visit visit) {
  // A small matrix is spared the division.
  const Int panels = n <= size ? std::min(n, 1) : n / size + (n % size != 0 ? 1 : 0);
  const Int shift = upper ? panels * size - n : 0;
  for (Int p = 0; p < panels; ++p) {
    const Int begin = (forward ? p : panels - 1 - p) * size - shift;
    const Int j = std::max(0, begin);
    visit(j, std::min(begin + size, n) - j);
  }
}

/// What a corner stands for: the triangle with its diagonal or one whose diagonal counts as zeros, as it is, transposed
/// or conjugated too, or the symmetric or Hermitian matrix whose stored triangle it is.
enum class Corner { plain, strict, transposed, strict_transposed, adjoint, strict_adjoint, symmetric, hermitian };

namespace panel_detail {

struct Traits {
  bool down;        ///< columns are multiplied by elements of x
  bool across;      ///< scalar products of columns and x are formed
  bool conjugated;  ///< of conjugated columns
  bool diagonal;    ///< the diagonal takes part, in the first of these ways if both are wanted
};

constexpr Traits traits_of(Corner corner) {
  switch (corner) {
    case Corner::plain:
      return {true, false, false, true};
    case Corner::strict:
      return {true, false, false, false};
    case Corner::transposed:
      return {false, true, false, true};
    case Corner::strict_transposed:
      return {false, true, false, false};
    case Corner::adjoint:
      return {false, true, true, true};
    case Corner::strict_adjoint:
      return {false, true, true, false};
    case Corner::symmetric:
      return {true, true, false, true};
    case Corner::hermitian:
      return {true, true, true, true};
  }
  return {};
}

/// Calls visit(i, rows) for the strips of a corner of n rows, i unrolled from 0 to `most`.
template <int most, Scalar T, class Visit>
[[gnu::always_inline]] inline void for_each_corner_strip(int n, Visit visit) {
#pragma GCC unroll 8
  for (int i = 0; i < most; i += strip_rows<T>) {
    if (i >= n) break;
    visit(i, StripTail{std::min(strip_rows<T>, n - i)});
  }
}

/// Calls visit(j, part) for the columns of a corner that have elements in the strip that begins at row i; `part` tells
/// which. The diagonal counts only if with_diagonal is true.
template <int most, bool upper, bool with_diagonal, Scalar T, class Visit>
[[gnu::always_inline]] inline void for_each_corner_column(int n, int i, StripTail strip, Visit visit) {
#pragma GCC unroll 8
  for (int j = 0; j < most; ++j) {
    if (j >= n) break;
    const int first = upper ? 0 : std::max(0, j - i + (with_diagonal ? 0 : 1));
    const int last = upper ? std::min(strip_rows<T>, j - i + (with_diagonal ? 1 : 0)) : strip.rows;
    if (upper ? last <= 0 : first >= strip_rows<T>) continue;
    visit(j, StripPart{first, last});
  }
}

/// Whether n elements of x, at most `most`, are finite.
template <int most, Scalar T>
[[gnu::always_inline]] inline bool are_finite(const T* x, int n) {
  FiniteCheck<Real<T>, 1> check;
  for_each_corner_strip<most, T>(
      n, [&](int i, StripTail rows) __attribute__((always_inline)) { check.take(load_rows(x + i, rows), 0); });
  return check.passed();
}

/// product := product + M x, where M is what a corner stands for, by the elements of the corner.
template <bool upper, Corner kind, Scalar T>
[[gnu::noinline]] void add_corner_by_elements(const Panel<const T>& panel, const T* x, T* product) {
  constexpr Traits traits = traits_of(kind);
  for (int j = 0; j < panel.columns; ++j) {
    const T* const column = panel.corner + j * panel.ld;
    for (int i = upper ? 0 : j + 1; i < (upper ? j : panel.columns); ++i) {
      if (traits.down) product[i] += column[i] * x[j];
      if (traits.across) product[j] += (traits.conjugated ? conjugate(column[i]) : column[i]) * x[i];
    }
    if constexpr (kind == Corner::hermitian) {
      product[j] += std::real(column[j]) * x[j];
    } else if (traits.diagonal) {
      product[j] += (traits.conjugated ? conjugate(column[j]) : column[j]) * x[j];
    }
  }
}

}  // namespace panel_detail

/// Products with a panel of at most `most` columns.
///
///     product := M x + R^T rectangle_x      M: what the corner stands for; R^T (or R^H) if it works across
///     rectangle_y := rectangle_y + R c      if it works down
///
/// All padded(most) elements of `product` are written, with no meaning beyond those of the corner.
template <int most, bool upper, Corner kind, Scalar T>
[[gnu::noinline]] void multiply_panel(const Panel<const T>& panel, const T* x, T* product, const T* rectangle_x,
                                      const T* c, T* rectangle_y) {
  using namespace panel_detail;
  constexpr Traits traits = traits_of(kind);
  constexpr int strips = (most + strip_rows<T> - 1) / strip_rows<T>;
  const std::ptrdiff_t ld = panel.ld;
  ProductSums<most, traits.conjugated, T> across;

  if (panel.height > 0) {
    Factor<T> factor[most];
#pragma GCC unroll 8
    for (int j = 0; j < (traits.down ? most : 0); ++j) factor[j] = Factor<T>(c[j]);
    for_each_strip<T>(
        panel.height, [&](std::ptrdiff_t i, auto rows) __attribute__((always_inline)) {
          const ProductStrip<traits.conjugated, T> strip(traits.across ? load_strip(rectangle_x + i, rows)
                                                                       : Strip<T>{});
          Combination<T> sum;
#pragma GCC unroll 8
          for (int j = 0; j < most; ++j) {
            const T* const from = panel.rectangle + j * ld + i;
            const Strip<T> column = load_strip(from, rows);
            if constexpr (traits.down && traits.across) prefetch_further_down(from);
            if constexpr (traits.down) sum.add(j, column, factor[j]);
            if constexpr (traits.across) across.add(j, column, strip);
          }
          if constexpr (traits.down)
            store_strip(rectangle_y + i, load_strip(rectangle_y + i, rows) + sum.value(), rows);
        });
  }

  // The zeros beside the triangle must not meet an infinity of x.
  const bool is_finite = are_finite<most>(x, panel.columns);
  Combination<T> down[strips];
  for_each_corner_strip<most, T>(
      is_finite ? panel.columns : 0, [&](int i, StripTail rows) __attribute__((always_inline)) {
        const ProductStrip<traits.conjugated, T> strip(load_rows(x + i, rows));
        const auto add_column = [&](int j, StripPart part) __attribute__((always_inline)) {
          Strip<T> column = load_strip(panel.corner + j * ld + i, part);
          if constexpr (traits.down) {
            Strip<T> counted = column;
            if constexpr (kind == Corner::hermitian) counted = without_imaginary_part<T>(column, j - i);
            down[i / strip_rows<T>].add(j, counted, Factor<T>(x[j]));
            if constexpr (traits.across) column = without_element<T>(column, j - i);
          }
          if constexpr (traits.across) across.add(j, column, strip);
        };
        for_each_corner_column<most, upper, traits.diagonal, T>(panel.columns, i, rows, add_column);
      });

  if constexpr (traits.across) across.write(product);
  if constexpr (traits.down) {
#pragma GCC unroll 8
    for (int k = 0; k < strips; ++k) {
      T* const target = product + k * strip_rows<T>;
      const Strip<T> sum = down[k].value();
      store_strip(target, traits.across ? sum + load_strip(target, WholeStrip{}) : sum, WholeStrip{});
    }
  }
  if (!is_finite) add_corner_by_elements<upper, kind>(panel, x, product);
}

/// Panel := panel + x[0] c[0]^T + ..., with `terms` vectors and as many of factors for the at most `most` columns.
///
/// x             beside the corner;  rectangle_x   beside the rectangle
template <int most, bool upper, int terms, Scalar T>
[[gnu::noinline]] void update_panel(const Panel<T>& panel, const T* const (&x)[terms],
                                    const T* const (&rectangle_x)[terms], const T (&c)[terms][most]) {
  using namespace panel_detail;
  if (panel.height > 0) add_outer_products<most>(panel.height, rectangle_x, c, panel.rectangle, panel.ld);
  for_each_corner_strip<most, T>(
      panel.columns, [&](int i, StripTail rows) __attribute__((always_inline)) {
        OuterStrip<T> strip[terms];
#pragma GCC unroll 2
        for (int t = 0; t < terms; ++t) strip[t] = OuterStrip<T>(load_rows(x[t] + i, rows));
        const auto update_column = [&](int j, StripPart part) __attribute__((always_inline)) {
          T* const target = panel.corner + j * panel.ld + i;
          Strip<T> sum = load_strip(target, part);
#pragma GCC unroll 2
          for (int t = 0; t < terms; ++t) sum = strip[t].add_to(sum, Factor<T>(c[t][j]));
          store_strip(target, sum, part);
        };
        for_each_corner_column<most, upper, true, T>(panel.columns, i, rows, update_column);
      });
}

}  // namespace nuv::kernels::inline NUV_ISA
