#include "generators/random_with_spectrum.hpp"

#include <algorithm>

#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "generators/random_reflector.hpp"
#include "generators/symmetry.hpp"

namespace nuv {
namespace {

/// The m by n matrix with d on its diagonal.
template <Scalar T>
void set_diagonal(Int m, Int n, const Real<T>* d, Matrix<T> A) {
  laset('F', m, n, T(0), T(0), A.data, A.ld);
  for (Int i = 1; i <= std::min(m, n); ++i) A(i, i) = d[i - 1];
}

/// Turns column j of A from row i to row m, and the columns behind it with it, so that it ends in row i.
template <Scalar T>
void end_column(Int m, Int n, Int i, Int j, Matrix<T> A, T* work) {
  const Int length = m - i + 1;
  T head;
  const Real<T> tau = turn_to_first_axis(length, column(A, i, j), head);
  reflect_from_left<T>(length, n - j, tau, column(A, i, j), block(A, i, j + 1), work);
  A(i, j) = head;
  std::fill_n(A.at(i, j) + 1, length - 1, T(0));
}

/// Turns row i of A from column j to column n, and the rows below it with it, so that it ends in column j.
template <Scalar T>
void end_row(Int m, Int n, Int i, Int j, Matrix<T> A, T* work) {
  const Int length = n - j + 1;
  T head;
  const Real<T> tau = turn_to_first_axis(length, row(A, i, j), head);
  conjugate_vector(length, row(A, i, j));
  reflect_from_right<T>(m - i, length, tau, row(A, i, j), block(A, i + 1, j), work);
  A(i, j) = head;
  for (Int l = j + 1; l <= n; ++l) A(i, l) = 0;
}

}  // namespace

template <Scalar T>
void lagge(Int m, Int n, Int kl, Int ku, const Real<T>* d, T* a, Int lda, Int* iseed, T* work, Int& info) {
  info = 0;
  if (m < 0) info = -1;
  else if (n < 0) info = -2;
  else if (kl < 0 || kl > m - 1) info = -3;
  else if (ku < 0 || ku > n - 1) info = -4;
  else if (lda < std::max(1, m)) info = -7;
  if (info != 0) return report_bad_argument<T>("LAGGE", info);

  const Matrix A{a, lda};
  set_diagonal<T>(m, n, d, A);
  if (kl == 0 && ku == 0) return;

  for (Int i = std::min(m, n); i >= 1; --i) {
    const Int rows = m - i + 1, columns = n - i + 1;
    if (rows > 1) {
      const Real<T> tau = draw_reflector(iseed, rows, work);
      reflect_from_left<T>(rows, columns, tau, {work, 1}, block(A, i, i), work + m);
    }
    if (columns > 1) {
      const Real<T> tau = draw_reflector(iseed, columns, work);
      reflect_from_right<T>(rows, columns, tau, {work, 1}, block(A, i, i), work + n);
    }
  }

  // Where the band ends at the diagonal on one side, what that side turns includes the diagonal: it goes first, before
  // the other side turns what lies beyond.
  const Int columns_to_end = std::min(m - 1 - kl, n), rows_to_end = std::min(n - 1 - ku, m);
  const bool column_first = kl <= ku;
  for (Int i = 1; i <= std::max(columns_to_end, rows_to_end); ++i) {
    if (column_first && i <= columns_to_end) end_column(m, n, kl + i, i, A, work);
    if (i <= rows_to_end) end_row(m, n, i, ku + i, A, work);
    if (!column_first && i <= columns_to_end) end_column(m, n, kl + i, i, A, work);
  }
}

namespace {

/// What is done with the lower triangle of a Hermitian, which may be real, or a complex symmetric matrix.
template <Symmetry symmetry, Scalar T>
struct LowerTriangle;

template <RealScalar T>
struct LowerTriangle<Symmetry::hermitian, T> {
  /// y := alpha A v
  static void multiply(Int n, T alpha, Matrix<const T> A, const T* v, T* y) {
    blas::symv('L', n, alpha, A, {v, 1}, T(0), {y, 1});
  }
  /// v^H y
  static T inner_product(Int n, const T* v, const T* y) { return blas::dot(n, {v, 1}, {y, 1}); }
  /// A := A - v y^H - y v^H
  static void subtract(Int n, const T* v, const T* y, Matrix<T> A) { blas::syr2('L', n, T(-1), {v, 1}, {y, 1}, A); }
};

template <ComplexScalar T>
struct LowerTriangle<Symmetry::hermitian, T> {
  static void multiply(Int n, Real<T> alpha, Matrix<const T> A, const T* v, T* y) {
    blas::hemv('L', n, T(alpha), A, {v, 1}, T(0), {y, 1});
  }
  static T inner_product(Int n, const T* v, const T* y) { return std::real(blas::dotc(n, {v, 1}, {y, 1})); }
  static void subtract(Int n, const T* v, const T* y, Matrix<T> A) { blas::her2('L', n, T(-1), {v, 1}, {y, 1}, A); }
};

template <ComplexScalar T>
struct LowerTriangle<Symmetry::symmetric, T> {
  /// y := alpha A conj(v), since H A H^T has the conjugate vector on the right.
  static void multiply(Int n, Real<T> alpha, Matrix<const T> A, const T* v, T* y) {
    std::fill_n(y, n, T(0));
    for (Int j = 1; j <= n; ++j) {
      const Int below = n - j;
      const Vector<const T> a = column(A, j + 1, j);
      const T v_j = alpha * conjugate(v[j - 1]);
      y[j - 1] += v_j * A(j, j) + alpha * blas::dotc(below, {v + j, 1}, a);
      blas::axpy(below, v_j, a, {y + j, 1});
    }
  }
  static T inner_product(Int n, const T* v, const T* y) { return blas::dotc(n, {v, 1}, {y, 1}); }
  static void subtract(Int n, const T* v, const T* y, Matrix<T> A) {
    for (Int j = 1; j <= n; ++j) {
      blas::axpy(n - j + 1, negated(y[j - 1]), {v + (j - 1), 1}, column(A, j, j));
      blas::axpy(n - j + 1, negated(v[j - 1]), {y + (j - 1), 1}, column(A, j, j));
    }
  }
};

/// A := H A H^H, or H A H^T, on the lower triangle of A for H = I - tau v v^H: with y = tau A v and
/// w = y - tau / 2 (v^H y) v it is A - v w^H - w v^H. work holds n numbers.
template <Symmetry symmetry, Scalar T>
void reflect_from_both(Int n, Real<T> tau, const T* v, Matrix<T> A, T* work) {
  using Triangle = LowerTriangle<symmetry, T>;
  Triangle::multiply(n, tau, A, v, work);
  const T alpha = negated(tau / 2) * Triangle::inner_product(n, v, work);
  blas::axpy(n, alpha, {v, 1}, {work, 1});
  Triangle::subtract(n, v, work, A);
}

template <Symmetry symmetry, Scalar T>
void symmetric_with_spectrum(Int n, Int k, const Real<T>* d, Matrix<T> A, Int* iseed, T* work) {
  set_diagonal<T>(n, n, d, A);
  if (k == 0) return;

  for (Int i = n - 1; i >= 1; --i) {
    const Int length = n - i + 1;
    const Real<T> tau = draw_reflector(iseed, length, work);
    reflect_from_both<symmetry, T>(length, tau, work, block(A, i, i), work + n);
  }

  for (Int j = 1; j <= n - 1 - k; ++j) {
    const Int i = k + j, length = n - i + 1;
    T* const v = A.at(i, j);
    T head;
    const Real<T> tau = turn_to_first_axis<T>(length, {v, 1}, head);
    reflect_from_left<T>(length, k - 1, tau, {v, 1}, block(A, i, j + 1), work);
    reflect_from_both<symmetry, T>(length, tau, v, block(A, i, i), work);
    *v = head;
    std::fill_n(v + 1, length - 1, T(0));
  }

  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1; i <= n; ++i) A(j, i) = mirrored(symmetry, A(i, j));
  }
}

/// 0, or minus the position of the first bad argument of n, k, d, a, lda.
Int check_symmetric(Int n, Int k, Int lda) {
  if (n < 0) return -1;
  if (k < 0 || k > n - 1) return -2;
  if (lda < std::max(1, n)) return -5;
  return 0;
}

}  // namespace

template <Scalar T>
void lagsy(Int n, Int k, const Real<T>* d, T* a, Int lda, Int* iseed, T* work, Int& info) {
  info = check_symmetric(n, k, lda);
  if (info != 0) return report_bad_argument<T>("LAGSY", info);
  symmetric_with_spectrum<symmetry_of<T>('S'), T>(n, k, d, {a, lda}, iseed, work);
}

template <ComplexScalar T>
void laghe(Int n, Int k, const Real<T>* d, T* a, Int lda, Int* iseed, T* work, Int& info) {
  info = check_symmetric(n, k, lda);
  if (info != 0) return report_bad_argument<T>("LAGHE", info);
  symmetric_with_spectrum<Symmetry::hermitian, T>(n, k, d, {a, lda}, iseed, work);
}

}  // namespace nuv

#include "generators/random_with_spectrum.entries.inc"
