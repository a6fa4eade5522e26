#include "orthogonal/trapezoidal.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "orthogonal/householder.hpp"
#include "orthogonal/z_reflectors.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of m, n, a, lda.
Int check_trapezoid(Int m, Int n, Int lda) {
  if (m < 0) return -1;
  if (n < m) return -2;
  if (lda < std::max(1, m)) return -4;
  return 0;
}

/// Reduces rows from the last to the first.
///
/// work    an element for each row; that of a row is not used before all below it are reduced, nor after it is
template <Scalar T>
void reduce_rows(Int m, Int n, Int l, Matrix<T> A, T* tau, T* work) {
  const Int tail = n - l + 1;
  for (Int i = m; i >= 1; --i) {
    // The reflector takes the row, as a column, to its first element.
    conjugate_vector(l, row(A, i, tail));
    T alpha = conjugate(A(i, i)), factor;
    larfg(l + 1, alpha, A.at(i, tail), A.ld, factor);
    larz('R', i - 1, n - i + 1, l, A.at(i, tail), A.ld, factor, A.at(1, i), A.ld, work);
    A(i, i) = conjugate(alpha);
    tau[i - 1] = conjugate(factor);
  }
}

/// The reduction of m rows by blocks of nb, from the last row on,
///
///     R11 | R12 | A13      the rows of R22 reduced, with their reflectors in A23,
///         | R22 | A23      (R12, A13) := (R12, A13) times them, with T in the first rows of work, and W below it,
///
/// up to about nx rows, which are reduced one by one.
template <Scalar T>
void reduce_blocked(Int m, Int n, const BlockPlan& plan, Matrix<T> A, T* tau, T* work) {
  const Int nb = plan.nb, l = n - m, last_step = (m - plan.nx - 1) / nb * nb, done = std::min(m, last_step + nb);
  const Int left = m - done;
  for (Int i = left + last_step + 1; i > left; i -= nb) {
    const Int ib = std::min(m - i + 1, nb);
    reduce_rows(ib, n - i + 1, l, block(A, i, i), tau + (i - 1), work);
    if (i == 1) continue;
    T* const v = A.at(i, m + 1);
    larzt('B', 'R', l, ib, v, A.ld, tau + (i - 1), work, m);
    larzb('R', 'N', 'B', 'R', i - 1, n - i + 1, ib, l, v, A.ld, work, m, A.at(1, i), A.ld, work + ib, m);
  }
  reduce_rows(left, n, l, A, tau, work);
}

}  // namespace

template <Scalar T>
void tzrzf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  const Tuning<T> tuning{.name = RoutineName<T>("GERQF"), .n1 = m, .n2 = n};
  info = check_trapezoid(m, n, lda);
  if (info == 0 && lwork < std::max(1, m) && lwork != -1) info = -7;
  if (info != 0) return report_bad_argument<T>("TZRZF", info);
  const bool is_triangle = m == n;
  const Int nb = tuning.block_size();
  const T best = as_work_size<T>(m == 0 || is_triangle ? 1 : std::int64_t{m} * nb);
  work[0] = best;
  if (lwork == -1 || m == 0) return;
  if (is_triangle) {
    std::fill_n(tau, m, T(0));
    return;
  }

  const BlockPlan plan = plan_blocks(tuning, {.n = m, .nb = nb, .line = m, .lwork = lwork});
  if (plan.by_blocks) {
    reduce_blocked<T>(m, n, plan, {a, lda}, tau, work);
  } else {
    reduce_rows<T>(m, n, n - m, {a, lda}, tau, work);
  }
  work[0] = best;
}

template <Scalar T>
void tzrqf(Int m, Int n, T* a, Int lda, T* tau, Int& info) {
  info = check_trapezoid(m, n, lda);
  if (info != 0) return report_bad_argument<T>("TZRQF", info);
  latrz(m, n, n - m, a, lda, tau, tau);
}

template <Scalar T>
void latrz(Int m, Int n, Int l, T* a, Int lda, T* tau, T* work) {
  if (m == n) {
    std::fill_n(tau, std::max(m, 0), T(0));
  } else {
    reduce_rows<T>(m, n, l, {a, lda}, tau, work);
  }
}

}  // namespace nuv

#include "orthogonal/trapezoidal.entries.inc"
