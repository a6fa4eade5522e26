#pragma once

// What factorisations with diagonal pivoting share, A = L D L^T or U D U^T (with adjoints for a Hermitian A), D of
// blocks of order one and two: the order of elimination, the choice of a pivot and its inverse (J. R. Bunch and L.
// Kaufman, "Some stable methods for calculating inertia and solving symmetric linear systems", Math. Comp. 31, 1977).
//
// Both triangles run one algorithm: it goes down the columns of a lower triangle and up those of an upper one.

#include <cmath>

#include "base/matrix.hpp"
#include "base/quotient.hpp"
#include "environment/magnitudes.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

/// How the elements of one triangle stand in the other: as they are (symmetric matrices) or conjugated (Hermitian).
enum class Mirror { plain, conjugate };

template <Mirror mirror, Scalar T>
constexpr T mirror_image(T x) {
  return mirror == Mirror::conjugate ? conjugate(x) : x;
}

/// An element of the diagonal, that of a Hermitian matrix without what it may have for an imaginary part.
template <Mirror mirror, Scalar T>
constexpr T diagonal_element(T x) {
  return mirror == Mirror::conjugate ? T(std::real(x)) : x;
}

/// 1 / d for a block of order one of D; real for a Hermitian matrix, so that it scales both parts of what it multiplies
/// and mixes nothing into them.
template <Mirror mirror, Scalar T>
constexpr auto reciprocal(T d) {
  if constexpr (mirror == Mirror::conjugate) {
    return 1 / std::real(d);
  } else {
    return quotient(T(1), d);
  }
}

/// Rows or columns first ... last.
struct Rows {
  Int first, last;
  Int count() const { return last - first + 1; }
};

/// The order in which the columns of a triangle of order n are eliminated.
class EliminationOrder {
 public:
  EliminationOrder(char uplo, Int n) : n_(n), forward_(same_letter(uplo, 'U') ? -1 : 1) {}

  bool upper() const { return forward_ < 0; }
  char uplo() const { return upper() ? 'U' : 'L'; }
  Int size() const { return n_; }

  Int first() const { return upper() ? n_ : 1; }
  Int last() const { return upper() ? 1 : n_; }
  Int next(Int k) const { return k + forward_; }
  Int previous(Int k) const { return k - forward_; }
  bool includes(Int k) const { return k >= 1 && k <= n_; }

  /// The rows that come after k: what the triangle has of column k off its diagonal.
  Rows beyond(Int k) const { return upper() ? Rows{1, k - 1} : Rows{k + 1, n_}; }
  /// The columns that come before k: what the triangle has of row k off its diagonal.
  Rows before(Int k) const { return upper() ? Rows{k + 1, n_} : Rows{1, k - 1}; }
  /// The rows between two, which may be given in either order.
  static Rows between(Int i, Int j) { return i < j ? Rows{i + 1, j - 1} : Rows{j + 1, i - 1}; }
  /// Column k and the rows beyond it.
  Rows from(Int k) const { return upper() ? Rows{1, k} : Rows{k, n_}; }

 private:
  Int n_, forward_;
};

/// A block of D, and the row and column with which its last ones were exchanged.
struct PivotBlock {
  Int first, last;  ///< in the order of elimination
  Int row;

  bool is_pair() const { return first != last; }
  Int order() const { return is_pair() ? 2 : 1; }
};

/// How blocks stand in ipiv: ipiv(k) > 0 is a block of order one, rows and columns k and ipiv(k) were exchanged. Both
/// numbers of a block of order two are minus the row with which its last one was exchanged.
inline void store_block(const PivotBlock& block, Int* ipiv) {
  ipiv[block.last - 1] = ipiv[block.first - 1] = block.is_pair() ? -block.row : block.row;
}

/// The block whose first column is k.
inline PivotBlock block_from(const EliminationOrder& order, const Int* ipiv, Int k) {
  const Int p = ipiv[k - 1];
  return p > 0 ? PivotBlock{k, k, p} : PivotBlock{k, order.next(k), -p};
}

/// The block whose last column is k.
inline PivotBlock block_up_to(const EliminationOrder& order, const Int* ipiv, Int k) {
  const Int p = ipiv[k - 1];
  return p > 0 ? PivotBlock{k, k, p} : PivotBlock{order.previous(k), k, -p};
}

/// Visits the blocks in the order of elimination.
template <class Visit>
void for_each_block(const EliminationOrder& order, const Int* ipiv, Visit visit) {
  for (Int k = order.first(); order.includes(k);) {
    const PivotBlock block = block_from(order, ipiv, k);
    visit(block);
    k = order.next(block.last);
  }
}

/// Visits the blocks from that of column `last` on in the opposite order.
template <class Visit>
void for_each_block_backwards(const EliminationOrder& order, Int last, const Int* ipiv, Visit visit) {
  for (Int k = last; order.includes(k);) {
    const PivotBlock block = block_up_to(order, ipiv, k);
    visit(block);
    k = order.previous(block.first);
  }
}

/// (1 + sqrt(17)) / 8: balances the growth that one pivot of order two allows with that of two pivots of order one.
template <RealScalar R>
inline constexpr R pivot_alpha = R(0.6403882032022076);

struct Pivot {
  enum class Kind {
    single,
    pair,
    zero,         ///< nothing but zeros in the column: there is nothing to eliminate
    not_a_number  ///< nothing to go on with
  };
  Kind kind;
  Int row;  ///< to be exchanged with the last row of the block
};

/// The size of the element of a row on the diagonal, and the largest of its others.
template <RealScalar R>
struct RowSizes {
  R diagonal, largest;
};

/// The pivot for column k.
///
/// diagonal    size of its element on the diagonal
/// largest     row of the largest of its others, column_max the size of that; k and zero if it has none
/// look_at     gives the sizes of a row in what is left of the matrix; asked at most once, for row `largest`
template <RealScalar R, class LookAt>
Pivot choose_pivot(Int k, R diagonal, Int largest, R column_max, LookAt look_at) {
  using enum Pivot::Kind;
  if (std::isnan(diagonal)) return {not_a_number, k};
  if (diagonal == 0 && column_max == 0) return {zero, k};
  if (diagonal >= pivot_alpha<R> * column_max) return {single, k};
  const RowSizes<R> row = look_at(largest);
  if (diagonal >= pivot_alpha<R> * column_max * (column_max / row.largest)) return {single, k};
  if (row.diagonal >= pivot_alpha<R> * row.largest) return {single, largest};
  return {pair, largest};
}

/// The inverse of a block of order two, formed from ratios to its element off the diagonal: that is the largest of
/// them.
template <Mirror mirror, Scalar T>
class PairInverse {
 public:
  /// The elements (first, first), (last, first) and (last, last).
  PairInverse(T first, T coupling, T last)
      : ratio_first_(quotient(first, coupling)),
        ratio_last_(quotient(last, coupling)),
        scale_(quotient(quotient(T(1), ratio_last_ * ratio_first_ - T(1)), coupling)) {}

  /// The elements of [x_first x_last] D^-1.
  T first(T x_first, T x_last) const { return scale_ * (ratio_last_ * x_first - x_last); }
  T last(T x_first, T x_last) const { return scale_ * (ratio_first_ * x_last - x_first); }

 private:
  T ratio_first_, ratio_last_, scale_;
};

template <ComplexScalar T>
class PairInverse<Mirror::conjugate, T> {
  using R = Real<T>;

 public:
  PairInverse(T first, T coupling, T last) {
    const R size = magnitude(coupling);
    ratio_first_ = first.real() / size;
    ratio_last_ = last.real() / size;
    direction_ = coupling / size;
    scale_ = 1 / (ratio_last_ * ratio_first_ - 1) / size;
  }

  T first(T x_first, T x_last) const { return scale_ * (ratio_last_ * x_first - direction_ * x_last); }
  T last(T x_first, T x_last) const { return scale_ * (ratio_first_ * x_last - conjugate(direction_) * x_first); }

 private:
  R ratio_first_, ratio_last_, scale_;
  T direction_;
};

}  // namespace nuv
