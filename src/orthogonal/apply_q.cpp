#include "orthogonal/apply_q.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "orthogonal/reflector_steps.hpp"

namespace nuv {
namespace {

/// The problem as all routines of this file are given it.
template <Scalar T>
struct Application {
  Form form;
  char side, trans;
  Int m, n, k;
  Matrix<T> A;
  const T* tau;
  Matrix<T> C;

  bool left() const { return same_letter(side, 'L'); }
  bool plain() const { return same_letter(trans, 'N'); }
  /// Order of Q.
  Int nq() const { return left() ? m : n; }
  /// The other size of C.
  Int nw() const { return left() ? n : m; }

  /// 0, or minus the position of the first bad argument.
  Int check() const {
    if (!is_one_of(side, 'L', 'R')) return -1;
    if (!is_one_of(trans, 'N', adjoint<T>)) return -2;
    if (m < 0) return -3;
    if (n < 0) return -4;
    if (k < 0 || k > nq()) return -5;
    if (A.ld < std::max(1, form.rowwise ? k : nq())) return -7;
    if (C.ld < std::max(1, m)) return -10;
    return 0;
  }

  StoredReflectors<T> reflectors() const { return {form, nq(), k, A}; }

  /// The part of C that some elements of the reflectors meet, from that column (left) or row (right) on.
  Matrix<T> reached(Range elements, Int start) const {
    return left() ? block(C, elements.first, start) : block(C, start, elements.first);
  }

  /// Calls visit(range) for all reflectors in blocks of nb, the first block from reflector 1, in the order in which
  /// they are applied. Q is H1 H2 ... of QR and RQ, and ... H2 H1 of LQ and QL, with the adjoint of each H where they
  /// are rows.
  template <class Visit>
  void for_each_block(Int nb, Visit visit) const {
    const bool begins_with_the_last = form.rowwise != form.backward;
    for_blocks_in_order(k, nb, (left() == plain()) == begins_with_the_last, visit);
  }
};

template <Scalar T>
void apply_one_by_one(const Application<T>& problem, T* work) {
  const StoredReflectors<T> V = problem.reflectors();
  problem.for_each_block(1, [&](Range one) {
    const Int i = one.first;
    const auto turned = as_vector(V, i, V.tail(i));
    // A row holds the conjugate of its reflector, so that Q takes the adjoints of the reflectors proper.
    const T factor = problem.tau[i - 1];
    const T tau = problem.plain() == V.columnwise() ? factor : conjugate(factor);
    apply_reflector(V, i, problem.side, tau, problem.nw(), problem.reached(V.reach(i), 1), work);
  });
}

/// With the triangular factors of all blocks in t, nb by nb each, and in w room for nw by nb.
template <Scalar T>
void apply_by_blocks(const Application<T>& problem, Int nb, T* t, T* w) {
  constexpr Int strip = 256;
  const StoredReflectors<T> V = problem.reflectors();
  const auto block_of = [&](Range some) { return V.part(V.reach(some), some); };
  const auto factor_of = [&](Range some) { return Matrix<T>{t + std::ptrdiff_t{(some.first - 1) / nb} * nb * nb, nb}; };
  problem.for_each_block(
      nb, [&](Range some) { form_factor<T>(block_of(some), problem.tau + (some.first - 1), factor_of(some)); });

  const char trans = V.columnwise() ? problem.trans : reversed<T>(!problem.plain());
  const Int nw = problem.nw();
  for (Int start = 1; start <= nw; start += strip) {
    problem.for_each_block(nb, [&](Range some) {
      apply_block(block_of(some), problem.side, trans, factor_of(some), std::min(strip, nw - start + 1),
                  problem.reached(V.reach(some), start), {w, nw});
    });
  }
}

template <Scalar T>
void apply(const Application<T>& problem, T* work, Int lwork, Int& info) {
  const char opts[] = {problem.side, problem.trans};
  const Int m = problem.m, n = problem.n, k = problem.k, nw = problem.nw();
  const Tuning<T> tuning{name_of_form<T>("ORM", "UNM", problem.form), {opts, 2}, m, n, k};
  const bool query = lwork == -1;
  info = problem.check();
  if (info == 0 && lwork < std::max(1, nw) && !query) info = -12;
  if (info != 0) return report_bad_argument(tuning.name, info);

  const Int nb = tuning.block_size();
  const std::int64_t best = (std::int64_t{nw} + k) * nb;
  if (query) {
    work[0] = as_work_size<T>(best);
    return;
  }
  if (m == 0 || n == 0 || k == 0) {
    work[0] = T(1);
    return;
  }
  if (nb < tuning.least_block_size() || nb >= k) {
    apply_one_by_one(problem, work);
  } else if (best <= lwork) {
    apply_by_blocks(problem, nb, work, work + std::ptrdiff_t{k} * nb);
  } else if (const Workspace<T> room(best); room.data() != nullptr) {
    apply_by_blocks(problem, nb, room.data(), room.data() + std::ptrdiff_t{k} * nb);
  } else {
    apply_one_by_one(problem, work);
  }
  work[0] = as_work_size<T>(best);
}

template <Scalar T>
void apply_unblocked(Text name, const Application<T>& problem, T* work, Int& info) {
  info = problem.check();
  if (info != 0) return report_bad_argument(name, info);
  if (problem.m > 0 && problem.n > 0 && problem.k > 0) apply_one_by_one(problem, work);
}

}  // namespace

template <Scalar T>
void xormqr(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<T>({qr, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}
template <Scalar T>
void xormlq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<T>({lq, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}
template <Scalar T>
void xormql(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<T>({ql, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}
template <Scalar T>
void xormrq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info) {
  apply<T>({rq, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, lwork, info);
}

template <Scalar T>
void orm2r(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<T>(name_of<T>("ORM2R", "UNM2R"), {qr, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}
template <Scalar T>
void orml2(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<T>(name_of<T>("ORML2", "UNML2"), {lq, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}
template <Scalar T>
void orm2l(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<T>(name_of<T>("ORM2L", "UNM2L"), {ql, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}
template <Scalar T>
void ormr2(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info) {
  apply_unblocked<T>(name_of<T>("ORMR2", "UNMR2"), {rq, side, trans, m, n, k, {a, lda}, tau, {c, ldc}}, work, info);
}

}  // namespace nuv

#include "orthogonal/apply_q.entries.inc"
