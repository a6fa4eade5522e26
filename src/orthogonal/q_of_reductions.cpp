#include "orthogonal/q_of_reductions.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "orthogonal/form_q.hpp"
#include "orthogonal/forms.hpp"

namespace nuv {
namespace {

/// A product of an m by n matrix C with the Q of reflectors in one of three forms.
template <Scalar T>
struct Product {
  Form form;
  char side, trans;
  Int m, n;
  Matrix<T> C;

  /// The same with a Q of order nq - 1: it leaves alone the first row (left) or column (right) of C, or the last where
  /// its reflectors go backward.
  Product inner() const {
    const bool left = same_letter(side, 'L');
    const Matrix<T> others = left ? block(C, 2, 1) : block(C, 1, 2);
    return {form, side, trans, left ? m - 1 : m, left ? n : n - 1, form.backward ? C : others};
  }

  void apply(Int k, Matrix<T> V, const T* tau, T* work, Int lwork, Int& info) const {
    if (form.rowwise) {
      layer::ormlq(side, trans, m, n, k, V, tau, C, work, lwork, info);
    } else if (form.backward) {
      layer::ormql(side, trans, m, n, k, V, tau, C, work, lwork, info);
    } else {
      layer::ormqr(side, trans, m, n, k, V, tau, C, work, lwork, info);
    }
  }
};

/// The reflectors of an embedded Q of order nq - 1.
template <Scalar T>
Matrix<T> inner_reflectors(Form form, Matrix<T> A) {
  return form.rowwise || form.backward ? block(A, 1, 2) : block(A, 2, 1);
}

/// The workspace that is asked for a product: a block for each row (left) or column (right) of C, of the size that
/// suits a Q of order nq - 1.
template <Scalar T>
T best_workspace(Form form, char side, char trans, Int m, Int n) {
  const char opts[] = {side, trans};
  const bool left = same_letter(side, 'L');
  const Int nq = left ? m : n, nw = left ? n : m;
  const Tuning<T> tuning{name_of_form<T>("ORM", "UNM", form), {opts, 2}, left ? m - 1 : m, left ? n : n - 1, nq - 1};
  return as_work_size<T>(std::int64_t{std::max(1, nw)} * tuning.block_size());
}

/// What is below the diagonal of a matrix of order n moves one column to the right.
template <Scalar T>
void shift_right(Int n, Matrix<T> A) {
  for (Int j = n; j >= 2; --j) std::copy(A.at(j + 1, j - 1), A.at(n + 1, j - 1), A.at(j + 1, j));
}

/// What is above it moves one column to the left.
template <Scalar T>
void shift_left(Int n, Matrix<T> A) {
  for (Int j = 1; j < n; ++j) std::copy(A.at(1, j + 1), A.at(j, j + 1), A.at(1, j));
}

/// What is above it moves one row down.
template <Scalar T>
void shift_down(Int n, Matrix<T> A) {
  for (Int j = 2; j <= n; ++j) std::copy_backward(A.at(1, j), A.at(j - 1, j), A.at(j, j));
}

template <Scalar T>
void set_unit_row_and_column(Int n, Matrix<T> A, Int place) {
  for (Int i = 1; i <= n; ++i) A(i, place) = A(place, i) = T(0);
  A(place, place) = T(1);
}

}  // namespace

template <Scalar T>
void ormbr(char vect, char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info) {
  const bool with_q = same_letter(vect, 'Q'), left = same_letter(side, 'L');
  const Int nq = left ? m : n, nw = left ? n : m;
  info = 0;
  if (!is_one_of(vect, 'Q', 'P')) info = -1;
  else if (!is_one_of(side, 'L', 'R')) info = -2;
  else if (!is_one_of(trans, 'N', adjoint<T>)) info = -3;
  else if (m < 0) info = -4;
  else if (n < 0) info = -5;
  else if (k < 0) info = -6;
  else if (lda < std::max(1, with_q ? nq : std::min(nq, k))) info = -8;
  else if (ldc < std::max(1, m)) info = -11;
  else if (lwork < std::max(1, nw) && lwork != -1) info = -13;
  if (info != 0) return report_bad_argument(name_of<T>("ORMBR", "UNMBR"), info);

  const Form form = with_q ? qr : lq;
  const T best_lwork = best_workspace<T>(form, side, trans, m, n);
  work[0] = best_lwork;
  if (lwork == -1) return;
  if (m == 0 || n == 0) {
    work[0] = T(1);
    return;
  }
  // The rows hold the reflectors of P^H.
  const char letter = with_q ? trans : reversed<T>(!same_letter(trans, 'N'));
  const Matrix A{a, lda};
  const Product<T> product{form, side, letter, m, n, {c, ldc}};
  if (with_q ? nq >= k : nq > k) {
    product.apply(k, A, tau, work, lwork, info);
  } else if (nq > 1) {
    product.inner().apply(nq - 1, inner_reflectors(form, A), tau, work, lwork, info);
  }
  work[0] = best_lwork;
}

template <Scalar T>
void ormtr(char side, char uplo, char trans, Int m, Int n, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info) {
  const bool left = same_letter(side, 'L');
  const Int nq = left ? m : n, nw = left ? n : m;
  info = 0;
  if (!is_one_of(side, 'L', 'R')) info = -1;
  else if (!is_one_of(uplo, 'U', 'L')) info = -2;
  else if (!is_one_of(trans, 'N', adjoint<T>)) info = -3;
  else if (m < 0) info = -4;
  else if (n < 0) info = -5;
  else if (lda < std::max(1, nq)) info = -7;
  else if (ldc < std::max(1, m)) info = -10;
  else if (lwork < std::max(1, nw) && lwork != -1) info = -12;
  if (info != 0) return report_bad_argument(name_of<T>("ORMTR", "UNMTR"), info);

  const Form form = same_letter(uplo, 'U') ? ql : qr;
  const T best_lwork = best_workspace<T>(form, side, trans, m, n);
  work[0] = best_lwork;
  if (lwork == -1) return;
  if (m == 0 || n == 0 || nq == 1) {
    work[0] = T(1);
    return;
  }
  const Product<T> product{form, side, trans, m, n, {c, ldc}};
  product.inner().apply(nq - 1, inner_reflectors<T>(form, {a, lda}), tau, work, lwork, info);
  work[0] = best_lwork;
}

template <Scalar T>
void ormhr(char side, char trans, Int m, Int n, Int ilo, Int ihi, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info) {
  const bool left = same_letter(side, 'L');
  const Int nq = left ? m : n, nw = left ? n : m, nh = ihi - ilo;
  info = 0;
  if (!is_one_of(side, 'L', 'R')) info = -1;
  else if (!is_one_of(trans, 'N', adjoint<T>)) info = -2;
  else if (m < 0) info = -3;
  else if (n < 0) info = -4;
  else if (ilo < 1 || ilo > std::max(1, nq)) info = -5;
  else if (ihi < std::min(ilo, nq) || ihi > nq) info = -6;
  else if (lda < std::max(1, nq)) info = -8;
  else if (ldc < std::max(1, m)) info = -11;
  else if (lwork < std::max(1, nw) && lwork != -1) info = -13;
  if (info != 0) return report_bad_argument(name_of<T>("ORMHR", "UNMHR"), info);

  const char opts[] = {side, trans};
  const Tuning<T> tuning{name_of_form<T>("ORM", "UNM", qr), {opts, 2}, left ? nh : m, left ? n : nh, nh};
  const T best_lwork = as_work_size<T>(std::int64_t{std::max(1, nw)} * tuning.block_size());
  work[0] = best_lwork;
  if (lwork == -1) return;
  if (m == 0 || n == 0 || nh == 0) {
    work[0] = T(1);
    return;
  }
  // Q leaves all rows (left) or columns (right) of C alone but ilo + 1 ... ihi.
  const Matrix<T> C{c, ldc}, reached = left ? block(C, ilo + 1, 1) : block(C, 1, ilo + 1);
  const Product<T> product{qr, side, trans, left ? nh : m, left ? n : nh, reached};
  product.apply(nh, block(Matrix{a, lda}, ilo + 1, ilo), tau + (ilo - 1), work, lwork, info);
  work[0] = best_lwork;
}

template <Scalar T>
void orghr(Int n, Int ilo, Int ihi, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  const Int nh = ihi - ilo;
  const Tuning<T> tuning{.name = name_of_form<T>("ORG", "UNG", qr), .n1 = nh, .n2 = nh, .n3 = nh};
  const T best_lwork = as_work_size<T>(std::int64_t{std::max(1, nh)} * tuning.block_size());
  work[0] = best_lwork;
  info = 0;
  if (n < 0) info = -1;
  else if (ilo < 1 || ilo > std::max(1, n)) info = -2;
  else if (ihi < std::min(ilo, n) || ihi > n) info = -3;
  else if (lda < std::max(1, n)) info = -5;
  else if (lwork < std::max(1, nh) && lwork != -1) info = -8;
  if (info != 0) return report_bad_argument(name_of<T>("ORGHR", "UNGHR"), info);
  if (lwork == -1) return;
  if (n == 0) {
    work[0] = T(1);
    return;
  }

  // The reflectors stand one column too far to the left. The rows and columns around Q's own are those of the identity.
  const Matrix A{a, lda};
  for (Int j = ihi; j > ilo; --j) {
    std::fill(A.at(1, j), A.at(ilo + 1, j), T(0));
    std::copy(A.at(j + 1, j - 1), A.at(ihi + 1, j - 1), A.at(j + 1, j));
    std::fill(A.at(ihi + 1, j), A.at(n + 1, j), T(0));
  }
  const auto set_unit_column = [&](Int j) {
    std::fill(A.at(1, j), A.at(n + 1, j), T(0));
    A(j, j) = T(1);
  };
  for (Int j = 1; j <= ilo; ++j) set_unit_column(j);
  for (Int j = ihi + 1; j <= n; ++j) set_unit_column(j);
  if (nh > 0) orgqr(nh, nh, nh, A.at(ilo + 1, ilo + 1), lda, tau + (ilo - 1), work, lwork, info);
  work[0] = best_lwork;
}

template <Scalar T>
void orgbr(char vect, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  const bool with_q = same_letter(vect, 'Q'), query = lwork == -1;
  const Int smaller = std::min(m, n);
  const bool bad_n = with_q ? n > m || n < std::min(m, k) : m > n || m < std::min(n, k);
  info = 0;
  if (!is_one_of(vect, 'Q', 'P')) info = -1;
  else if (m < 0) info = -2;
  else if (n < 0 || bad_n) info = -3;
  else if (k < 0) info = -4;
  else if (lda < std::max(1, m)) info = -6;
  else if (lwork < std::max(1, smaller) && !query) info = -9;
  if (info != 0) return report_bad_argument(name_of<T>("ORGBR", "UNGBR"), info);

  const Tuning<T> tuning{.name = name_of_form<T>("ORG", "UNG", with_q ? qr : lq), .n1 = m, .n2 = n, .n3 = k};
  const T best_lwork = as_work_size<T>(std::int64_t{std::max(1, smaller)} * tuning.block_size());
  work[0] = best_lwork;
  if (query) return;
  if (m == 0 || n == 0) {
    work[0] = T(1);
    return;
  }
  const Matrix A{a, lda};
  if (with_q && m >= k) {
    orgqr(m, n, k, a, lda, tau, work, lwork, info);
  } else if (with_q) {
    // m = n: Q = (1, Q1), its reflectors one column too far to the left.
    shift_right(m, A);
    set_unit_row_and_column(m, A, 1);
    if (m > 1) orgqr(m - 1, m - 1, m - 1, A.at(2, 2), lda, tau, work, lwork, info);
  } else if (k < n) {
    orglq(m, n, k, a, lda, tau, work, lwork, info);
  } else {
    // m = n: P^H = (1, P1^H), its reflectors one row too high.
    shift_down(n, A);
    set_unit_row_and_column(n, A, 1);
    if (n > 1) orglq(n - 1, n - 1, n - 1, A.at(2, 2), lda, tau, work, lwork, info);
  }
  work[0] = best_lwork;
}

template <Scalar T>
void orgtr(char uplo, Int n, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  const bool upper = same_letter(uplo, 'U'), query = lwork == -1;
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (lwork < std::max(1, n - 1) && !query) info = -7;
  if (info != 0) return report_bad_argument(name_of<T>("ORGTR", "UNGTR"), info);

  const RoutineName<T> inner_name = name_of_form<T>("ORG", "UNG", upper ? ql : qr);
  const Tuning<T> tuning{.name = inner_name, .n1 = n - 1, .n2 = n - 1, .n3 = n - 1};
  const T best_lwork = as_work_size<T>(std::int64_t{std::max(1, n - 1)} * tuning.block_size());
  work[0] = best_lwork;
  if (query) return;
  if (n == 0) {
    work[0] = T(1);
    return;
  }
  const Matrix A{a, lda};
  if (upper) {
    shift_left(n, A);
    set_unit_row_and_column(n, A, n);
    if (n > 1) orgql(n - 1, n - 1, n - 1, a, lda, tau, work, lwork, info);
  } else {
    shift_right(n, A);
    set_unit_row_and_column(n, A, 1);
    if (n > 1) orgqr(n - 1, n - 1, n - 1, A.at(2, 2), lda, tau, work, lwork, info);
  }
  work[0] = best_lwork;
}

}  // namespace nuv

#include "orthogonal/q_of_reductions.entries.inc"
