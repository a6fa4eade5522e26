#pragma once

// Matrices whose columns hold only some of their rows: triangles in packed and in band storage, and general bands. A
// storage class tells the first and the last row that a column holds, neither of which falls from column to column, and
// where they stand; a triangle tells so for the rows off the diagonal.
//
// Operations walk over groups of neighbouring columns. The rows that all columns of a group hold are worked on
// together; a few loose elements remain for the single columns:
//
//     a . . .                         a b c d
//     a b . .   loose                 a b c d   common to a group in an upper triangle
//     -------                         -------
//     a b c d                         \ b c d
//     a b c d   common in a band        \ c d   loose
//     -------                             \ d
//     . b c d                               \ (diagonal)
//     . . c d   loose

#include <algorithm>
#include <limits>
#include <utility>

#include "frame/option_matching.hpp"
#include "kernels/level2/column_sums.hpp"
#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

// ------------------------------------------------------------------------------------------------------------- vectors

/// A vector counted from one whose elements lie side by side.
template <class T>
class ContiguousVector {
 public:
  using Element = std::remove_const_t<T>;
  static constexpr bool is_contiguous = true;

  explicit ContiguousVector(T* first) : first_(first) {}
  T& operator()(Int i) const { return first_[i - 1]; }

 private:
  T* first_;
};

/// A vector of length n as a kernel takes it, counted from one: from the far end where the increment is negative.
template <class T>
class StridedVector {
 public:
  using Element = std::remove_const_t<T>;
  static constexpr bool is_contiguous = false;

  StridedVector(T* x, Int n, Int inc) : first_(first_element(x, n, inc)), inc_(inc) {}
  T& operator()(Int i) const { return element(first_, i - 1, inc_); }

 private:
  T* first_;
  Int inc_;
};

/// Calls action(x). Most vectors are contiguous, and the vector code is for those; others go element by element.
template <class T, class Action>
[[gnu::always_inline]] inline void with_vector(T* x, Int n, Int incx, Action action) {
  if (incx == 1) {
    action(ContiguousVector<T>(x));
  } else {
    action(StridedVector<T>(x, n, incx));
  }
}

/// Calls action(x, y).
template <class T, class U, class Action>
[[gnu::always_inline]] inline void with_vectors(T* x, Int length_x, Int incx, U* y, Int length_y, Int incy,
                                                Action action) {
  if (incx == 1 && incy == 1) {
    action(ContiguousVector<T>(x), ContiguousVector<U>(y));
  } else {
    action(StridedVector<T>(x, length_x, incx), StridedVector<U>(y, length_y, incy));
  }
}

/// y := beta y for n elements; a zero beta writes zeros, so that what y held does not matter.
template <class Y, Scalar T>
void scale(Int n, T beta, Y y) {
  if (beta == T(1)) return;
  if (beta == T(0)) {
    for (Int i = 1; i <= n; ++i) y(i) = T(0);
  } else {
    for (Int i = 1; i <= n; ++i) y(i) = beta * y(i);
  }
}

// ------------------------------------------------------------------------------------------------------------- storage

/// A triangle of order n, column after column.
template <class T, bool upper_>
class PackedTriangle {
 public:
  using Element = std::remove_const_t<T>;
  static constexpr bool is_triangle = true, upper = upper_;

  PackedTriangle(Int n, T* a) : a_(a), n_(n) {}

  Int columns() const { return n_; }
  Int first(Int j) const { return upper ? 1 : j + 1; }
  Int last(Int j) const { return upper ? j - 1 : n_; }
  T* at(Int i, Int j) const {
    const std::size_t column = j;
    return a_ + (i - 1) + (column - 1) * (upper ? column : 2 * std::size_t(n_) - column) / 2;
  }
  T& operator()(Int i, Int j) const { return *at(i, j); }

 private:
  T* a_;
  Int n_;
};

/// A triangle of order n with k diagonals beside the main one: element (i, j) in row k + 1 + i - j of its array, or in
/// row 1 + i - j where the triangle is a lower one.
template <class T, bool upper_>
class BandTriangle {
 public:
  using Element = std::remove_const_t<T>;
  static constexpr bool is_triangle = true, upper = upper_;

  BandTriangle(Int n, Int k, T* a, Int lda) : a_(upper ? a + k : a), n_(n), k_(k), step_(std::ptrdiff_t{lda} - 1) {}

  Int columns() const { return n_; }
  Int first(Int j) const { return !upper ? j + 1 : j > k_ ? j - k_ : 1; }
  Int last(Int j) const { return upper ? j - 1 : j + std::min(k_, n_ - j); }
  T* at(Int i, Int j) const { return a_ + (i - 1) + (std::ptrdiff_t{j} - 1) * step_; }
  T& operator()(Int i, Int j) const { return *at(i, j); }

 private:
  T* a_;
  Int n_, k_;
  std::ptrdiff_t step_;
};

/// Calls action(A) with the triangle that uplo names.
template <class T, class Action>
[[gnu::always_inline]] inline void with_packed_triangle(char uplo, Int n, T* ap, Action action) {
  if (same_letter(uplo, 'U')) {
    action(PackedTriangle<T, true>(n, ap));
  } else {
    action(PackedTriangle<T, false>(n, ap));
  }
}

template <class T, class Action>
[[gnu::always_inline]] inline void with_band_triangle(char uplo, Int n, Int k, T* a, Int lda, Action action) {
  if (same_letter(uplo, 'U')) {
    action(BandTriangle<T, true>(n, k, a, lda));
  } else {
    action(BandTriangle<T, false>(n, k, a, lda));
  }
}

/// An m by n matrix with kl diagonals below the main one and ku above it: element (i, j) in row ku + 1 + i - j of its
/// array. A column may hold no row at all.
template <class T>
class GeneralBand {
 public:
  using Element = std::remove_const_t<T>;
  static constexpr bool is_triangle = false, upper = false;

  GeneralBand(Int m, Int n, Int kl, Int ku, T* a, Int lda)
      : a_(a + ku), m_(m), n_(n), kl_(kl), ku_(ku), step_(std::ptrdiff_t{lda} - 1) {}

  Int columns() const { return n_; }
  Int first(Int j) const { return j > ku_ ? j - ku_ : 1; }
  Int last(Int j) const { return kl_ < m_ - j ? j + kl_ : m_; }
  T* at(Int i, Int j) const { return a_ + (i - 1) + (std::ptrdiff_t{j} - 1) * step_; }
  T& operator()(Int i, Int j) const { return *at(i, j); }

 private:
  T* a_;
  Int m_, n_, kl_, ku_;
  std::ptrdiff_t step_;
};

// -------------------------------------------------------------------------------------------------------------- groups

enum class Order { ascending, descending };

/// In the body of a loop that mostly takes a few steps: keeps the compiler from making vector code of it, the
/// preparation of which would cost more than the loop.
[[gnu::always_inline]] inline void expect_few_steps() {
  asm volatile("");
}

/// Columns j ... j + width - 1, and the rows from ... from + count - 1 that all of them hold: `least_common_rows` or
/// more, or else none are counted as common.
template <class Storage, int width_, Int least_common_rows>
class ColumnGroup {
 public:
  using Element = typename Storage::Element;
  static constexpr int width = width_;

  ColumnGroup(const Storage& A, Int j) : A_(A), j_(j), from_(A.first(j + width - 1)), count_(A.last(j) - from_ + 1) {
    if (count_ < least_common_rows) count_ = 0;
  }

  bool has_common_rows() const { return count_ > 0; }
  Int from() const { return from_; }
  Int count() const { return count_; }

  /// The columns from their first common row on.
  Columns<Element, width> common_rows() const {
    Columns<Element, width> column;
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) column[c] = A_.at(from_, j_ + c);
    return column;
  }

  /// f(x(j)) for each column j.
  template <class X, class Function>
  PerColumn<Element, width> at_columns(X x, Function f) const {
    PerColumn<Element, width> values;
#pragma GCC unroll 4
    for (int c = 0; c < width; ++c) values[c] = f(x(j_ + c));
    return values;
  }

  /// Calls visit(j, c) for the columns, of which j is the c-th from zero.
  template <class Visit>
  void for_each_column(Order order, Visit visit) const {
#pragma GCC unroll 4
    for (int k = 0; k < width; ++k) {
      const int c = order == Order::ascending ? k : width - 1 - k;
      visit(j_ + c, c);
    }
  }

  /// Calls visit(i, a) for the elements of the c-th column in rows i that are not common to the group.
  template <class Visit>
  void for_each_loose_element(Order order, int c, Visit visit) const {
    const Int first = A_.first(j_ + c), last = A_.last(j_ + c);
    if constexpr (width == 1) {
      if (!has_common_rows()) visit_run(order, c, first, last, visit);
    } else if constexpr (!Storage::is_triangle) {
      visit_run(order, c, first, from_ - 1, visit);
      visit_run(order, c, from_ + count_, last, visit);
    } else if constexpr (Storage::upper) {
      visit_run(order, c, first, from_ - 1, visit);
      visit_diagonal_block(order, c, visit);
    } else {
      visit_diagonal_block(order, c, visit);
      visit_run(order, c, from_ + count_, last, visit);
    }
  }

 private:
  template <class Visit>
  void visit_run(Order order, int c, Int first, Int last, Visit visit) const {
    const Element* const a = A_.at(first, j_ + c);
    if (order == Order::ascending) {
      for (Int i = first; i <= last; ++i) {
        expect_few_steps();
        visit(i, a[i - first]);
      }
    } else {
      for (Int i = last; i >= first; --i) {
        expect_few_steps();
        visit(i, a[i - first]);
      }
    }
  }

  /// The rows with the numbers of the group's own columns. Their number is known to the compiler, which may then keep
  /// the elements of a vector that belong to the group in registers.
  template <class Visit>
  void visit_diagonal_block(Order order, int c, Visit visit) const {
#pragma GCC unroll 4
    for (int k = 0; k < width; ++k) {
      const int r = order == Order::ascending ? k : width - 1 - k;
      if (Storage::upper ? r < c : r > c) visit(j_ + r, A_(j_ + r, j_ + c));
    }
  }

  const Storage& A_;
  Int j_, from_, count_;
};

/// Columns in a group: as many as leave registers for the sums of their inner products.
template <Scalar T>
inline constexpr int group_width = (ComplexScalar<T> && simd::vector_registers < 32) ? 2 : 4;

/// Calls visit(group) for groups that cover all columns of A: with common rows where there are enough and the vectors,
/// of types X, are contiguous, else column by column. What is left over comes where a triangle begins, so it is short.
template <class... X, class Storage, class Visit>
[[gnu::always_inline]] inline void for_each_group(const Storage& A, Order order, Visit visit) {
  constexpr bool contiguous = (X::is_contiguous && ...);
  constexpr int width = contiguous ? group_width<typename Storage::Element> : 1;
  constexpr Int least_common_rows = 8, least_of_single = 16, none = std::numeric_limits<Int>::max();
  using Group = ColumnGroup<Storage, width, least_common_rows>;
  using Single = ColumnGroup<Storage, 1, contiguous && !Storage::is_triangle ? least_of_single : none>;

  const Int n = A.columns();
  const bool ascending = order == Order::ascending;
  Int singles = Storage::upper == ascending ? n % width : 0;
  for (Int done = 0; done < n;) {
    if constexpr (width > 1) {
      if (singles == 0 && n - done >= width) {
        const Group group(A, ascending ? done + 1 : n - done - width + 1);
        if (group.has_common_rows()) {
          visit(group);
          done += width;
          continue;
        }
        singles = width;
      }
    }
    visit(Single(A, ascending ? done + 1 : n - done));
    ++done;
    --singles;
  }
}

/// x := x + the sum of f_c a_c, over the common rows of a group.
template <class Group, Scalar T, class X>
void add_common_rows(const Group& group, const PerColumn<T, Group::width>& f, X x) {
  if (group.has_common_rows()) add_columns(group.common_rows(), f, &x(group.from()), group.count());
}

/// The inner products of the columns of a group, or of their conjugates, with x over their common rows.
template <class Group, class X>
PerColumn<typename Group::Element, Group::width> multiply_common_rows(const Group& group, bool conjugated, X x) {
  if (!group.has_common_rows()) return {};
  return multiply_columns(group.common_rows(), conjugated, &std::as_const(x(group.from())), group.count());
}

/// Both at once: adds multiples of the columns to y, and gives the inner products of their conjugates with x.
template <class Group, Scalar T, class Y, class X>
PerColumn<T, Group::width> add_and_multiply_common_rows(const Group& group, const PerColumn<T, Group::width>& f, Y y,
                                                        X x) {
  if (!group.has_common_rows()) return {};
  return add_and_multiply_columns(group.common_rows(), f, &y(group.from()), &x(group.from()), group.count());
}

}  // namespace nuv::kernels::inline NUV_ISA
