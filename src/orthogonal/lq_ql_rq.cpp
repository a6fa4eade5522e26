#include "orthogonal/lq_ql_rq.hpp"

#include "environment/block_plan.hpp"
#include "orthogonal/factor_by_reflectors.hpp"

namespace nuv {
namespace {

/// Factors a panel and applies it to the lines beyond. work has its factor in the first of its ldwork rows, and the
/// workspace of the update below.
template <Scalar T>
void factor_panel(const StoredReflectors<T>& lines, Range own, T* tau, T* work, Int ldwork) {
  factor_unblocked(lines.part(lines.reach(own), own), tau, work);
  apply_block_beyond(lines, own, lines.columnwise() ? adjoint<T> : 'N', tau, work, ldwork);
}

template <Scalar T>
void factor_blocked(const StoredReflectors<T>& lines, const BlockPlan& plan, T* tau, T* work) {
  const Int order = lines.order(), count = lines.count(), k = std::min(order, count), nb = plan.nb;
  const auto factor_panel_of = [&](Int i) {
    factor_panel(lines, {lines.line(i, k), std::min(k - i + 1, nb)}, tau + (i - 1), work, count);
  };
  if (lines.forward()) {
    Int i = 1;
    for (; i <= k - plan.nx; i += nb) factor_panel_of(i);
    const Range elements{i, order - i + 1}, others{i, count - i + 1};
    if (i <= k) factor_unblocked(lines.part(elements, others), tau + (i - 1), work);
  } else {
    const Int last_step = (k - plan.nx - 1) / nb * nb, done = std::min(k, last_step + nb), left = k - done;
    for (Int i = left + last_step + 1; i > left; i -= nb) factor_panel_of(i);
    factor_unblocked(lines.part({1, order - done}, {1, count - done}), tau, work);
  }
}

template <Scalar T, std::size_t Size>
void factor(const char (&name)[Size], Form form, Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  const Tuning<T> tuning{.name = RoutineName<T>(name), .n1 = m, .n2 = n};
  const StoredReflectors<T> lines = lines_of<T>(form, m, n, {a, lda});
  const Int count = lines.count(), nb = tuning.block_size();
  work[0] = as_work_size<T>(std::int64_t{nb} * count);
  info = check_matrix(m, n, lda);
  if (info == 0 && lwork < std::max(1, count) && lwork != -1) info = -7;
  if (info != 0) return report_bad_argument<T>(name, info);
  if (lwork == -1) return;
  const Int k = std::min(m, n);
  if (k == 0) {
    work[0] = T(1);
    return;
  }

  const BlockPlan plan = plan_blocks(tuning, {.n = k, .nb = nb, .line = count, .lwork = lwork});
  if (plan.by_blocks) {
    factor_blocked(lines, plan, tau, work);
  } else {
    factor_unblocked(lines, tau, work);
  }
  work[0] = as_work_size<T>(plan.workspace);
}

}  // namespace

template <Scalar T>
void gelqf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  factor("GELQF", lq, m, n, a, lda, tau, work, lwork, info);
}

template <Scalar T>
void geqlf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  factor("GEQLF", ql, m, n, a, lda, tau, work, lwork, info);
}

template <Scalar T>
void gerqf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  factor("GERQF", rq, m, n, a, lda, tau, work, lwork, info);
}

template <Scalar T>
void gelq2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info) {
  checked_unblocked("GELQ2", lq, m, n, a, lda, tau, work, info);
}

template <Scalar T>
void geql2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info) {
  checked_unblocked("GEQL2", ql, m, n, a, lda, tau, work, info);
}

template <Scalar T>
void gerq2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info) {
  checked_unblocked("GERQ2", rq, m, n, a, lda, tau, work, info);
}

}  // namespace nuv

#include "orthogonal/lq_ql_rq.entries.inc"
