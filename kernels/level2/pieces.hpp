#pragma once

// How vectors and matrices are cut for the inner loops.

#include <algorithm>

#include "base/matrix.hpp"
#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Rows that are worked on at a time: two vectors of them leave most of the second cache to the columns that stream by,
/// and the columns' parts are long enough to stream.
template <Scalar T>
inline constexpr Int piece_rows = 131072 / static_cast<int>(sizeof(T));

/// The same where vectors are copied to the stack, since their elements are apart.
template <Scalar T>
inline constexpr Int copied_rows = 16384 / static_cast<int>(sizeof(T));

/// Rows to work on at a time with vectors of these increments.
template <Scalar T, class... Increments>
Int rows_at_a_time(Increments... increments) {
  return ((increments == 1) && ...) ? piece_rows<T> : copied_rows<T>;
}

/// The vector as the loops walk it, from its first element, for one as the Fortran convention passes it.
template <class T>
Vector<T> from_first(T* x, Int n, Int incx) {
  return {first_element(x, n, incx), incx};
}

/// The elements of x from i on, i from zero.
template <class T>
Vector<T> tail(Vector<T> x, Int i) {
  return {x.data + std::ptrdiff_t{i} * x.inc, x.inc};
}

template <class T>
T& element(Vector<T> x, Int i) {
  return x.data[std::ptrdiff_t{i} * x.inc];
}

/// Room for a contiguous copy of a piece, not initialised.
template <Scalar T>
union Piece {
  Piece() {}
  T elements[copied_rows<T>];
};

/// The first n elements of x one behind the other: where they are, or else copied to `piece`.
template <class T>
T* contiguous(Vector<T> x, Int n, Piece<std::remove_const_t<T>>& piece) {
  if (x.inc == 1) return x.data;
  for (Int i = 0; i < n; ++i) piece.elements[i] = element(x, i);
  return piece.elements;
}

/// Puts back what `contiguous` copied.
template <Scalar T>
void put_back(Vector<T> x, Int n, const Piece<T>& piece) {
  if (x.inc == 1) return;
  for (Int i = 0; i < n; ++i) element(x, i) = piece.elements[i];
}

/// Calls visit(i, rows) for pieces of n rows; i is the first one, from zero.
template <class Visit>
[[gnu::always_inline]] inline void for_each_piece(Int n, Int most, Visit visit) {
  for (Int i = 0; i < n; i += std::min(most, n - i)) visit(i, std::min(most, n - i));
}

/// Calls visit(number) with a number of 1 ... most as a compile-time constant; with none at all for zero.
template <int most, class Visit>
[[gnu::always_inline]] inline void with_number(Int number, Visit visit) {
  if constexpr (most > 0) {
    if (number == most) {
      visit(std::integral_constant<int, most>{});
    } else {
      with_number<most - 1>(number, visit);
    }
  }
}

/// Calls visit(j, number) for groups of n columns; j is the first column, `number` a compile-time constant of at most
/// `most`.
template <int most, class Visit>
[[gnu::always_inline]] inline void for_each_group(Int n, Visit visit) {
  Int j = 0;
  for (; n - j >= most; j += most) visit(j, std::integral_constant<int, most>{});
  with_number<most - 1>(
      n - j, [&](auto number) __attribute__((always_inline)) { visit(j, number); });
}

/// Some rows or columns, counted from zero.
struct Range {
  Int first, count;
};

/// Rows of the stored triangle of order n above or below its diagonal block of order k that begins at i.
inline Range rows_beside(bool upper, Int n, Int i, Int k) {
  return upper ? Range{0, i} : Range{i + k, n - i - k};
}

/// Columns of the stored triangle of order n right or left of its diagonal block of order k that begins at i.
inline Range columns_beside(bool upper, Int n, Int i, Int k) {
  return rows_beside(!upper, n, i, k);
}

/// Calls visit with the choice as a compile-time constant.
template <class Visit>
[[gnu::always_inline]] inline void with_constant(bool choice, Visit visit) {
  if (choice) {
    visit(std::true_type{});
  } else {
    visit(std::false_type{});
  }
}

/// y := beta y; a zero beta writes zeros, so that what y held does not matter.
template <Scalar T>
void scale(Int n, T beta, Vector<T> y) {
  if (beta == T(1)) return;
  if (beta == T(0)) {
    for (Int i = 0; i < n; ++i) element(y, i) = T(0);
  } else {
    for (Int i = 0; i < n; ++i) element(y, i) *= beta;
  }
}

}  // namespace nuv::kernels::inline NUV_ISA
