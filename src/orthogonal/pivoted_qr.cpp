#include "orthogonal/pivoted_qr.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "environment/block_plan.hpp"
#include "environment/conjugated.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "orthogonal/apply_q.hpp"
#include "orthogonal/factor_by_reflectors.hpp"
#include "orthogonal/qr.hpp"

namespace nuv {
namespace {

/// Norms of the columns below the finished rows.
template <RealScalar R>
struct ColumnNorms {
  R* partial;  ///< vn1: downdated
  R* exact;    ///< vn2: as last computed

  void set(Int j, R norm) const { partial[j - 1] = exact[j - 1] = norm; }
  void copy(Int from, Int to) const {
    partial[to - 1] = partial[from - 1];
    exact[to - 1] = exact[from - 1];
  }
  ColumnNorms from(Int j) const { return {partial + (j - 1), exact + (j - 1)}; }

  /// Takes one element off column j. False where too little is left of what was computed for the difference to be
  /// trusted: the norm stays as it is then.
  bool downdate(Int j, R element) const {
    R& norm = partial[j - 1];
    if (norm == 0) return true;
    const R ratio = element / norm, share = norm / exact[j - 1];
    const R remainder = std::max(R(0), (1 + ratio) * (1 - ratio));
    if (remainder * (share * share) <= std::sqrt(Machine<R>::eps)) return false;
    norm *= std::sqrt(remainder);
    return true;
  }
};

/// The columns that are left, as laqps and laqp2 get them.
template <Scalar T>
struct FreeColumns {
  using R = Real<T>;

  Int m, n, offset;
  Matrix<T> A;
  Int* jpvt;
  T* tau;
  ColumnNorms<R> norms;

  /// The same from column j on, the rows of those before it being finished.
  FreeColumns from(Int j) const {
    return {m, n - j + 1, offset + j - 1, block(A, 1, j), jpvt + (j - 1), tau + (j - 1), norms.from(j)};
  }

  Int steps() const { return std::min(m - offset, n); }

  R norm_below(Int row, Int j) const { return blas::nrm2(m - row, column(A, row + 1, j)); }

  void measure() const {
    for (Int j = 1; j <= n; ++j) norms.set(j, norm_below(offset, j));
  }

  /// Exchanges column i for the longest from there on, whose place is returned. Norms of finished columns are not kept.
  Int bring_longest(Int i) const {
    const Int longest = i - 1 + blas::iamax(n - i + 1, {norms.partial + (i - 1), 1});
    if (longest != i) {
      blas::swap(m, column(A, 1, longest), column(A, 1, i));
      std::swap(jpvt[longest - 1], jpvt[i - 1]);
      norms.copy(i, longest);
    }
    return longest;
  }

  /// Makes the reflector of column i. Its unit element is put in place; what belongs there is returned.
  T reflect(Int i) const {
    const Int row = offset + i;
    larfg(m - row + 1, A(row, i), A.at(std::min(row + 1, m), i), 1, tau[i - 1]);
    return std::exchange(A(row, i), T(1));
  }

  /// Makes the reflector of column i, and applies it to those behind it.
  void eliminate(Int i, T* work) const {
    const Int row = offset + i;
    const T element = reflect(i);
    if (i < n) larf('L', m - row + 1, n - i, A.at(row, i), 1, conjugate(tau[i - 1]), A.at(row, i + 1), A.ld, work);
    A(row, i) = element;
  }
};

// ------------------------------------------------------------------------------------------------------------- a panel

/// Columns 1 ... k of a panel are finished, and their rows; what lies below these waits for its update:
///
///     R | R     A22 - V F2^H is what it stands for, V the reflectors of the panel.
///     V | A22
template <Scalar T>
struct PivotedPanel {
  using R = Real<T>;

  FreeColumns<T> columns;
  Matrix<T> F;
  T* auxv;

  void bring_longest(Int k) const {
    const Int longest = columns.bring_longest(k);
    if (longest != k) blas::swap(k - 1, row(F, longest, 1), row(F, k, 1));
  }

  /// Column k below the finished rows loses what the reflectors before it take.
  void update_column(Int k) const {
    const Matrix<T> A = columns.A;
    const Int top = columns.offset + k;
    const Conjugated<T> coefficients(k - 1, row(F, k, 1));
    blas::gemv('N', columns.m - top + 1, k - 1, T(-1), block(A, top, 1), row(F, k, 1), T(1), column(A, top, k));
  }

  /// Column k of F = tau (A - V F^H)^H v, v the reflector of column k.
  void extend_f(Int k) const {
    const Matrix<T> A = columns.A;
    const Int n = columns.n, top = columns.offset + k, length = columns.m - top + 1;
    const T tau = columns.tau[k - 1];
    const Vector<const T> v = column(A, top, k);
    const Vector<T> coefficients{auxv, 1};
    if (k < n) blas::gemv(adjoint<T>, length, n - k, tau, block(A, top, k + 1), v, T(0), column(F, k + 1, k));
    std::fill_n(F.at(1, k), k, T(0));
    if (k == 1) return;
    blas::gemv(adjoint<T>, length, k - 1, negated(tau), block(A, top, 1), v, T(0), coefficients);
    blas::gemv('N', n, k - 1, T(1), F, coefficients, T(1), column(F, 1, k));
  }

  /// The row that column k finishes, behind it.
  void update_row(Int k) const {
    const Matrix<T> A = columns.A;
    const Int n = columns.n, top = columns.offset + k;
    if (k == n) return;
    const Conjugated<T> as_column(n, row(A, top, 1));
    blas::gemv('N', n - k, k, T(-1), block(F, k + 1, 1), row(A, top, 1), T(1), row(A, top, k + 1));
  }

  /// Takes that row off the norms. The columns whose norm is lost form a list, each holding the one before it, as a
  /// number, in the place of the norm that was computed last; the last of them, or zero, is returned.
  Int downdate_norms(Int k) const {
    Int lost = 0;
    for (Int j = k + 1; j <= columns.n; ++j) {
      if (columns.norms.downdate(j, magnitude(columns.A(columns.offset + k, j)))) continue;
      columns.norms.exact[j - 1] = R(lost);
      lost = j;
    }
    return lost;
  }

  void update_rest(Int k) const {
    const Matrix<T> A = columns.A;
    const Int below = columns.offset + k, rows = columns.m - below;
    if (k >= std::min(columns.n, columns.m - columns.offset)) return;
    blas::gemm('N', adjoint<T>, rows, columns.n - k, k, T(-1), block(A, below + 1, 1), block(F, k + 1, 1), T(1),
               block(A, below + 1, k + 1));
  }

  void measure_lost(Int lost, Int finished_row) const {
    while (lost > 0) {
      const Int next = truncated(columns.norms.exact[lost - 1]);
      columns.norms.set(lost, columns.norm_below(finished_row, lost));
      lost = next;
    }
  }
};

// -------------------------------------------------------------------------------------------------- a column at a time

template <Scalar T>
void factor_one_by_one(const FreeColumns<T>& columns, T* work) {
  const auto [m, n, offset, A, jpvt, tau, norms] = columns;
  for (Int i = 1; i <= columns.steps(); ++i) {
    const Int top = offset + i;
    columns.bring_longest(i);
    columns.eliminate(i, work);
    for (Int j = i + 1; j <= n; ++j) {
      if (!norms.downdate(j, magnitude(A(top, j)))) norms.set(j, top < m ? columns.norm_below(top, j) : 0);
    }
  }
}

// ------------------------------------------------------------------------------------------------------------ a matrix

/// A matrix as the exported routines get it.
template <Scalar T>
struct PivotedMatrix {
  Int m, n;
  Matrix<T> A;
  Int* jpvt;
  T* tau;

  Int steps() const { return std::min(m, n); }

  /// Brings the columns that are marked to the front, the order of which is that of their places, and notes where each
  /// column came from. Their number.
  Int move_fixed() const {
    Int fixed = 0;
    for (Int j = 1; j <= n; ++j) {
      const bool is_fixed = jpvt[j - 1] != 0;
      jpvt[j - 1] = j;
      if (!is_fixed || ++fixed == j) continue;
      blas::swap(m, column(A, 1, j), column(A, 1, fixed));
      std::swap(jpvt[j - 1], jpvt[fixed - 1]);
    }
    return fixed;
  }

  FreeColumns<T> behind(Int fixed, Real<T>* vn1, Real<T>* vn2) const {
    return {m, n - fixed, fixed, block(A, 1, fixed + 1), jpvt + fixed, tau + fixed, {vn1, vn2}};
  }
};

/// Elements of work that the norms of a column take.
template <Scalar T>
inline constexpr Int norms_in_work = ComplexScalar<T> ? 0 : 2;

/// Factors the columns in front, and updates those behind them. The workspace with which that would be done best.
template <Scalar T>
std::int64_t factor_fixed(const PivotedMatrix<T>& matrix, Int count, T* work, Int lwork) {
  const auto [m, n, A, jpvt, tau] = matrix;
  Int ignored = 0;
  layer::geqrf(m, count, A, tau, work, lwork, ignored);
  Int best = truncated(std::real(work[0]));
  if (count < n) {
    layer::ormqr('L', adjoint<T>, m, n - count, count, A, tau, block(A, 1, count + 1), work, lwork, ignored);
    best = std::max(best, truncated(std::real(work[0])));
  }
  return best;
}

/// Panels as long as they pay, then single columns. The workspace of the widest panels.
template <Scalar T>
std::int64_t factor_free(const FreeColumns<T>& columns, T* work, Int lwork) {
  const Int n = columns.n, steps = columns.steps();
  const Tuning<T> tuning{.name = RoutineName<T>("GEQRF"), .n1 = columns.m - columns.offset, .n2 = n};
  const BlockPlan plan = plan_blocks(tuning, {.n = steps, .nb = tuning.block_size(), .line = n + 1, .lwork = lwork});
  columns.measure();
  Int j = 1;
  if (plan.by_blocks) {
    for (const Int last = steps - plan.nx; j <= last;) {
      const FreeColumns<T> rest = columns.from(j);
      const Int width = std::min(plan.nb, last - j + 1);
      Int done = 0;
      laqps(rest.m, rest.n, rest.offset, width, done, rest.A.data, rest.A.ld, rest.jpvt, rest.tau, rest.norms.partial,
            rest.norms.exact, work, work + width, rest.n);
      j += done;
    }
  }
  if (j <= steps) factor_one_by_one(columns.from(j), work);
  return plan.workspace;
}

template <Scalar T>
void factor_pivoted(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Int lwork, Real<T>* norms, Int& info) {
  const Tuning<T> tuning{.name = RoutineName<T>("LAQPS"), .n1 = m, .n2 = n};
  const std::int64_t line = std::int64_t{n} + 1, least = std::int64_t{norms_in_work<T>} * n + line;
  work[0] = as_work_size<T>(std::int64_t{norms_in_work<T>} * n + line * tuning.block_size());
  info = check_matrix(m, n, lda);
  if (info == 0 && lwork < least && lwork != -1) info = -8;
  if (info != 0) return report_bad_argument<T>("GEQP3", info);
  if (lwork == -1) return;
  const PivotedMatrix<T> matrix{m, n, {a, lda}, jpvt, tau};
  if (matrix.steps() == 0) {
    work[0] = T(1);
    return;
  }

  std::int64_t best = least;
  const Int fixed = matrix.move_fixed();
  if (fixed > 0) best = std::max(best, factor_fixed(matrix, std::min(m, fixed), work, lwork));
  if (fixed < matrix.steps()) {
    // The norms are those of the free columns alone: as many as the widths of the panels leave room for.
    const Int free = n - fixed, taken = norms_in_work<T> * free;
    best = std::max(best, taken + factor_free(matrix.behind(fixed, norms, norms + free), work + taken, lwork - taken));
  }
  work[0] = as_work_size<T>(best);
}

/// Brings the columns that are marked to the front, factors them and updates those behind them. Their number.
///
/// work    n elements
template <Scalar T>
Int factor_fixed_unblocked(const PivotedMatrix<T>& matrix, T* work) {
  const auto [m, n, A, jpvt, tau] = matrix;
  const Int fixed = matrix.move_fixed(), count = std::min(m, fixed);
  Int ignored = 0;
  if (fixed > 0) geqr2(m, count, A.data, A.ld, tau, work, ignored);
  if (fixed > 0 && count < n) {
    orm2r('L', adjoint<T>, m, n - count, count, A.data, A.ld, tau, A.at(1, count + 1), A.ld, work, ignored);
  }
  return fixed;
}

template <Scalar T>
void factor_pivoted_unblocked(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Real<T>* norms, Int& info) {
  info = check_matrix(m, n, lda);
  if (info != 0) return report_bad_argument<T>("GEQPF", info);
  const PivotedMatrix<T> matrix{m, n, {a, lda}, jpvt, tau};
  if (matrix.steps() == 0) return;

  const Int fixed = factor_fixed_unblocked(matrix, work);
  if (fixed >= matrix.steps()) return;
  const FreeColumns<T> columns = matrix.behind(fixed, norms, norms + n);
  columns.measure();
  factor_one_by_one(columns, work);
}

}  // namespace

template <RealScalar T>
void geqp3(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Int lwork, Int& info) {
  factor_pivoted(m, n, a, lda, jpvt, tau, work, lwork, work, info);
}
template <ComplexScalar T>
void geqp3(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Int lwork, Real<T>* rwork, Int& info) {
  factor_pivoted(m, n, a, lda, jpvt, tau, work, lwork, rwork, info);
}

template <RealScalar T>
void geqpf(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Int& info) {
  factor_pivoted_unblocked(m, n, a, lda, jpvt, tau, work + 2 * std::ptrdiff_t{std::max(n, 0)}, work, info);
}
template <ComplexScalar T>
void geqpf(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work, Real<T>* rwork, Int& info) {
  factor_pivoted_unblocked(m, n, a, lda, jpvt, tau, work, rwork, info);
}

template <RealScalar T>
void factor_by_exact_norms(Int m, Int n, T* a, Int lda, Int* jpvt, T* tau, T* work) {
  const PivotedMatrix<T> matrix{m, n, {a, lda}, jpvt, tau};
  const Int fixed = factor_fixed_unblocked(matrix, work);
  // The norms stand where the reflector's products come afterwards.
  const FreeColumns<T> columns = matrix.behind(fixed, work, work);
  for (Int i = 1; i <= columns.steps(); ++i) {
    for (Int j = i; j <= columns.n; ++j) columns.norms.partial[j - 1] = columns.norm_below(fixed + i - 1, j);
    columns.bring_longest(i);
    columns.eliminate(i, work);
  }
}

template void factor_by_exact_norms(Int, Int, float*, Int, Int*, float*, float*);
template void factor_by_exact_norms(Int, Int, double*, Int, Int*, double*, double*);

template <Scalar T>
void laqps(Int m, Int n, Int offset, Int nb, Int& kb, T* a, Int lda, Int* jpvt, T* tau, Real<T>* vn1, Real<T>* vn2,
           T* auxv, T* f, Int ldf) {
  const FreeColumns<T> columns{m, n, offset, {a, lda}, jpvt, tau, {vn1, vn2}};
  const PivotedPanel<T> panel{columns, {f, ldf}, auxv};
  const Int last = columns.steps();
  Int k = 0, lost = 0;
  while (k < nb && lost == 0) {
    ++k;
    panel.bring_longest(k);
    if (k > 1) panel.update_column(k);
    const T element = columns.reflect(k);
    panel.extend_f(k);
    panel.update_row(k);
    if (k < last) lost = panel.downdate_norms(k);
    columns.A(offset + k, k) = element;
  }
  kb = k;
  panel.update_rest(k);
  panel.measure_lost(lost, offset + k);
}

template <Scalar T>
void laqp2(Int m, Int n, Int offset, T* a, Int lda, Int* jpvt, T* tau, Real<T>* vn1, Real<T>* vn2, T* work) {
  factor_one_by_one<T>({m, n, offset, {a, lda}, jpvt, tau, {vn1, vn2}}, work);
}

}  // namespace nuv

#include "orthogonal/pivoted_qr.entries.inc"
