#include "orthogonal/form_q.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "orthogonal/reflector_steps.hpp"

namespace nuv {
namespace {

template <Scalar T>
void clear(const StoredReflectors<T>& lines, Range elements, Range some) {
  for (Int line = some.first; line <= some.last(); ++line) {
    for (Int e = elements.first; e <= elements.last(); ++e) lines(e, line) = T(0);
  }
}

/// Applies the reflectors to lines of the identity, from the last reflector of the product to the first, so that each
/// meets only lines that are not those of the identity any more.
template <Scalar T>
void form_one_by_one(const StoredReflectors<T>& lines, Int k, const T* tau, T* work) {
  const Range identity = lines.beyond({lines.line(1, k), k});
  clear(lines, {1, lines.order()}, identity);
  for (Int line = identity.first; line <= identity.last(); ++line) lines(lines.unit(line), line) = T(1);

  for (Int step = 1; step <= k; ++step) {
    const Int i = lines.forward() ? k + 1 - step : step, line = lines.line(i, k);
    const Range tail = lines.tail(line);
    const T factor = lines.columnwise() ? tau[i - 1] : conjugate(tau[i - 1]);
    {
      const auto turned = as_vector(lines, line, tail);
      apply_reflector_beyond(lines, line, factor, work);
      if (tail.count > 0) blas::scal(tail.count, negated(tau[i - 1]), lines.along(tail.first, line));
    }
    lines(lines.unit(line), line) = T(1) - factor;
    clear(lines, lines.outside(lines.reach(line)), {line, 1});
  }
}

/// A block of reflectors, applied to the lines formed already, and formed.
template <Scalar T>
void form_block(const StoredReflectors<T>& lines, Range own, const T* tau, T* work) {
  const Range reach = lines.reach(own);
  apply_block_beyond(lines, own, lines.columnwise() ? 'N' : adjoint<T>, tau, work, lines.count());
  form_one_by_one(lines.part(reach, own), own.count, tau, work);
  clear(lines, lines.outside(reach), own);
}

/// The first (forward) or last (backward) kk reflectors are applied by blocks, the others before them one by one.
template <Scalar T>
void form_by_blocks(const StoredReflectors<T>& lines, Int k, const BlockPlan& plan, const T* tau, T* work) {
  const Int order = lines.order(), count = lines.count(), nb = plan.nb;
  const Int kk = std::min(k, (k - plan.nx - 1) / nb * nb + nb);
  const auto form_block_of = [&](Int i) {
    form_block(lines, {lines.line(i, k), std::min(nb, k - i + 1)}, tau + (i - 1), work);
  };
  if (lines.forward()) {
    const Range others{kk + 1, count - kk};
    clear(lines, {1, kk}, others);
    if (others.count > 0) form_one_by_one(lines.part({kk + 1, order - kk}, others), k - kk, tau + kk, work);
    for (Int i = (kk - 1) / nb * nb + 1; i >= 1; i -= nb) form_block_of(i);
  } else {
    const Range others{1, count - kk};
    clear(lines, {order - kk + 1, kk}, others);
    form_one_by_one(lines.part({1, order - kk}, others), k - kk, tau, work);
    for (Int i = k - kk + 1; i <= k; i += nb) form_block_of(i);
  }
}

/// 0, or minus the position of the first bad argument of m, n, k, a, lda.
Int check(Form form, Int m, Int n, Int k, Int lda) {
  if (m < 0) return -1;
  if (form.rowwise ? n < m : n < 0 || n > m) return -2;
  if (k < 0 || k > (form.rowwise ? m : n)) return -3;
  if (lda < std::max(1, m)) return -5;
  return 0;
}

template <Scalar T>
void form_q(Form form, Int m, Int n, Int k, Matrix<T> A, const T* tau, T* work, Int lwork, Int& info) {
  const Tuning<T> tuning{.name = name_of_form<T>("ORG", "UNG", form), .n1 = m, .n2 = n, .n3 = k};
  const StoredReflectors<T> lines = lines_of(form, m, n, A);
  const Int count = lines.count(), nb = tuning.block_size();
  work[0] = as_work_size<T>(std::int64_t{std::max(1, count)} * nb);
  const bool query = lwork == -1;
  info = check(form, m, n, k, A.ld);
  if (info == 0 && lwork < std::max(1, count) && !query) info = -8;
  if (info != 0) return report_bad_argument(tuning.name, info);
  if (query) return;
  if (count <= 0) {
    work[0] = T(1);
    return;
  }

  const BlockPlan plan = plan_blocks(tuning, {.n = k, .nb = nb, .line = count, .lwork = lwork});
  if (plan.by_blocks) {
    form_by_blocks(lines, k, plan, tau, work);
  } else {
    form_one_by_one(lines, k, tau, work);
  }
  work[0] = as_work_size<T>(plan.workspace);
}

template <Scalar T>
void form_unblocked(Text name, Form form, Int m, Int n, Int k, Matrix<T> A, const T* tau, T* work, Int& info) {
  info = check(form, m, n, k, A.ld);
  if (info != 0) return report_bad_argument(name, info);
  form_one_by_one(lines_of(form, m, n, A), k, tau, work);
}

}  // namespace

template <Scalar T>
void orgqr(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<T>(qr, m, n, k, {a, lda}, tau, work, lwork, info);
}
template <Scalar T>
void orglq(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<T>(lq, m, n, k, {a, lda}, tau, work, lwork, info);
}
template <Scalar T>
void orgql(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<T>(ql, m, n, k, {a, lda}, tau, work, lwork, info);
}
template <Scalar T>
void orgrq(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info) {
  form_q<T>(rq, m, n, k, {a, lda}, tau, work, lwork, info);
}

template <Scalar T>
void org2r(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<T>(name_of<T>("ORG2R", "UNG2R"), qr, m, n, k, {a, lda}, tau, work, info);
}
template <Scalar T>
void orgl2(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<T>(name_of<T>("ORGL2", "UNGL2"), lq, m, n, k, {a, lda}, tau, work, info);
}
template <Scalar T>
void org2l(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<T>(name_of<T>("ORG2L", "UNG2L"), ql, m, n, k, {a, lda}, tau, work, info);
}
template <Scalar T>
void orgr2(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info) {
  form_unblocked<T>(name_of<T>("ORGR2", "UNGR2"), rq, m, n, k, {a, lda}, tau, work, info);
}

}  // namespace nuv

#include "orthogonal/form_q.entries.inc"
