#include "symmetric/generalised_band_reduction.hpp"

#include <algorithm>
#include <utility>

#include "blas.hpp"
#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "symmetric/band_half.hpp"
#include "symmetric/band_rotations.hpp"
#include "symmetric/split_cholesky.hpp"

namespace nuv {
namespace {

/// X, what is applied to A from both sides: in its columns, as one half of S sees them.
template <Scalar T>
struct Transformation {
  Matrix<T> X;
  bool wanted;
  bool conjugated;  ///< the half works on conj(A)
  bool reversed;    ///< and in the opposite order of rows and columns
  Int n, m, kb;     ///< order, that of the upper part of S, diagonals of S beside the main one

  T as_in_x(T element) const { return conjugated ? conjugate(element) : element; }

  /// The first of the rows in which columns can hold something by the time of row i of S, and their number. The lower
  /// part of S comes first, and fills the last kb columns of the upper part, of which its last rows then hold nothing
  /// but what they get from those.
  std::pair<Int, Int> rows_at(Int i) const {
    if (!reversed) return {i, n - i + 1};
    const Int from_top = n + 1 - i;
    return {1, from_top <= m - kb ? from_top : n};
  }

  Int in_x(Int j) const { return reversed ? n + 1 - j : j; }

  void divide_column(Int i, Real<T> divisor) const {
    const auto [first, count] = rows_at(i);
    blas::scal(count, Real<T>(1) / divisor, column(X, first, in_x(i)));
  }

  /// Subtracts multiples of column i from the columns before it, as many as elements of S are given.
  void subtract_column(Int i, Int columns, Vector<const T> s) const {
    const auto [first, count] = rows_at(i);
    const Vector<T> x = column(X, first, in_x(i));
    const Matrix<T> before = block(X, first, std::min(in_x(i - 1), in_x(i - columns)));
    if (conjugated) add_outer_product<T>(count, columns, T(-1), x, forward(columns, s), before);
    else subtract_outer_product<T>(count, columns, x, forward(columns, s), before);
  }

  /// Rotates columns p - 1 and p by what belongs to row i.
  void rotate(Int i, Int p, Real<T> c, T s) const {
    const auto [first, count] = rows_at(i);
    blas::rot(count, column(X, first, in_x(p - 1)), column(X, first, in_x(p)), c, as_in_x(s));
  }
};

/// The transformations that belong to rows n ... last of S, in an order of rows in which each row of S ends at its
/// diagonal. Row i of S makes of C
///
///     E^-H C E^-1     with E the identity but for that row,
///
/// which adds multiples of row and column i to the rows and columns before them, `count` = kb, or less if S has no
/// more. What so arises outside the band is a product of column i, below the diagonal, and of row i of S: rotations
/// that shorten column i before it is used,
///
///     (i - k + ka + 1, i)     annihilated in plane (p - 1, p), p = i - k + 1 + ka       k = 1 ... count - 1
///
/// leave of it one element outside the band in each of the columns before column i,
///
///     (p, i - k)              annihilated in the same plane                             k = 1 ... count
///
/// A rotation of either kind makes an element outside the band itself, which is chased off the lower end in steps of
/// ka rows, where no later row of S has elements. These chases are not completed before the next row is taken: the
/// chases of rows i, i + 1, i + 2 ... go on together, those of row i' by their step i' - i. For each k their rotations
///
///     p = i - k + 1 + ka + (i' - i) (ka + 1)
///
/// are a wave; at each row the shortening ones go first, from k = 1 on, and then the others, from k = count on.
///
/// A rotation must not reach columns of rows that others, which come before it in the order of complete chases, have
/// not yet rotated among each other. These are the last kb - k rows of its columns and the one of the element that it
/// makes. The former are rotated when all that may meet them have been there: those of shortening rotations once the
/// others of the same row have gone, those of the others once the shortening ones of the next row have gone. The
/// element that a shortening rotation makes comes into being last of all, just before it is annihilated.
template <Scalar T>
class HalfReduction {
  using R = Real<T>;

 public:
  /// lowest  the first column in which these rows of S have elements
  /// c, s    n elements of workspace each
  HalfReduction(Int n, Int ka, Int kb, BandHalf<T> C, BandHalf<const T> S, Int lowest, Int last,
                const Transformation<T>& transformation, R* c, T* s)
      : n_(n),
        ka_(ka),
        kb_(kb),
        lowest_(lowest),
        last_(last),
        C_(C),
        S_(S),
        transformation_(transformation),
        shortening_(C, n, ka, c, s, std::max(last - kb, lowest) + ka + 1),
        leaving_(C, n, ka, c, s) {}

  void run() {
    for (i_ = n_; i_ >= last_ || are_chases_left(); --i_) {
      count_ = i_ >= last_ ? std::min(kb_, i_ - lowest_) : 0;
      for (Int k = 1; k < kb_; ++k) shorten(k);
      if (transformation_.wanted) transform_by_shortening();
      if (i_ >= last_) apply_row();
      for (Int k = kb_; k >= 1; --k) complete_leaving(k);
      for (Int k = 1; k <= count_; ++k) begin_to_leave(k);
      for (Int k = kb_; k >= 1; --k) chase(k);
      if (transformation_.wanted) transform_by_leaving();
      for (Int k = 1; k < kb_; ++k) rotate_last_rows(shortening_, shortening_wave(k), k);
      for (Int k = kb_ - 1; k >= 1; --k) pass_on_shortening(k);
    }
  }

 private:
  using Rotations = BandRotations<T>;

  // -------------------------------------------------------------------------------------------------------- the waves

  /// At row i, that of all chases for this k; last_row is the last one to begin one.
  Wave wave(Int last_row, Int i, Int k) const {
    const std::int64_t steps = std::max(0, last_row - i);
    return leaving_.wave_from(i - k + 1 + ka_ + steps * (ka_ + 1));
  }

  /// The last rows, the rows being taken from n on, that have more than k elements before the diagonal, and k.
  Int last_to_shorten(Int k) const { return std::max(last_, lowest_ + k + 1); }
  Int last_to_leave(Int k) const { return std::max(last_, lowest_ + k); }

  Wave shortening_wave(Int k) const { return wave(last_to_shorten(k), i_, k); }
  Wave leaving_wave(Int k) const { return wave(last_to_leave(k), i_, k); }
  Wave leaving_wave_before(Int k) const { return wave(last_to_leave(k), i_ + 1, k); }

  bool are_chases_left() const {
    for (Int k = 1; k <= kb_; ++k) {
      if (leaving_wave_before(k).count > 0) return true;
    }
    return false;
  }

  // -------------------------------------------------------------------------------------------------------- rotations

  void shorten(Int k) const {
    const Wave all = shortening_wave(k);
    if (all.count == 0) return;
    Wave under_way = all;
    if (i_ >= last_to_shorten(k)) {
      begin_to_shorten(k, all.first);
      under_way = {all.first + shortening_.spacing(), all.count - 1};
    }
    shortening_.for_each(under_way, [&](Int p) { shortening_.enter(p); });
    shortening_.annihilate_outside(under_way);
    apply_from_right(shortening_, all, k);
  }

  /// Annihilates element (p, i), which makes element (p, i - k).
  void begin_to_shorten(Int k, Int p) const {
    const Int before = i_ - k;
    shortening_.annihilate(p, i_);
    T& above = C_(p - 1, before);
    outside(before) = negated(conjugate(shortening_.sine(p)) * above);
    above *= shortening_.cosine(p);
    shortening_.rotate_rows(p, before + 1, i_ - 1);
    shortening_.rotate_rows(p, i_ + 1, p - 2);
  }

  /// Element (j + ka + 1, j) between the shortening of column i and the time when it is chased.
  T& outside(Int j) const { return leaving_.sine(j); }

  void begin_to_leave(Int k) const {
    const Int p = i_ - k + 1 + ka_;
    if (p <= n_) leaving_.sine(p) = outside(i_ - k);
  }

  void chase(Int k) const {
    const Wave wave = leaving_wave(k);
    leaving_.annihilate_outside(wave);
    apply_from_right(leaving_, wave, k);
  }

  /// All but the last kb - k rows of the columns.
  void apply_from_right(const Rotations& rotations, const Wave& wave, Int k) const {
    rotations.rotate_diagonals(wave);
    rotations.rotate_columns(wave, 1, ka_ - 1 - (kb_ - k));
  }

  void rotate_last_rows(const Rotations& rotations, const Wave& wave, Int k) const {
    rotations.rotate_columns(wave, ka_ - (kb_ - k), ka_ - 1);
  }

  /// Of the wave of the row before.
  void complete_leaving(Int k) const {
    const Wave wave = leaving_wave_before(k);
    rotate_last_rows(leaving_, wave, k);
    leaving_.for_each(wave, [&](Int p) {
      if (leaving_.leaves_band(p)) leaving_.leave_band(p);
    });
  }

  void pass_on_shortening(Int k) const {
    shortening_.for_each(shortening_wave(k), [&](Int p) {
      if (shortening_.leaves_band(p)) shortening_.pass_on(p);
    });
  }

  /// Applies to X what all waves at row i have: what belongs to one row turns neighbouring columns, and goes together.
  void transform_by_shortening() const {
    for_each_row_under_way([&](Int row, Int p) {
      for (Int k = 1; k < kb_; ++k) {
        if (row >= last_to_shorten(k)) transform(shortening_, row, p - k);
      }
    });
  }
  void transform_by_leaving() const {
    for_each_row_under_way([&](Int row, Int p) {
      for (Int k = kb_; k >= 1; --k) {
        if (row >= last_to_leave(k)) transform(leaving_, row, p - k);
      }
    });
  }

  /// visit(row, p) for each row that has chases, which are at planes (p - k - 1, p - k).
  template <class Visit>
  void for_each_row_under_way(Visit visit) const {
    Int row = std::max(i_, last_);
    std::int64_t p = std::int64_t{i_ + 1} + ka_ + std::int64_t{row - i_} * (ka_ + 1);
    for (; p - kb_ <= n_; ++row, p += ka_ + 1) visit(row, static_cast<Int>(p));
  }

  void transform(const Rotations& rotations, Int row, Int p) const {
    if (p <= n_) transformation_.rotate(row, p, rotations.cosine(p), rotations.sine(p));
  }

  // -------------------------------------------------------------------------------------------------------- row i of S

  void apply_row() const {
    divide_row_and_column();
    subtract_from_rows_before();
    if (!transformation_.wanted) return;
    transformation_.divide_column(i_, std::real(S_(i_, i_)));
    if (count_ > 0) transformation_.subtract_column(i_, count_, S_.row(i_, i_ - count_));
  }

  /// The last row in which column i has an element by then.
  Int end_of_column() const { return std::min(n_, count_ == 0 ? i_ + ka_ : i_ - count_ + ka_ + 1); }
  Int start_of_row() const { return std::max(1, i_ - ka_); }

  void divide_row_and_column() const {
    const R s = std::real(S_(i_, i_));
    for (Int j = start_of_row(); j < i_; ++j) C_(i_, j) /= s;
    for (Int r = i_ + 1; r <= end_of_column(); ++r) C_(r, i_) /= s;
    C_(i_, i_) = std::real(C_(i_, i_)) / s / s;
  }

  /// For the rows c before row i, with row i of S in s and C having been divided by its diagonal element:
  ///
  ///     C(r, c) -= C(r, i) s(c)                                                        r > i
  ///     C(c, j) -= conj(s(c)) C(i, j) + conj(C(i, c)) s(j) - conj(s(c)) C(i, i) s(j)   j <= c, s(j) = 0 before column
  ///     C(i, c) -= C(i, i) s(c)                                                        i - count
  void subtract_from_rows_before() const {
    const R diagonal = std::real(C_(i_, i_));
    const Int first = i_ - count_;
    for (Int c = first; c < i_; ++c) {
      const T s = S_(i_, c), beside = conjugate(C_(i_, c)) - diagonal * conjugate(s);
      for (Int j = start_of_row(); j <= c; ++j) {
        C_(c, j) -= conjugate(s) * C_(i_, j);
        if (j >= first) C_(c, j) -= beside * S_(i_, j);
      }
      C_(c, c) = std::real(C_(c, c));
      for (Int r = i_ + 1; r <= std::min(end_of_column(), c + ka_); ++r) C_(r, c) -= C_(r, i_) * s;
    }
    const Int p = first + ka_ + 1;
    if (count_ > 0 && p <= n_) outside(first) = negated(C_(p, i_) * S_(i_, first));
    for (Int c = first; c < i_; ++c) C_(i_, c) -= diagonal * S_(i_, c);
  }

  Int n_, ka_, kb_, lowest_, last_;
  BandHalf<T> C_;
  BandHalf<const T> S_;
  Transformation<T> transformation_;
  Rotations shortening_;   ///< those that shorten columns, with what comes of each
  Rotations leaving_;      ///< and the chases of the others
  Int i_ = 0, count_ = 0;  ///< the row of S, and its elements before the diagonal
};

Int check_arguments(char vect, char uplo, Int n, Int ka, Int kb, Int ldab, Int ldbb, Int ldx) {
  if (!is_one_of(vect, 'N', 'V')) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (n < 0) return -3;
  if (ka < 0) return -4;
  if (kb < 0 || kb > ka) return -5;
  if (ldab <= ka) return -7;
  if (ldbb <= kb) return -9;
  if (ldx < 1 || (same_letter(vect, 'V') && ldx < n)) return -11;
  return 0;
}

/// c, s    n elements of workspace each
template <Scalar T>
void reduce(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x, Int ldx,
            Real<T>* c, T* s, Int& info) {
  info = check_arguments(vect, uplo, n, ka, kb, ldab, ldbb, ldx);
  if (info != 0) return report_bad_argument(name_of<T>("SBGST", "HBGST"), info);
  if (n == 0) return;
  const bool upper = same_letter(uplo, 'U'), wanted = same_letter(vect, 'V');
  if (wanted) laset('F', n, n, T(0), T(1), x, ldx);
  const BandHalf<T> C = BandHalf<T>::of(upper, ka, ab, ldab);
  const BandHalf<const T> S = BandHalf<const T>::of(upper, kb, bb, ldbb);
  const Int diagonals = diagonals_in_place(n, ka), of_b = diagonals_in_place(n, kb), m = upper_part_of_split(n, of_b);
  for (const bool reversed : {false, true}) {
    const Transformation<T> X{{x, ldx}, wanted, upper != reversed, reversed, n, m, of_b};
    const Int last = reversed ? n - m + 1 : m + 1, lowest = reversed ? last : 1;
    HalfReduction<T>(n, diagonals, of_b, reversed ? C.reversed(n) : C, reversed ? S.reversed(n) : S, lowest, last, X, c,
                     s)
        .run();
  }
}

}  // namespace

// Not part of its entry: reduce takes an argument more, and a jump to it would use the place of an option's length on
// the caller's stack. Some callers pass none.
template <RealScalar T>
[[gnu::noinline]] void sbgst(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x,
                             Int ldx, T* work, Int& info) {
  reduce(vect, uplo, n, ka, kb, ab, ldab, bb, ldbb, x, ldx, work + n, work, info);
}

template <ComplexScalar T>
void hbgst(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x, Int ldx, T* work,
           Real<T>* rwork, Int& info) {
  reduce(vect, uplo, n, ka, kb, ab, ldab, bb, ldbb, x, ldx, rwork, work, info);
}

}  // namespace nuv

#include "symmetric/generalised_band_reduction.entries.inc"
