#include "generalised/pencil_vectors.hpp"

#include <algorithm>
#include <cmath>

#include "frame/error_report.hpp"
#include "generalised/pencil_substitution.hpp"
#include "generalised/pencil_two_by_two.hpp"
#include "nonsymmetric/selected_eigenvalues.hpp"
#include "nonsymmetric/small_shifted_system.hpp"

namespace nuv {
namespace {

/// (S, P) in generalised Schur form.
template <RealScalar R>
struct SchurPencil {
  Int n;
  Matrix<const R> S, P;

  DiagonalBlock block_that_ends_in(Int j) const { return {is_pair<R>(S, n, j - 1) ? j - 1 : j, j}; }
  DiagonalBlock block_that_begins_in(Int j) const { return {j, is_pair<R>(S, n, j) ? j + 1 : j}; }
};

/// 0, or minus the position of the matrix that is not of its form: blocks of order two overlap in S, or one of P is
/// singular or not diagonal. A NaN is not to blame.
template <RealScalar R>
Int check_blocks(const SchurPencil<R>& pencil) {
  const auto& [n, S, P] = pencil;
  bool overlap = false, spoilt = false;
  for (Int j = 1; j < n; ++j) {
    if (!is_pair<R>(S, n, j)) continue;
    overlap = overlap || is_pair<R>(S, n, j + 1);
    spoilt = spoilt || P(j, j) == 0 || P(j + 1, j + 1) == 0 || std::abs(P(j, j + 1)) > 0;
  }
  return overlap ? -5 : spoilt ? -7 : 0;
}

/// Sums of the magnitudes in each column, first of S and then of P, above its diagonal block, and the sizes of both.
template <RealScalar R>
PencilSizes<R> sum_columns(const SchurPencil<R>& pencil, R* sums) {
  const auto& [n, S, P] = pencil;
  R largest[2] = {0, 0};
  for (Int j = 1; j <= n; ++j) {
    const Int above = is_pair<R>(S, n, j - 1) ? j - 2 : j - 1, rows = std::min(j + 1, n) - above;
    for (Int k = 0; k < 2; ++k) {
      const Matrix A = k == 0 ? S : P;
      R& sum = sums[std::ptrdiff_t{k} * n + (j - 1)];
      sum = blas::asum(above, column(A, 1, j));
      // Below the diagonal there is nothing of P.
      const Int rest = k == 0 ? rows : j - above;
      largest[k] = larger_or_nan(largest[k], sum + blas::asum(rest, column(A, above + 1, j)));
    }
  }
  return {n, largest[0], largest[1]};
}

/// That of the eigenvalue with positive imaginary part of a block of order two; b is real if there is none.
template <RealScalar R>
PencilShift<R> shift_of_conjugates(const SchurPencil<R>& pencil, DiagonalBlock own, const PencilSizes<R>& sizes) {
  constexpr R safe_min = Machine<R>::safe_min, ulp = Machine<R>::precision, safety = 100;
  const Int j = own.first;
  R a, other_a, re, other_re, im;
  lag2(pencil.S.at(j, j), pencil.S.ld, pencil.P.at(j, j), pencil.P.ld, safe_min * safety, a, other_a, re, other_re, im);
  PencilShift<R> shift(a, {re, im});
  const auto is_small = [](R size) { return size * ulp < safe_min && size >= safe_min; };
  R scale = 1;
  if (is_small(shift.a_size)) scale = (safe_min / ulp) / shift.a_size;
  if (is_small(shift.b_size)) scale = std::max(scale, (safe_min / ulp) / shift.b_size);
  if (safe_min * shift.a_size > sizes.s_scale) scale = sizes.s_scale / (safe_min * shift.a_size);
  if (safe_min * shift.b_size > sizes.p_scale) scale = std::min(scale, sizes.p_scale / (safe_min * shift.b_size));
  if (scale != 1) shift.scale(scale);
  return shift;
}

/// Substitution for the vector x of one block: (a S - b P) x = 0, or (a S - b P)^H x = 0. It has one part, or two where
/// the block is that of conjugate eigenvalues.
template <RealScalar R>
class PencilSubstitution {
 public:
  /// work    4 n elements, sums of columns in the first 2 n
  PencilSubstitution(const SchurPencil<R>& pencil, const PencilSizes<R>& sizes, R* work, DiagonalBlock own,
                     PencilShift<R> shift)
      : pencil_(pencil),
        sums_of_s_(work),
        sums_of_p_(work + pencil.n),
        vector_{own.order(), {work + 2 * std::ptrdiff_t{pencil.n}, work + 3 * std::ptrdiff_t{pencil.n}}, 1, pencil.n},
        own_(own),
        shift_(shift),
        least_pivot_(shift.least_pivot(sizes)),
        largest_sum_(sizes.largest_sum) {}

  const PencilVector<R>& find_right() {
    vector_.last = own_.last;
    start(own_.last, own_.first);
    for (Int c = own_.first; c <= own_.last; ++c) subtract_column(own_.first - 1, c);
    for (Int j = own_.first - 1; j >= 1;) {
      const DiagonalBlock block = pencil_.block_that_ends_in(j);
      solve(block, false);
      if (block.first > 1) {
        R sum = std::max(shift_.a_size, shift_.b_size);
        for (Int c = block.first; c <= block.last; ++c) sum = larger_or_nan(sum, sum_of(c));
        make_room_for(sum, own_.last);
        for (Int c = block.first; c <= block.last; ++c) subtract_column(block.first - 1, c);
      }
      j = block.first - 1;
    }
    return vector_;
  }

  const PencilVector<R>& find_left() {
    vector_.first = own_.first;
    shift_.b = conjugate(shift_.b);
    start(own_.first, own_.last);
    for (Int j = own_.last + 1; j <= pencil_.n;) {
      const DiagonalBlock block = pencil_.block_that_begins_in(j);
      R sum = 0;
      for (Int c = block.first; c <= block.last; ++c) {
        sum = larger_or_nan(sum, larger_or_nan(sum_of(c), larger_or_nan(sums_of_s_[c - 1], sums_of_p_[c - 1])));
      }
      make_room_for(sum, block.first - 1);
      for (Int c = block.first; c <= block.last; ++c) subtract_products(block.first - own_.first, c);
      solve(block, true);
      j = block.last + 1;
    }
    return vector_;
  }

 private:
  R& element(Int p, Int k) const { return vector_.x[p][k - 1]; }

  /// All zero but for the elements in the rows of the block itself, of which there are i and k if it is of order two:
  /// one is one, and the other follows from the equation that has the larger factor for it.
  ///
  ///     right:  (a S(i, i) - b P(i, i)) x(i) + a S(i, k) x(k) = 0    i > k
  ///     left:   (a S(i, i) - b P(i, i)) x(i) + a S(k, i) x(k) = 0    i < k
  void start(Int i, Int k) {
    for (Int p = 0; p < vector_.parts; ++p) std::fill_n(vector_.x[p], pencil_.n, R(0));
    largest_ = 1;
    element(0, i) = 1;
    if (i == k) return;
    const auto& [n, S, P] = pencil_;
    const R a = shift_.a, re = shift_.b.real(), im = shift_.b.imag();
    const R below = a * S(own_.last, own_.first), rest = a * S(i, i) - re * P(i, i), rest_im = negated(im * P(i, i));
    const R rest_size = std::abs(rest) + std::abs(rest_im);
    if (i > k ? std::abs(below) >= rest_size : std::abs(below) > rest_size) {
      element(0, k) = negated(rest) / below;
      element(1, k) = negated(rest_im) / below;
    } else {
      const R above = a * S(own_.first, own_.last);
      element(0, k) = 1;
      element(0, i) = (re * P(k, k) - a * S(k, k)) / above;
      element(1, i) = im * P(k, k) / above;
    }
    largest_ = larger_or_nan(size_of(i), size_of(k));
  }

  R size_of(Int k) const { return std::abs(element(0, k)) + std::abs(element(1, k)); }

  /// What a column of a S - b P adds to a sum at most, but for the size of the vector.
  R sum_of(Int c) const { return shift_.a_size * sums_of_s_[c - 1] + shift_.b_size * sums_of_p_[c - 1]; }

  /// x := x - (a S - b P) x(c), column c of the matrix, in the first rows.
  void subtract_column(Int rows, Int c) const {
    const R re = element(0, c), im = vector_.parts == 2 ? element(1, c) : R(0);
    const R by_s[] = {shift_.a * re, shift_.a * im};
    const R by_p[] = {shift_.b.real() * re - shift_.b.imag() * im, shift_.b.imag() * re + shift_.b.real() * im};
    for (Int p = 0; p < vector_.parts; ++p) {
      const Vector x{vector_.x[p], 1};
      blas::axpy(rows, negated(by_s[p]), column(pencil_.S, 1, c), x);
      blas::axpy(rows, by_p[p], column(pencil_.P, 1, c), x);
    }
  }

  /// x(c) := - (a S - b P)^T x, row c of it, from what is found.
  void subtract_products(Int found, Int c) const {
    R with_s[2] = {}, with_p[2] = {};
    for (Int p = 0; p < vector_.parts; ++p) {
      const Vector<const R> x{vector_.x[p] + (own_.first - 1), 1};
      with_s[p] = blas::dot(found, column(pencil_.S, own_.first, c), x);
      with_p[p] = blas::dot(found, column(pencil_.P, own_.first, c), x);
    }
    const R a = shift_.a, re = shift_.b.real(), im = shift_.b.imag();
    if (vector_.parts == 1) {
      element(0, c) = re * with_p[0] - a * with_s[0];
    } else {
      element(0, c) = re * with_p[0] - a * with_s[0] - im * with_p[1];
      element(1, c) = re * with_p[1] - a * with_s[1] + im * with_p[0];
    }
  }

  /// Solves with a diagonal block for the elements in its rows, which hold the right side.
  void solve(DiagonalBlock block, bool transposed) {
    const Int j = block.first;
    R found[2][2], scale, norm;
    Int perturbed;
    laln2(to_logical(transposed), block.order(), vector_.parts, least_pivot_, shift_.a, pencil_.S.at(j, j),
          pencil_.S.ld, pencil_.P(j, j), pencil_.P(block.last, block.last), &element(0, j), pencil_.n, shift_.b.real(),
          shift_.b.imag(), found[0], 2, scale, norm, perturbed);
    if (scale < 1) scale_rows(transposed ? j - 1 : own_.last, scale);
    largest_ = larger_or_nan(largest_, norm);
    for (Int p = 0; p < vector_.parts; ++p) std::copy_n(found[p], block.order(), &element(p, j));
  }

  /// Scales what is there, up to that row, so that sums of products stay in range.
  void make_room_for(R sum, Int last) {
    const R factor = 1 / std::max(R(1), largest_);
    if (sum > largest_sum_ * factor) scale_rows(last, factor);
  }

  void scale_rows(Int last, R factor) {
    for (Int p = 0; p < vector_.parts; ++p) {
      blas::scal(last - vector_.first + 1, factor, Vector{&element(p, vector_.first), 1});
    }
    largest_ *= factor;
  }

  SchurPencil<R> pencil_;
  const R *sums_of_s_, *sums_of_p_;
  PencilVector<R> vector_;
  DiagonalBlock own_;
  PencilShift<R> shift_;
  R least_pivot_, largest_sum_;
  R largest_ = 1;  ///< among the elements found
};

/// All vectors of one side.
template <RealScalar R>
struct VectorsOfSide {
  bool right, transformed;
  SchurPencil<R> pencil;
  PencilSizes<R> sizes;
  Matrix<R> V;
  R* work;

  /// Finds the vector of a block and puts it into column j and, of two conjugate ones, the one behind it. False if the
  /// block has real eigenvalues.
  bool find(DiagonalBlock block, Int j) const {
    const auto& [n, S, P] = pencil;
    const Int k = block.first;
    const bool single = block.order() == 1;
    if (single && is_indefinite(S(k, k), P(k, k))) {
      put_unit_vector(n, V, j);
      return true;
    }
    const PencilShift<R> shift =
        single ? shift_of_single(S(k, k), P(k, k), sizes) : shift_of_conjugates(pencil, block, sizes);
    if (!single && shift.b.imag() == 0) return false;
    PencilSubstitution<R> substitution(pencil, sizes, work, block, shift);
    const PencilVector<R>& vector = right ? substitution.find_right() : substitution.find_left();
    put_pencil_vector(n, vector, transformed, V, j, work + 4 * std::ptrdiff_t{n});
    return true;
  }
};

/// The vectors of a side for all blocks, or the selected ones, in m columns. Gives info.
template <RealScalar R>
Int find_vectors(const VectorsOfSide<R>& side, const Logical* select, Int m) {
  Int info = 0;
  // A transformed vector is made of all columns up to its own, or from its own on: those must still be what they were.
  Int j = side.right ? m + 1 : 1;
  for_each_diagonal_block(side.pencil.S, side.pencil.n, !side.right, [&](DiagonalBlock block) {
    if (info != 0 || (select != nullptr && !is_selected(select, block))) return;
    if (side.right) j -= block.order();
    if (!side.find(block, j)) info = block.first;
    if (!side.right) j += block.order();
  });
  return info;
}

}  // namespace

template <RealScalar T>
void tgevc(char side, char howmny, const Logical* select, Int n, const T* s, Int lds, const T* p, Int ldp, T* vl,
           Int ldvl, T* vr, Int ldvr, Int mm, Int& m, T* work, Int& info) {
  const WantedVectors wanted(side, howmny);
  const SchurPencil<T> pencil{n, {s, lds}, {p, ldp}};
  Int count = n;
  info = check_pencil(side, howmny, n, lds, ldp);
  if (info == 0) info = check_blocks(pencil);
  if (info == 0) {
    if (wanted.selected) count = count_selected(select, pencil.S, n);
    info = check_room(wanted, n, ldvl, ldvr, mm, count);
  }
  if (info != 0) return report_bad_argument<T>("TGEVC", info);
  m = count;
  if (n == 0) return;

  const PencilSizes<T> sizes = sum_columns(pencil, work);
  const Logical* selected = wanted.selected ? select : nullptr;
  if (wanted.left) {
    info = find_vectors(VectorsOfSide<T>{false, wanted.transformed, pencil, sizes, {vl, ldvl}, work}, selected, m);
  }
  if (wanted.right && info == 0) {
    info = find_vectors(VectorsOfSide<T>{true, wanted.transformed, pencil, sizes, {vr, ldvr}, work}, selected, m);
  }
}

}  // namespace nuv

#include "generalised/pencil_vectors.entries.inc"
