#include "orthogonal/lq_ql_rq.hpp"

#include "environment/tuning.hpp"
#include "orthogonal/factor_by_reflectors.hpp"
#include "orthogonal/reflector_steps.hpp"

namespace nuv {
namespace {

/// Factors the panel of reflectors i ... i + ib - 1 and applies it to the rest. work has its factor in the first ib of
/// its ldwork rows, and the workspace of the update below.
template <Scalar T>
void factor_panel(Form form, Int m, Int n, Int i, Int ib, Matrix<T> A, T* tau, T* work, Int ldwork) {
  const Panel<T> panel(form, m, n, A, i, ib);
  const Int order = panel.order, rest = panel.rest;
  factor_unblocked(form, form.rowwise ? ib : order, form.rowwise ? order : ib, panel.V, tau, work);
  if (rest == 0) return;
  const char direct = form.direct(), storev = form.storev();
  form_factor<T>(StoredReflectors<T>(form, order, ib, panel.V), tau, {work, ldwork});
  if (form.rowwise) {
    larfb('R', 'N', direct, storev, rest, order, ib, panel.V.data, A.ld, work, ldwork, panel.C.data, A.ld, work + ib,
          ldwork);
  } else {
    larfb('L', adjoint<T>, direct, storev, order, rest, ib, panel.V.data, A.ld, work, ldwork, panel.C.data, A.ld,
          work + ib, ldwork);
  }
}

/// Panels of nb reflectors until about nx are left, then the unblocked code.
template <Scalar T>
void factor_blocked(Form form, Int m, Int n, Int nb, Int nx, Matrix<T> A, T* tau, T* work, Int ldwork) {
  const Int k = std::min(m, n);
  if (form.backward) {
    const Int last_step = (k - nx - 1) / nb * nb, done = std::min(k, last_step + nb), left = k - done;
    for (Int i = left + last_step + 1; i > left; i -= nb) {
      factor_panel(form, m, n, i, std::min(k - i + 1, nb), A, tau + (i - 1), work, ldwork);
    }
    factor_unblocked(form, m - done, n - done, A, tau, work);
  } else {
    Int i = 1;
    for (; i <= k - nx; i += nb) {
      factor_panel(form, m, n, i, std::min(k - i + 1, nb), A, tau + (i - 1), work, ldwork);
    }
    if (i <= k) factor_unblocked(form, m - i + 1, n - i + 1, block(A, i, i), tau + (i - 1), work);
  }
}

template <Scalar T, std::size_t Size>
void factor(const char (&name)[Size], Form form, Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  const auto ask = [&](Int ispec) { return ilaenv(ispec, RoutineName<T>(name), " ", m, n, -1, -1); };
  const Int lines = form.rowwise ? m : n;
  Int nb = ask(1);
  work[0] = as_work_size<T>(std::int64_t{nb} * lines);
  info = check_matrix(m, n, lda);
  if (info == 0 && lwork < std::max(1, lines) && lwork != -1) info = -7;
  if (info != 0) return report_bad_argument<T>(name, info);
  if (lwork == -1) return;
  const Int k = std::min(m, n);
  if (k == 0) {
    work[0] = T(1);
    return;
  }

  Int nbmin = 2, nx = form.backward ? 1 : 0;
  std::int64_t iws = lines;
  if (nb > 1 && nb < k) {
    nx = std::max(0, ask(3));
    if (nx < k) {
      iws = std::int64_t{nb} * lines;
      if (lwork < iws) {
        nb = lwork / lines;
        nbmin = std::max(2, ask(2));
      }
    }
  }
  if (nb >= nbmin && nb < k && nx < k) {
    factor_blocked(form, m, n, nb, nx, Matrix{a, lda}, tau, work, lines);
  } else {
    factor_unblocked(form, m, n, Matrix{a, lda}, tau, work);
  }
  work[0] = as_work_size<T>(iws);
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
