#include "orthogonal/apply_z.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "orthogonal/forms.hpp"
#include "orthogonal/reflector_steps.hpp"
#include "orthogonal/z_reflectors.hpp"

namespace nuv {
namespace {

/// The problem as both routines are given it.
template <Scalar T>
struct ApplicationOfZ {
  char side, trans;
  Int m, n, k, l;
  Int lda;
  const T* tau;
  Matrix<T> C;

  bool left() const { return same_letter(side, 'L'); }
  bool plain() const { return same_letter(trans, 'N'); }
  bool is_empty() const { return m == 0 || n == 0 || k == 0; }
  /// Order of Z.
  Int nq() const { return left() ? m : n; }
  /// The other size of C.
  Int nw() const { return left() ? n : m; }
  /// Column of A, from one, in which the reflectors are stored.
  Int tail() const { return nq() - l + 1; }

  /// 0, or minus the position of the first bad argument.
  Int check() const {
    if (!is_one_of(side, 'L', 'R')) return -1;
    if (!is_one_of(trans, 'N', adjoint<T>)) return -2;
    if (m < 0) return -3;
    if (n < 0) return -4;
    if (k < 0 || k > nq()) return -5;
    if (l < 0 || l > nq()) return -6;
    if (lda < std::max(1, k)) return -8;
    if (C.ld < std::max(1, m)) return -11;
    return 0;
  }

  /// The part of C that reflectors from i on meet, its rows (left) or columns counted in `lines`.
  struct Reached {
    Int m, n;
    Matrix<T> C;
  };
  Reached reached(Int i) const {
    if (left()) return {m - i + 1, n, block(C, i, 1)};
    return {m, n - i + 1, block(C, 1, i)};
  }

  /// Calls visit(range) for the reflectors in blocks of nb, in the order in which they are applied. Z is Z1 Z2 ... Zk.
  template <class Visit>
  void for_each_block(Int nb, Visit visit) const {
    for_blocks_in_order(k, nb, left() != plain(), visit);
  }
};

template <Scalar T>
void apply_one_by_one(const ApplicationOfZ<T>& problem, Matrix<const T> A, T* work) {
  problem.for_each_block(1, [&](Range one) {
    const Int i = one.first;
    const auto [m, n, C] = problem.reached(i);
    const T tau = problem.tau[i - 1];
    larz(problem.side, m, n, problem.l, A.at(i, problem.tail()), A.ld, problem.plain() ? tau : conjugate(tau), C.data,
         C.ld, work);
  });
}

/// With the factor T of a block in the first nb * nb elements of work.
template <Scalar T>
void apply_by_blocks(const ApplicationOfZ<T>& problem, Int nb, Matrix<T> A, T* work) {
  const Matrix<T> t{work, nb}, W{work + std::ptrdiff_t{nb} * nb, std::max(1, problem.nw())};
  problem.for_each_block(nb, [&](Range some) {
    const Int i = some.first, ib = some.count;
    const auto [m, n, C] = problem.reached(i);
    T* const v = A.at(i, problem.tail());
    larzt('B', 'R', problem.l, ib, v, A.ld, problem.tau + (i - 1), t.data, t.ld);
    // A block stands for the adjoint of its part of Z.
    larzb(problem.side, reversed<T>(!problem.plain()), 'B', 'R', m, n, ib, problem.l, v, A.ld, t.data, t.ld, C.data,
          C.ld, W.data, W.ld);
  });
}

}  // namespace

template <Scalar T>
void ormrz(char side, char trans, Int m, Int n, Int k, Int l, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info) {
  const ApplicationOfZ<T> problem{side, trans, m, n, k, l, lda, tau, {c, ldc}};
  const Matrix<T> A{a, lda};
  const Int least = std::max(1, problem.nw());
  info = problem.check();
  if (info == 0 && lwork < least && lwork != -1) info = -13;
  if (info != 0) return report_bad_argument(name_of<T>("ORMRZ", "UNMRZ"), info);

  const char opts[] = {side, trans};
  const Tuning<T> tuning{name_of<T>("ORMRQ", "UNMRQ"), {opts, 2}, m, n, k};
  const Int nb = tuning.block_size();
  const T best = problem.is_empty() ? T(1) : as_work_size<T>((std::int64_t{least} + nb) * nb);
  work[0] = best;
  if (lwork == -1 || problem.is_empty()) return;

  const BlockPlan plan =
      plan_blocks(tuning, {.n = k, .nb = nb, .line = least + nb, .lwork = lwork, .has_crossover = false});
  if (plan.by_blocks) {
    apply_by_blocks(problem, plan.nb, A, work);
  } else {
    apply_one_by_one<T>(problem, A, work);
  }
  work[0] = best;
}

template <Scalar T>
void ormr3(char side, char trans, Int m, Int n, Int k, Int l, const T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int& info) {
  const ApplicationOfZ<T> problem{side, trans, m, n, k, l, lda, tau, {c, ldc}};
  info = problem.check();
  if (info != 0) return report_bad_argument(name_of<T>("ORMR3", "UNMR3"), info);
  if (!problem.is_empty()) apply_one_by_one<T>(problem, {a, lda}, work);
}

}  // namespace nuv

#include "orthogonal/apply_z.entries.inc"
