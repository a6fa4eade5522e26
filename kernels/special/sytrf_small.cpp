// Diagonal pivoting with the partial search of columns (J. R. Bunch and L. Kaufman, "Some stable methods for
// calculating inertia and solving symmetric linear systems", Math. Comp. 31, 1977).
//
// Both triangles run one algorithm: it goes down the columns of a lower triangle and up those of an upper one. The rest
// of column k is what the triangle has of it beyond its diagonal: rows k+1 to n of a lower, 1 to k-1 of an upper
// triangle.

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/matrix.hpp"
#include "kernels/special/elements.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

enum class Triangle { lower, upper };

/// (1 + sqrt(17)) / 8: balances the growth that one pivot of order two allows with that of two pivots of order one.
template <RealScalar T>
inline constexpr T alpha = T(0.6403882032022076);

/// Rows or columns from ... to.
struct Range {
  Int from, to;
  Int size() const { return to - from + 1; }
};

/// Position, from zero, of the first of n > 0 elements of largest magnitude. Where the first is not a number, that.
template <RealScalar T>
Int position_of_largest(Int n, const T* x) {
  constexpr int width = lanes<T>;
  if (x[0] != x[0]) return 0;
  const auto larger = [](Simd<T> a, Simd<T> b) { return a > b ? a : b; };
  Simd<T> largest{};
  Int i = 0;
  for (; i + width <= n; i += width) largest = larger(simd::abs<T>(simd::load(x + i)), largest);
  if (i < n) largest = larger(simd::abs<T>(simd::load_first(x + i, n - i)), largest);
  const T wanted = simd::fold_lanes<T>(largest, larger);
  for (i = 0; i + width <= n; i += width) {
    const unsigned found = simd::equal_lanes(simd::abs<T>(simd::load(x + i)), simd::broadcast(wanted));
    if (found != 0) return i + __builtin_ctz(found);
  }
  while (std::abs(x[i]) != wanted) ++i;
  return i;
}

/// a[i] -= sum of x_k[i] f_k over `terms` vectors x_k, for i < n.
template <int terms, RealScalar T>
[[gnu::always_inline]] inline void subtract_multiples(Int n, T* a, const T* const (&x)[terms], const T (&f)[terms]) {
  constexpr int width = lanes<T>;
  Simd<T> factor[terms];
#pragma GCC unroll 2
  for (int k = 0; k < terms; ++k) factor[k] = simd::broadcast(f[k]);
  Int i = 0;
  for (; i + width <= n; i += width) {
    Simd<T> rest = simd::load(a + i);
#pragma GCC unroll 2
    for (int k = 0; k < terms; ++k) rest = simd::fnma(simd::load(x[k] + i), factor[k], rest);
    simd::store(a + i, rest);
  }
  const int left = n - i;
  if (left == 0) return;
  Simd<T> rest = simd::load_first(a + i, left);
#pragma GCC unroll 2
  for (int k = 0; k < terms; ++k) rest = simd::fnma(simd::load_first(x[k] + i, left), factor[k], rest);
  simd::store_first(a + i, rest, left);
}

template <Triangle triangle, RealScalar T>
class Factorisation {
  static constexpr bool is_lower = triangle == Triangle::lower;
  static constexpr Int forward = is_lower ? 1 : -1;

 public:
  Factorisation(Int n, Matrix<T> A, Int* ipiv) : n_(n), A_(A), ipiv_(ipiv - 1) {}

  /// Gives 0, or the position of the first pivot that is zero or not a number. A column of zeros is left as it is, and
  /// the factorisation goes on behind it; with what is not a number it ends: the columns left count as blocks of order
  /// one without exchanges.
  Int run() {
    Int info = 0;
    Int k = is_lower ? 1 : n_;
    while (k >= 1 && k <= n_) {
      const Pivot pivot = choose(k);
      if (pivot.is_usable) {
        exchange(k, pivot);
        if (pivot.order == 1) {
          eliminate_one(k);
        } else {
          eliminate_two(k);
        }
      } else {
        if (info == 0) info = k;
        if (A_(k, k) != A_(k, k)) {
          for (; k >= 1 && k <= n_; k += forward) ipiv_[k] = k;
          break;
        }
      }
      if (pivot.order == 1) {
        ipiv_[k] = pivot.row;
      } else {
        ipiv_[k] = ipiv_[k + forward] = -pivot.row;
      }
      k += forward * pivot.order;
    }
    return info;
  }

 private:
  struct Pivot {
    Int row;  ///< to be exchanged with the last row of the pivot's block
    int order;
    bool is_usable;
  };

  Range rest(Int k) const { return is_lower ? Range{k + 1, n_} : Range{1, k - 1}; }

  Pivot choose(Int k) const {
    const T diagonal = std::abs(A_(k, k));
    const Range below = rest(k);
    Int largest = k;
    T column_max = 0;
    if (below.size() > 0) {
      largest = below.from + position_of_largest(below.size(), A_.at(below.from, k));
      column_max = std::abs(A_(largest, k));
    }
    if ((diagonal == T(0) && column_max == T(0)) || diagonal != diagonal) return {k, 1, false};
    if (diagonal >= alpha<T> * column_max) return {k, 1, true};
    const T row_max = largest_of_row(largest, k);
    if (diagonal >= alpha<T> * column_max * (column_max / row_max)) return {k, 1, true};
    if (std::abs(A_(largest, largest)) >= alpha<T> * row_max) return {largest, 1, true};
    return {largest, 2, true};
  }

  /// Largest magnitude of the elements of row i off the diagonal, from column k on.
  T largest_of_row(Int i, Int k) const {
    T largest = 0;
    const Range stored_in_row = is_lower ? Range{k, i - 1} : Range{i + 1, k};
    for (Int j = stored_in_row.from; j <= stored_in_row.to; ++j) largest = std::max(largest, std::abs(A_(i, j)));
    const Range column = rest(i);
    if (column.size() > 0) {
      const T* const first = A_.at(column.from, i);
      largest = std::max(largest, std::abs(first[position_of_largest(column.size(), first)]));
    }
    return largest;
  }

  /// Brings the rows and columns of the pivot into the leading block.
  void exchange(Int k, Pivot pivot) {
    const Int to = k + forward * (pivot.order - 1), from = pivot.row;
    if (from == to) return;
    const Range outside = rest(from);
    T* const outer = A_.at(outside.from, to);
    std::swap_ranges(outer, outer + std::max(outside.size(), 0), A_.at(outside.from, from));
    for (Int i = std::min(from, to) + 1; i < std::max(from, to); ++i) std::swap(A_(i, to), A_(from, i));
    std::swap(A_(to, to), A_(from, from));
    if (pivot.order == 2) std::swap(A_(to, k), A_(from, k));
  }

  /// A(i, j) -= sum of A(i, k) f_k over the columns k given, for the rows i of column j that the triangle has.
  template <int terms>
  void update_column(Int j, const Int (&columns)[terms], const T (&f)[terms]) {
    const Int first = is_lower ? j : 1, count = is_lower ? n_ - j + 1 : j;
    const T* x[terms];
    for (int t = 0; t < terms; ++t) x[t] = A_.at(first, columns[t]);
    subtract_multiples<terms>(count, A_.at(first, j), x, f);
  }

  /// The rest of A -= x d^-1 x^T for a pivot d of order one; x becomes x d^-1.
  void eliminate_one(Int k) {
    const T reciprocal = 1 / A_(k, k);
    const Range below = rest(k);
    for (Int j = below.from; j <= below.to; ++j) update_column<1>(j, {k}, {reciprocal * A_(j, k)});
    T* const x = A_.at(below.from, k);
    for (Int i = 0; i < below.size(); ++i) x[i] *= reciprocal;
  }

  /// The same for a pivot of order two, whose inverse is formed from ratios to its element off the diagonal: that is
  /// the largest of the three.
  void eliminate_two(Int k) {
    const Int other = k + forward;
    const T coupling = A_(other, k);
    const T ratio_other = A_(other, other) / coupling, ratio_k = A_(k, k) / coupling;
    const T scale = 1 / (ratio_other * ratio_k - 1) / coupling;
    const Range below = rest(other);
    for (Int step = 0; step < below.size(); ++step) {
      const Int j = is_lower ? below.from + step : below.to - step;
      const T weight_k = scale * (ratio_other * A_(j, k) - A_(j, other));
      const T weight_other = scale * (ratio_k * A_(j, other) - A_(j, k));
      update_column<2>(j, {k, other}, {weight_k, weight_other});
      A_(j, k) = weight_k;
      A_(j, other) = weight_other;
    }
  }

  Int n_;
  Matrix<T> A_;
  Int* ipiv_;  // counted from one
};

}  // namespace

/// A = L D L^T for the lower triangle of a symmetric A of order n, with D of blocks of order one and two.
///
/// a       lower triangle, lda >= max(1, n). On return D and the multipliers that make up L, in place of it. The upper
///         triangle is neither read nor written.
/// ipiv    n numbers. Positive at k: a block of order one, rows and columns k and ipiv[k] were exchanged. Negative at k
///         and k+1: a block of order two, rows and columns k+1 and -ipiv[k] were.
/// info    0, or k: D(k, k) is zero, or not a number: then the factorisation ends before k
template <RealScalar T>
void sytrf_l_small(char, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  info = Factorisation<Triangle::lower, T>(n, {a, lda}, ipiv).run();
}

/// A = U D U^T for the upper triangle, from the last column to the first; a block of order two at k-1 and k has rows
/// k-1 and -ipiv[k] exchanged.
template <RealScalar T>
void sytrf_u_small(char, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  info = Factorisation<Triangle::upper, T>(n, {a, lda}, ipiv).run();
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/sytrf_small.entries.inc"
