#include "nonsymmetric/hessenberg_reduction.hpp"

#include <algorithm>
#include <utility>

#include "environment/block_plan.hpp"
#include "environment/conjugated.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "orthogonal/householder.hpp"

namespace nuv {
namespace {

constexpr Int widest_panel = 64, ld_of_t = widest_panel + 1;

/// A panel of the reduction, whose reflectors begin below row k:
///
///     X X | X      rows 1 ... k
///     R R | .
///     v R | .      V and R in columns 1 ... i - 1; the columns behind them are those of A yet
///     v v | .
///
/// top     first row of Y and of A that is kept up to date within the panel
template <Scalar T>
struct HessenbergPanel {
  Int n, k, nb, top;
  Matrix<T> A, F, Y;
  T* tau;

  /// Column i := (I - V T^H V^H) (column i - Y v^H), v the row of V that belongs to the column. The last column of F is
  /// room for V^H times the column.
  void update_column(Int i) const {
    const Int before = i - 1, below = n - k - i + 1;
    {
      const Conjugated<T> v(before, row(A, k + i - 1, 1));
      blas::gemv('N', n - top + 1, before, T(-1), block(Y, top, 1), row(A, k + i - 1, 1), T(1), column(A, top, i));
    }
    const Matrix<T> V1 = block(A, k + 1, 1), V2 = block(A, k + i, 1);
    const Vector<T> b1 = column(A, k + 1, i), b2 = column(A, k + i, i), w = column(F, 1, nb);
    blas::copy(before, b1, w);
    blas::trmv('L', adjoint<T>, 'U', before, V1, w);
    blas::gemv(adjoint<T>, below, before, T(1), V2, b2, T(1), w);
    blas::trmv('U', adjoint<T>, 'N', before, F, w);
    blas::gemv('N', below, before, T(-1), V2, w, T(1), b2);
    blas::trmv('L', 'N', 'U', before, V1, w);
    blas::axpy(before, T(-1), w, b1);
  }

  /// Makes reflector i of column i. Its unit element is put in place; what belongs there is returned.
  T reflect(Int i) const {
    larfg(n - k - i + 1, A(k + i, i), A.at(std::min(k + i + 1, n), i), 1, tau[i - 1]);
    return std::exchange(A(k + i, i), T(1));
  }

  /// Column i of Y = A V T and of T.
  void extend_factors(Int i) const {
    const Int before = i - 1, rows = n - top + 1, below = n - k - i + 1;
    const Vector<T> v = column(A, k + i, i), y = column(Y, top, i), t = column(F, 1, i);
    blas::gemv('N', rows, below, T(1), block(A, top, i + 1), v, T(0), y);
    blas::gemv(adjoint<T>, below, before, T(1), block(A, k + i, 1), v, T(0), t);
    blas::gemv('N', rows, before, T(-1), block(Y, top, 1), t, T(1), y);
    blas::scal(rows, tau[i - 1], y);
    blas::scal(before, negated(tau[i - 1]), t);
    blas::trmv('U', 'N', 'N', before, F, t);
    F(i, i) = tau[i - 1];
  }

  void reduce() const {
    T subdiagonal{};
    for (Int i = 1; i <= nb; ++i) {
      if (i > 1) {
        update_column(i);
        A(k + i - 1, i - 1) = subdiagonal;
      }
      subdiagonal = reflect(i);
      extend_factors(i);
    }
    A(k + nb, nb) = subdiagonal;
  }

  /// The rows of Y above those of the reflectors, in one step.
  void form_upper_rows() const {
    lacpy('A', k, nb, A.at(1, 2), A.ld, Y.data, Y.ld);
    blas::trmm('R', 'L', 'N', 'U', k, nb, T(1), block(A, k + 1, 1), Y);
    if (n > k + nb) {
      blas::gemm('N', 'N', k, nb, n - k - nb, T(1), block(A, 1, 2 + nb), block(A, k + 1 + nb, 1), T(1), Y);
    }
    blas::trmm('R', 'U', 'N', 'N', k, nb, T(1), F, Y);
  }
};

/// 0, or minus the position of the first bad argument of n, ilo, ihi, a, lda.
Int check_active_block(Int n, Int ilo, Int ihi, Int lda) {
  if (n < 0) return -1;
  if (ilo < 1 || ilo > std::max(1, n)) return -2;
  if (ihi < std::min(ilo, n) || ihi > n) return -3;
  if (lda < std::max(1, n)) return -5;
  return 0;
}

/// Columns from ... ihi - 1, one after another.
template <Scalar T>
void reduce_unblocked(Int n, Int from, Int ihi, Matrix<T> A, T* tau, T* work) {
  for (Int i = from; i < ihi; ++i) {
    const Int order = ihi - i;
    T& first = A(i + 1, i);
    larfg(order, first, A.at(std::min(i + 2, n), i), 1, tau[i - 1]);
    const T subdiagonal = std::exchange(first, T(1));
    larf('R', ihi, order, &first, 1, tau[i - 1], A.at(1, i + 1), A.ld, work);
    larf('L', order, n - i, &first, 1, conjugate(tau[i - 1]), A.at(i + 1, i + 1), A.ld, work);
    first = subdiagonal;
  }
}

/// Reduces a panel of ib columns from the i-th on, and updates the matrix with it.
///
///     . X X     rows 1 ... i: lose Y V^H
///     . P C     P the panel, C loses Y V^H and is multiplied by I - V T^H V^H
///
/// work    n by ib, Y
template <Scalar T>
void reduce_panel(Int n, Int i, Int ib, Int ihi, Matrix<T> A, T* tau, T* work) {
  T t[ld_of_t * widest_panel];
  const Matrix<T> F{t, ld_of_t}, Y{work, n}, V = block(A, i + 1, i);
  const Int next = i + ib;
  lahr2(ihi, i, ib, A.at(1, i), A.ld, tau + (i - 1), t, ld_of_t, work, n);

  T& unit = A(next, next - 1);
  const T subdiagonal = std::exchange(unit, T(1));
  blas::gemm('N', adjoint<T>, ihi, ihi - next + 1, ib, T(-1), Y, block(A, next, i), T(1), block(A, 1, next));
  unit = subdiagonal;

  blas::trmm('R', 'L', adjoint<T>, 'U', i, ib - 1, T(1), V, Y);
  for (Int j = 1; j < ib; ++j) blas::axpy(i, T(-1), column(Y, 1, j), column(A, 1, i + j));

  larfb('L', adjoint<T>, 'F', 'C', ihi - i, n - next + 1, ib, V.data, V.ld, F.data, F.ld, A.at(i + 1, next), A.ld, work,
        n);
}

}  // namespace

template <Scalar T>
void gehrd(Int n, Int ilo, Int ihi, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  const Tuning<T> tuning{.name = RoutineName<T>("GEHRD"), .n1 = n, .n2 = ilo, .n3 = ihi};
  const Int nb = std::min(widest_panel, tuning.block_size());
  work[0] = as_work_size<T>(std::int64_t{n} * nb);
  info = check_active_block(n, ilo, ihi, lda);
  if (info == 0 && lwork < std::max(1, n) && lwork != -1) info = -8;
  if (info != 0) return report_bad_argument<T>("GEHRD", info);
  if (lwork == -1) return;

  std::fill_n(tau, ilo - 1, T(0));
  for (Int i = std::max(1, ihi); i < n; ++i) tau[i - 1] = T(0);
  const Int nh = ihi - ilo + 1;
  if (nh <= 1) {
    work[0] = T(1);
    return;
  }

  const BlockPlan plan = plan_blocks(tuning, {.n = nh, .nb = nb, .line = n, .lwork = lwork, .least_crossover = nb});
  const Matrix A{a, lda};
  Int i = ilo;
  if (plan.by_blocks) {
    for (; i < ihi - plan.nx; i += plan.nb) reduce_panel(n, i, plan.nb, ihi, A, tau, work);
  }
  reduce_unblocked(n, i, ihi, A, tau, work);
  const bool may_be_divided = are_divided(nh, nb) && plan.nx < nh;
  work[0] = as_work_size<T>(may_be_divided ? plan.workspace : 1);
}

template <Scalar T>
void gehd2(Int n, Int ilo, Int ihi, T* a, Int lda, T* tau, T* work, Int& info) {
  info = check_active_block(n, ilo, ihi, lda);
  if (info != 0) return report_bad_argument<T>("GEHD2", info);
  reduce_unblocked<T>(n, ilo, ihi, {a, lda}, tau, work);
}

template <Scalar T>
void lahr2(Int n, Int k, Int nb, T* a, Int lda, T* tau, T* t, Int ldt, T* y, Int ldy) {
  if (n <= 1) return;
  const HessenbergPanel<T> panel{n, k, nb, k + 1, {a, lda}, {t, ldt}, {y, ldy}, tau};
  panel.reduce();
  panel.form_upper_rows();
}

template <Scalar T>
void lahrd(Int n, Int k, Int nb, T* a, Int lda, T* tau, T* t, Int ldt, T* y, Int ldy) {
  if (n <= 1) return;
  HessenbergPanel<T>{n, k, nb, 1, {a, lda}, {t, ldt}, {y, ldy}, tau}.reduce();
}

}  // namespace nuv

#include "nonsymmetric/hessenberg_reduction.entries.inc"
