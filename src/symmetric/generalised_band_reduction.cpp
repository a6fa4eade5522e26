#include "symmetric/generalised_band_reduction.hpp"

#include <algorithm>
#include <utility>

#include "blas.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "svd/vector_rotations.hpp"
#include "symmetric/band_half.hpp"
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

  Vector<T> column(Int i, Int j) const { return nuv::column(X, rows_at(i).first, reversed ? n + 1 - j : j); }
};

/// The transformations that belong to rows n ... last of S, in an order of rows in which each row of S ends at its
/// diagonal. Row i of S makes of C
///
///     E^-H C E^-1     with E the identity but for that row,
///
/// which adds multiples of row and column i to the `count` rows and columns before them. What so arises outside the
/// band is chased off its lower end by rotations of neighbouring rows, in which no later row of S has elements.
///
/// It is a product of column i, below the diagonal, and of row i of S: rotations that shorten column i before it is
/// used leave of it one element outside the band in each of the columns before column i,
///
///     (c + ka + 1, c)     c = i - count ... i - 1
///
/// kept by the number of that column. A rotation of rows p and p + 1 that annihilates such an element, p = c + ka,
/// makes another in column p.
template <Scalar T>
class HalfReduction {
  using R = Real<T>;

 public:
  /// lowest  the first column in which these rows of S have elements
  HalfReduction(Int n, Int ka, Int kb, BandHalf<T> C, BandHalf<const T> S, Int lowest,
                const Transformation<T>& transformation, T* outside)
      : n_(n), ka_(ka), kb_(kb), lowest_(lowest), C_(C), S_(S), transformation_(transformation), outside_(outside) {}

  void run(Int last) {
    for (i_ = n_; i_ >= last; --i_) {
      count_ = std::min(kb_, i_ - lowest_);
      for (Int k = std::max(1, i_ + ka_ + 1 - n_); k < count_; ++k) shorten_column(k);
      divide_row_and_column();
      subtract_from_rows_before();
      if (transformation_.wanted) transform_columns();
      chase_all();
    }
  }

 private:
  /// The last row in which column i has an element by then.
  Int end_of_column() const { return std::min(n_, count_ == 0 ? i_ + ka_ : i_ - count_ + ka_ + 1); }
  Int start_of_row() const { return std::max(1, i_ - ka_); }

  bool leaves_band(Int column) const { return column + ka_ + 1 <= n_; }

  /// Annihilates element (i - k + ka + 1, i).
  void shorten_column(Int k) {
    const Int p = i_ - k + ka_, before = i_ - k;
    T s = std::exchange(C_(p + 1, i_), T(0));
    const R c = generate_rotation(C_(p, i_), s);
    outside_[before - 1] = negated(conjugate(s) * C_(p, before));
    C_(p, before) *= c;
    rotate_rows(p, before + 1, i_ - 1, c, s);
    rotate_rows(p, i_ + 1, p - 1, c, s);
    rotate_diagonal_and_columns(p, c, s);
    for (Int column = p; leaves_band(column); column += ka_) annihilate_outside(column);
  }

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
    if (count_ > 0 && leaves_band(first)) outside_[first - 1] = negated(C_(first + ka_ + 1, i_) * S_(i_, first));
    for (Int c = first; c < i_; ++c) C_(i_, c) -= diagonal * S_(i_, c);
  }

  void transform_columns() const {
    const Int rows = transformation_.rows_at(i_).second;
    const Vector<T> column = transformation_.column(i_, i_);
    blas::scal(rows, R(1) / std::real(S_(i_, i_)), column);
    for (Int c = i_ - count_; c < i_; ++c) {
      blas::axpy(rows, negated(transformation_.as_in_x(S_(i_, c))), column, transformation_.column(i_, c));
    }
  }

  /// All elements outside go on together, one step at a time, the foremost last: they stand in neighbouring rows.
  void chase_all() {
    if (count_ == 0) return;
    for (Int end = i_; leaves_band(end - count_); end += ka_) {
      for (Int column = end - count_; column < end && leaves_band(column); ++column) annihilate_outside(column);
    }
  }

  void annihilate_outside(Int column) {
    const Int p = column + ka_;
    T s = outside_[column - 1];
    const R c = generate_rotation(C_(p, column), s);
    rotate_rows(p, column + 1, p - 1, c, s);
    rotate_diagonal_and_columns(p, c, s);
  }

  /// The rotation that annihilates y by x, which becomes what is left; y becomes the sine, the cosine is given.
  static R generate_rotation(T& x, T& y) {
    R c;
    largv(1, &x, 1, &y, 1, &c, 1);
    return c;
  }

  /// Of vectors that go backwards the kernels want the far end.
  static void rotate(Int count, Vector<T> x, Vector<T> y, R c, T s) {
    if (count <= 0) return;
    if (x.inc < 0) {
      const std::ptrdiff_t far = std::ptrdiff_t{count - 1} * x.inc;
      x = {x.data + far, -x.inc};
      y = {y.data + far, -y.inc};
    }
    blas::rot(count, x, y, c, s);
  }

  /// In columns from ... to.
  void rotate_rows(Int p, Int from, Int to, R c, T s) const {
    rotate(to - from + 1, C_.row(p, from), C_.row(p + 1, from), c, s);
  }

  void rotate_diagonal_and_columns(Int p, R c, T s) {
    lar2v(1, C_.at(p, p), C_.at(p + 1, p + 1), C_.at(p + 1, p), 1, &c, &s, 1);
    const T from_right = conjugate(s);
    rotate(std::min(n_, p + ka_) - p - 1, C_.column(p + 2, p), C_.column(p + 2, p + 1), c, from_right);
    if (leaves_band(p)) {
      T& element = C_(p + ka_ + 1, p + 1);
      outside_[p - 1] = from_right * element;
      element *= c;
    }
    if (transformation_.wanted) {
      blas::rot(transformation_.rows_at(i_).second, transformation_.column(i_, p), transformation_.column(i_, p + 1), c,
                transformation_.as_in_x(from_right));
    }
  }

  Int n_, ka_, kb_, lowest_;
  BandHalf<T> C_;
  BandHalf<const T> S_;
  Transformation<T> transformation_;
  T* outside_;
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

template <Scalar T>
void reduce(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x, Int ldx,
            T* outside, Int& info) {
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
    HalfReduction<T>(n, diagonals, of_b, reversed ? C.reversed(n) : C, reversed ? S.reversed(n) : S, lowest, X, outside)
        .run(last);
  }
}

}  // namespace

template <RealScalar T>
void sbgst(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x, Int ldx, T* work,
           Int& info) {
  reduce(vect, uplo, n, ka, kb, ab, ldab, bb, ldbb, x, ldx, work, info);
}

template <ComplexScalar T>
void hbgst(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x, Int ldx, T* work,
           Real<T>* rwork, Int& info) {
  static_cast<void>(rwork);
  reduce(vect, uplo, n, ka, kb, ab, ldab, bb, ldbb, x, ldx, work, info);
}

}  // namespace nuv

#include "symmetric/generalised_band_reduction.entries.inc"
