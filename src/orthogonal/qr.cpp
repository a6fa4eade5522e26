#include "orthogonal/qr.hpp"

#include "environment/block_plan.hpp"
#include "orthogonal/factor_by_reflectors.hpp"

namespace nuv {

// In a step, ib columns are factored, and the columns behind them updated:
//
//     R11 | R12     A11, A21 factored with their T in the first ib rows of work,
//     V21 | A22     (A12, A22) := (I - V T V^H)^H (A12, A22) with the rows of work below T as workspace.
template <Scalar T>
void xgeqrf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  info = 0;
  const Int k = std::min(m, n);
  const auto tuning_for = [](Int rows, Int columns) {
    return Tuning<T>{.name = RoutineName<T>("GEQRF"), .n1 = rows, .n2 = columns};
  };
  const Tuning<T> tuning = tuning_for(m, n);
  const Int best_nb = tuning.block_size();
  const BlockPlan plan = plan_blocks(
      tuning, {.n = k, .nb = best_nb, .line = n, .lwork = lwork, .least_crossover = best_nb, .any_width = true});
  work[0] = as_work_size<T>(plan.workspace);
  if (lwork == -1) return;

  const Matrix A{a, lda};
  Int i = 1;
  if (plan.by_blocks) {
    // Block width and crossover are asked anew for what remains; the width never grows.
    for (Int nb = plan.nb, nx = plan.nx; nx <= k - i;) {
      const Int ib = std::min(k - i + 1, nb), nw = n - i - ib + 1;
      const StoredReflectors<T> panel(qr, m - i + 1, ib, block(A, i, i));
      laqrf(panel.order(), ib, A.at(i, i), lda, tau + (i - 1), work, n);
      apply_block(panel, 'L', adjoint<T>, {work, n}, nw, block(A, i, i + ib), {work + ib, n});
      i += ib;
      const Tuning<T> remaining = tuning_for(m - i + 1, k - i + 1);
      nx = remaining.crossover();
      nb = std::min(nb, remaining.block_size());
    }
  }
  if (i <= k) {
    Int ignored = 0;
    geqr2(m - i + 1, n - i + 1, A.at(i, i), lda, tau + (i - 1), work, ignored);
  }
  work[0] = as_work_size<T>(plan.workspace);
}

namespace {

/// Columns of a panel that the unblocked code may get: its workspace is on the stack.
constexpr Int widest_base = 256;

/// The factor T of a panel of the base case.
template <Scalar T>
void base_factor(Int n, Int k, T* v, Int ldv, const T* tau, T* t, Int ldt) {
  form_factor<T>(StoredReflectors<T>(qr, n, k, {v, ldv}), tau, {t, ldt});
}

template <>
void base_factor(Int n, Int k, double* v, Int ldv, const double* tau, double* t, Int ldt) {
  larf2('F', 'C', n, k, v, ldv, tau, t, ldt);
}

/// B := A^H for an m by n matrix A, two columns of B at a time.
template <Scalar T>
void copy_adjoint(Int m, Int n, Matrix<const T> A, Matrix<T> B) {
  Int i = 1;
  for (; i < m; i += 2) {
    for (Int j = 1; j <= n; ++j) {
      B(j, i) = conjugate(A(i, j));
      B(j, i + 1) = conjugate(A(i + 1, j));
    }
  }
  if (i > m) return;
  for (Int j = 1; j <= n; ++j) B(j, i) = conjugate(A(i, j));
}

/// The factor of two neighbouring groups of reflectors, of which each has its own:
///
///     T11 | T12     T12 := -T11 (V1^H V2) T22; the first `before` reflectors end in row m, as do the ib behind them.
///         | T22
template <Scalar T>
void link_factors(Int m, Int before, Int ib, Matrix<const T> V, Matrix<T> factor) {
  const Int j = before + 1;
  const Matrix<const T> V2 = block(V, j, j);
  const Matrix<T> T12 = block(factor, 1, j), T22 = block(factor, j, j);
  copy_adjoint(ib, before, block(V, j, 1), T12);
  blas::trmm('R', 'L', 'N', 'U', before, ib, T(1), V2, T12);
  blas::gemm('C', 'N', before, ib, m - before - ib, T(1), block(V, j + ib, 1), block(V, j + ib, j), T(1), T12);
  blas::trmm('L', 'U', 'N', 'N', before, ib, T(1), factor, T12);
  blas::trmm('R', 'U', 'N', 'N', before, ib, T(-1), T22, T12);
}

}  // namespace

template <Scalar T>
void laqrf(Int m, Int n, T* a, Int lda, T* tau, T* t, Int ldt) {
  const Int k = std::min(m, n);
  const Tuning<T> tuning{.name = RoutineName<T>("LAQRF"), .n1 = m, .n2 = n};
  const Int nb = std::min(widest_base, tuning.block_size());
  if (n <= nb) {
    T scratch[widest_base];
    Int ignored = 0;
    geqr2(m, n, a, lda, tau, scratch, ignored);
    return base_factor(m, k, a, lda, tau, t, ldt);
  }

  const Matrix A{a, lda}, F{t, ldt};
  for (Int j = 1; j <= k; j += nb) {
    const Int ib = std::min(nb, k - j + 1);
    const StoredReflectors<T> panel(qr, m - j + 1, ib, block(A, j, j));
    laqrf(panel.order(), ib, A.at(j, j), lda, tau + (j - 1), F.at(j, j), ldt);
    apply_block(panel, 'L', adjoint<T>, block(F, j, j), n - j - ib + 1, block(A, j, j + ib), block(F, j + ib, j));
    if (j > 1) link_factors<T>(m, j - 1, ib, A, F);
  }
}

template <Scalar T>
void geqr2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info) {
  checked_unblocked("GEQR2", qr, m, n, a, lda, tau, work, info);
}

}  // namespace nuv

#include "orthogonal/qr.entries.inc"
