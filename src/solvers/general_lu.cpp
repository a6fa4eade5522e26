#include "solvers/general_lu.hpp"

#include <algorithm>
#include <utility>

#include "base/matrix.hpp"
#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "solvers/triangular.hpp"

namespace nuv {
namespace {

/// Width of the left-looking block columns for a matrix of n columns: the largest of the ladder below n, 0 for none.
Int left_looking_width(Int n) {
  for (const Int width : {8192, 4096, 2048, 1024, 128, 64, 32, 16}) {
    if (width < n) return width;
  }
  return 0;
}

/// Turns the pivots of a panel that starts in row j + 1 into rows of the whole matrix.
void shift_pivots(Int count, Int* ipiv, Int j) {
  for (Int i = 0; i < count; ++i) ipiv[i] += j;
}

}  // namespace

// Left-looking by block columns. In step j the block column is brought up to date from everything to its left,
// factored, and the rows of U beside it are finished:
//
//     U00 | U01 | U02        L00, L10, L20, U00, U01, U02 are final;
//     L10 | A11 | A12        A11, A21 -= [L10; L20] U01, factored;
//     L20 | A21 |  .         A12 := L11^-1 (A12 - L10 U02); what lies below A12 waits.
template <Scalar T>
void xgetrf(Int m, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  const Int nb = left_looking_width(n);
  if (nb == 0) return getf2(m, n, a, lda, ipiv, info);

  const Matrix A{a, lda};
  const Int k = std::min(m, n);
  for (Int j = 0; j < k; j += nb) {
    const Int jb = std::min(k - j, nb);
    if (j > 0) {
      blas::gemm('N', 'N', m - j, jb, j, T(-1), block(A, j + 1, 1), block(A, 1, j + 1), T(1), block(A, j + 1, j + 1));
    }
    Int iinfo = 0;
    xgetrf(m - j, jb, A.at(j + 1, j + 1), lda, ipiv + j, iinfo);
    if (info == 0 && iinfo > 0) info = iinfo + j;
    shift_pivots(jb, ipiv + j, j);
    if (j > 0) laswp(j, a, lda, j + 1, j + jb, ipiv, 1);

    const Int r = n - j - jb;
    if (r > 0) {
      laswp(r, A.at(1, j + jb + 1), lda, j + 1, j + jb, ipiv, 1);
      const Matrix A12 = block(A, j + 1, j + jb + 1);
      if (j > 0) blas::gemm('N', 'N', jb, r, j, T(-1), block(A, j + 1, 1), block(A, 1, j + jb + 1), T(1), A12);
      blas::trsm('L', 'L', 'N', 'U', jb, r, T(1), block(A, j + 1, j + 1), A12);
    }
  }
}

// Right-looking; panels go through the same routine, and the exchanges to the left of the panels are made at the end,
// in one pass for each strip:
//
//     U00 | U01 | U02        in step j: [A11; A21] factored with its pivots,
//     L10 | A11 | A12                   A12 := L11^-1 P A12,
//     L20 | A21 | A22                   A22 := A22 - L21 A12; L10 and L20 wait for their exchanges.
template <>
void xgetrf<double>(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info) {
  const Int nb = getrf_panel_width(n);
  const Int k = std::min(m, n);
  if (!are_divided(k, nb)) return getf2(m, n, a, lda, ipiv, info);

  const Matrix A{a, lda};
  const Int steps = (k + nb - 1) / nb;
  for (Int step = 0; step < steps; ++step) {
    const Int j = 1 + step * nb;
    const Int jb = std::min(k - j + 1, nb);
    Int iinfo = 0;
    xgetrf(m - j + 1, jb, A.at(j, j), lda, ipiv + (j - 1), iinfo);
    if (info == 0 && iinfo > 0) info = iinfo + j - 1;
    shift_pivots(jb, ipiv + (j - 1), j - 1);

    const Int r = n - j - jb + 1;
    if (r > 0) {
      laswp(r, A.at(1, j + jb), lda, j, j + jb - 1, ipiv, 1);
      const Matrix A12 = block(A, j, j + jb);
      blas::trsm('L', 'L', 'N', 'U', jb, r, 1.0, block(A, j, j), A12);
      if (j + jb <= m) {
        blas::gemm('N', 'N', m - j - jb + 1, r, jb, -1.0, block(A, j + jb, j), A12, 1.0, block(A, j + jb, j + jb));
      }
    }
  }
  for (Int strip = 0; strip < (k - 1) / nb; ++strip) {
    const Int i = 1 + strip * nb;
    laswp(nb, A.at(1, i), lda, i + nb, k, ipiv, 1);
  }
}

// What is empty in the last column or row is not called for: systems of a few unknowns feel each call.
template <Scalar T>
void getf2(Int m, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  info = 0;
  const Matrix A{a, lda};
  for (Int j = 1; j <= std::min(m, n); ++j) {
    if (j > 1) blas::gemv('N', m - j + 1, j - 1, T(-1), block(A, j, 1), column(A, 1, j), T(1), column(A, j, j));
    const Int jp = j - 1 + blas::iamax(m - j + 1, column(A, j, j));
    ipiv[j - 1] = jp;
    if (A(jp, j) != T(0)) {
      if (jp != j) blas::swap(n, row(A, j, 1), row(A, jp, 1));
      if (j < m) blas::scal(m - j, quotient(T(1), A(j, j)), column(A, j + 1, j));
    } else if (info == 0) {
      info = j;
    }
    if (j > 1 && j < n) blas::gemv('T', j - 1, n - j, T(-1), block(A, 1, j + 1), row(A, j, 1), T(1), row(A, j, j + 1));
  }
}

namespace {

/// B := op(A)^-1 B for one triangle of the factors.
template <Scalar T>
void solve_with_factor(char uplo, char trans, char diag, Int n, Int nrhs, Matrix<const T> A, Matrix<T> B) {
  blas::trsm('L', uplo, trans, diag, n, nrhs, T(1), A, B);
}

/// The double-precision member alone takes the vector kernel for a single right-hand side.
template <>
void solve_with_factor(char uplo, char trans, char diag, Int n, Int nrhs, Matrix<const double> A, Matrix<double> B) {
  if (nrhs == 1) return blas::trsv(uplo, trans, diag, n, A, column(B, 1, 1));
  blas::trsm('L', uplo, trans, diag, n, nrhs, 1.0, A, B);
}

}  // namespace

template <Scalar T>
void getrs(char trans, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = 0;
  if (!is_one_of(trans, 'N', 'T', 'C')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (lda < std::max(1, n)) info = -5;
  else if (ldb < std::max(1, n)) info = -8;
  if (info != 0) return report_bad_argument<T>("GETRS", info);
  if (n == 0 || nrhs == 0) return;

  const Matrix A{a, lda};
  const Matrix B{b, ldb};
  if (same_letter(trans, 'N')) {
    laswp(nrhs, b, ldb, 1, n, ipiv, 1);
    solve_with_factor('L', 'N', 'U', n, nrhs, A, B);
    solve_with_factor('U', 'N', 'N', n, nrhs, A, B);
  } else {
    solve_with_factor('U', trans, 'N', n, nrhs, A, B);
    solve_with_factor('L', trans, 'U', n, nrhs, A, B);
    laswp(nrhs, b, ldb, 1, n, ipiv, -1);
  }
}

template <Scalar T>
void gesv(Int n, Int nrhs, T* a, Int lda, Int* ipiv, T* b, Int ldb, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (nrhs < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  else if (ldb < std::max(1, n)) info = -7;
  if (info != 0) return report_bad_argument<T>("GESV", info);

  layer::getrf(n, n, {a, lda}, ipiv, info);
  if (info == 0) getrs('N', n, nrhs, a, lda, ipiv, b, ldb, info);
}

namespace {

/// Moves the part of column j below the diagonal, L's, into w and leaves zeros for the inverse to grow in.
template <Scalar T>
void take_column_of_l(Int n, Matrix<T> A, Int j, T* w) {
  for (Int i = j + 1; i <= n; ++i) w[i - 1] = std::exchange(A(i, j), T(0));
}

/// Solves inv(A) L = inv(U) for inv(A), one column at a time from the last; inv(U) stands in A.
template <Scalar T>
void multiply_by_inverse_of_l(Int n, Matrix<T> A, T* work) {
  for (Int j = n; j >= 1; --j) {
    take_column_of_l(n, A, j, work);
    if (j < n) blas::gemv('N', n, n - j, T(-1), block(A, 1, j + 1), {work + j, 1}, T(1), column(A, 1, j));
  }
}

/// The same by blocks of nb columns; work is n by nb.
template <Scalar T>
void multiply_by_inverse_of_l_blocked(Int n, Int nb, Matrix<T> A, T* work) {
  const Matrix W{work, n};
  for (Int j = ((n - 1) / nb) * nb + 1; j >= 1; j -= nb) {
    const Int jb = std::min(nb, n - j + 1);
    for (Int jj = j; jj < j + jb; ++jj) take_column_of_l(n, A, jj, W.at(1, jj - j + 1));
    if (j + jb <= n) {
      blas::gemm('N', 'N', n, jb, n - j - jb + 1, T(-1), block(A, 1, j + jb), block(W, j + jb, 1), T(1),
                 block(A, 1, j));
    }
    blas::trsm('R', 'L', 'N', 'U', n, jb, T(1), block(W, j, 1), block(A, 1, j));
  }
}

}  // namespace

template <Scalar T>
void getri(Int n, T* a, Int lda, const Int* ipiv, T* work, Int lwork, Int& info) {
  info = 0;
  const Tuning<T> tuning{.name = RoutineName<T>("GETRI"), .n1 = n};
  const Int nb = tuning.block_size();
  const T best_lwork = as_work_size<T>(std::int64_t{n} * nb);
  work[0] = best_lwork;
  const bool query = lwork == -1;
  if (n < 0) info = -1;
  else if (lda < std::max(1, n)) info = -3;
  else if (lwork < std::max(1, n) && !query) info = -6;
  if (info != 0) return report_bad_argument<T>("GETRI", info);
  if (query || n == 0) return;

  trtri('U', 'N', n, a, lda, info);
  if (info > 0) return;

  const Matrix A{a, lda};
  const BlockPlan plan = plan_blocks(tuning, {.n = n, .nb = nb, .line = n, .lwork = lwork, .has_crossover = false});
  if (plan.by_blocks) {
    multiply_by_inverse_of_l_blocked(n, plan.nb, A, work);
  } else {
    multiply_by_inverse_of_l(n, A, work);
  }
  for (Int j = n - 1; j >= 1; --j) {
    const Int jp = ipiv[j - 1];
    if (jp != j) blas::swap(n, column(A, 1, j), column(A, 1, jp));
  }
  work[0] = best_lwork;
}

template <Scalar T>
void laswp(Int n, T* a, Int lda, Int k1, Int k2, const Int* ipiv, Int incx) {
  if (incx == 0) return;
  const Matrix A{a, lda};
  const Int step = incx > 0 ? 1 : -1;
  const Int first = incx > 0 ? k1 : k2;
  std::ptrdiff_t ix = incx > 0 ? std::ptrdiff_t{k1 - 1} * incx : std::ptrdiff_t{1 - k2} * incx;
  for (Int count = k2 - k1 + 1, i = first; count > 0; --count, i += step, ix += incx) {
    const Int ip = ipiv[ix];
    if (ip != i) blas::swap(n, row(A, i, 1), row(A, ip, 1));
  }
}

namespace {

/// The interchanges of laswp on neighbouring columns from `a` on, so many at once: they share the look at the pivot and
/// do not wait for each other. The rows of pivots to come are asked for ahead, since no processor foresees them.
template <int columns>
void exchange_in_columns(double* a, Int lda, Int first, Int step, Int count, const Int* ip, std::ptrdiff_t incx) {
  constexpr Int ahead = 8;
  for (Int i = first; count > 0; --count, i += step, ip += incx) {
    double *x = a + i - 1, *y = a + *ip - 1;
    if (count > ahead) {
      const double* later = a + ip[ahead * incx] - 1;
#pragma GCC unroll 8
      for (int j = 0; j < columns; ++j) __builtin_prefetch(later + std::ptrdiff_t{j} * lda, 1);
    }
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j) std::swap(x[std::ptrdiff_t{j} * lda], y[std::ptrdiff_t{j} * lda]);
  }
}

}  // namespace

template <>
void laswp<double>(Int n, double* a, Int lda, Int k1, Int k2, const Int* ipiv, Int incx) {
  if (incx == 0) return;
  constexpr int together = 4;
  const Matrix A{a, lda};
  const Int step = incx > 0 ? 1 : -1;
  const Int first = incx > 0 ? k1 : k2;
  const Int* const ip = ipiv + (incx > 0 ? std::ptrdiff_t{k1 - 1} * incx : std::ptrdiff_t{1 - k2} * incx);
  Int j = 1;
  for (; j <= n - together + 1; j += together) {
    exchange_in_columns<together>(A.at(1, j), lda, first, step, k2 - k1 + 1, ip, incx);
  }
  for (; j <= n; ++j) exchange_in_columns<1>(A.at(1, j), lda, first, step, k2 - k1 + 1, ip, incx);
}

}  // namespace nuv

#include "solvers/general_lu.entries.inc"
