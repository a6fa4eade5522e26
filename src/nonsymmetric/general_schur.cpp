#include "nonsymmetric/general_schur.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "blas.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/diagonal_blocks.hpp"
#include "nonsymmetric/invariant_subspace.hpp"
#include "nonsymmetric/schur_spine.hpp"

namespace nuv {
namespace {

template <Scalar T>
struct SchurProblem {
  char jobvs, sort;
  Select<T> select;
  Int n;
  Matrix<T> A;
  EigenvalueArray<T> w;
  Matrix<T> Z;

  bool with_vectors() const { return same_letter(jobvs, 'V'); }
  bool sorts() const { return same_letter(sort, 'S'); }
  char compz() const { return with_vectors() ? 'V' : 'N'; }
};

// ------------------------------------------------------------------------------------------------------- eigenvalues

template <Scalar T>
bool is_selected(Select<T> select, const EigenvalueArray<T>& w, Int i) {
  Logical answer = 0;
  w.from(i).give_to([&](auto*... parts) { answer = select(parts...); });
  return is_true(answer);
}

/// Makes blocks triangular of which the element above the diagonal has underflowed, by exchanging their rows and
/// columns.
template <RealScalar T>
void split_blocks(Int n, Matrix<T> S, bool with_vectors, Matrix<T> Z) {
  for (Int i = 1; i < n; ++i) {
    if (S(i + 1, i) == 0 || S(i, i + 1) != 0) continue;
    blas::swap(i - 1, column(S, 1, i), column(S, 1, i + 1));
    if (i + 1 < n) blas::swap(n - i - 1, row(S, i, i + 2), row(S, i + 1, i + 2));
    if (with_vectors) blas::swap(n, column(Z, 1, i), column(Z, 1, i + 1));
    std::swap(S(i, i), S(i + 1, i + 1));
    std::swap(S(i, i + 1), S(i + 1, i));
  }
}

/// The eigenvalues first ... last, anew from the diagonal blocks of S.
template <Scalar T>
void read_values(Int first, Int last, Matrix<T> S, const EigenvalueArray<T>& w) {
  const Int count = last - first + 1;
  if constexpr (RealScalar<T>) {
    read_eigenvalues<T>(count, block(S, first, first), w.real + (first - 1), w.imaginary + (first - 1));
  } else {
    blas::copy(count, Vector<const T>{S.at(first, first), S.ld + 1}, Vector<T>{w.values + (first - 1), 1});
  }
}

// ---------------------------------------------------------------------------------------------------------- ordering

/// What is asked of trsen beside an order of the eigenvalues, and its workspace; iwork is for real precisions.
template <Scalar T>
struct SubspaceConditions {
  char sense;
  Real<T>&of_mean, &of_subspace;
  Int* iwork;
  Int liwork;

  bool any() const { return !same_letter(sense, 'N'); }
  bool of_space() const { return is_one_of(sense, 'V', 'B'); }
};

/// trsen. Returns its info.
template <Scalar T>
Int move_in_front(const SchurSpine<T>& spine, char jobvs, Logical* chosen, Matrix<T> Z, Int& sdim,
                  const SubspaceConditions<T>& conditions) {
  const Int n = spine.order();
  const Matrix<T> S = spine.matrix();
  const EigenvalueArray<T>& w = spine.values();
  Int info = 0;
  if constexpr (RealScalar<T>) {
    trsen(conditions.sense, jobvs, chosen, n, S.data, S.ld, Z.data, Z.ld, w.real, w.imaginary, sdim, conditions.of_mean,
          conditions.of_subspace, spine.work(), spine.lwork(), conditions.iwork, conditions.liwork, info);
  } else {
    trsen(conditions.sense, jobvs, chosen, n, S.data, S.ld, Z.data, Z.ld, w.values, sdim, conditions.of_mean,
          conditions.of_subspace, spine.work(), spine.lwork(), info);
  }
  return info;
}

/// Counts the eigenvalues that select takes in the end, as sdim, which were the first sdim when they were moved.
/// Whether it says the same of each.
template <Scalar T>
bool is_still_selected(const SchurProblem<T>& p, Int& sdim) {
  Int count = 0;
  bool is_same = true;
  for_each_diagonal_block(Matrix<const T>(p.A), p.n, true, [&](DiagonalBlock block) {
    bool selected = is_selected<T>(p.select, p.w, block.first);
    if (block.order() == 2) selected |= is_selected<T>(p.select, p.w, block.last);
    if (selected) count += block.order();
    is_same &= selected == (block.first <= sdim);
  });
  sdim = count;
  return is_same;
}

// ------------------------------------------------------------------------------------------------------------ driver

/// Workspace of a driver; rwork is for complex precisions.
template <Scalar T>
struct SchurWork {
  T* work;
  Int lwork;
  Real<T>* rwork;
  Logical* chosen;
};

/// 0, or minus the position of the first bad argument up to vs. geesx has one more argument in front of n.
template <Scalar T>
Int check(const SchurProblem<T>& p, const char* sense) {
  const Int shift = sense == nullptr ? 0 : 1;
  if (!is_one_of(p.jobvs, 'N', 'V')) return -1;
  if (!is_one_of(p.sort, 'N', 'S')) return -2;
  if (sense != nullptr && (!is_one_of(*sense, 'N', 'E', 'V', 'B') || (!p.sorts() && !same_letter(*sense, 'N')))) {
    return -4;
  }
  if (p.n < 0) return -(4 + shift);
  if (p.A.ld < std::max(1, p.n)) return -(6 + shift);
  if (p.Z.ld < 1 || (p.with_vectors() && p.Z.ld < p.n)) return -(behind_values<T>(11) + shift);
  return 0;
}

/// The best workspace, at least 1.
template <Scalar T>
std::int64_t best_workspace(const SchurProblem<T>& p, T* work) {
  if (p.n == 0) return 1;
  return columns_before_tau<T> * std::int64_t{p.n} + best_schur_workspace('S', p.compz(), p.n, p.A, p.w, p.Z, work);
}

/// As many integers as the condition number of a subspace takes at most, or the most that can be told.
Int integers_for_subspace(std::int64_t n) {
  return static_cast<Int>(std::clamp<std::int64_t>(n * n / 4, 1, std::numeric_limits<Int>::max()));
}

template <Scalar T>
std::int64_t least_workspace(Int n) {
  return std::max<std::int64_t>(1, (RealScalar<T> ? 3 : 2) * std::int64_t{n});
}

/// Moves the eigenvalues that are selected in front. Returns the info of trsen.
template <Scalar T>
Int sort_values(const SchurProblem<T>& p, const SchurSpine<T>& spine, Logical* chosen, Int& sdim,
                const SubspaceConditions<T>& conditions) {
  spine.unscale_values(0);
  for (Int i = 1; i <= p.n; ++i) chosen[i - 1] = to_logical(is_selected<T>(p.select, p.w, i));
  return move_in_front(spine, p.jobvs, chosen, p.Z, sdim, conditions);
}

/// Takes the scaling back from S and its eigenvalues, but for those that the iteration has not found.
template <Scalar T>
void unscale(const SchurProblem<T>& p, const SchurSpine<T>& spine, Int missing) {
  if (!spine.scaling().is_needed()) return;
  spine.scaling().undo('H', p.n, p.n, p.A);
  if constexpr (RealScalar<T>) {
    if (missing == 0) split_blocks(p.n, p.A, p.with_vectors(), p.Z);
  }
  if (missing > 0) read_values(1, spine.ilo() - 1, p.A, p.w);
  read_values(missing + 1, p.n, p.A, p.w);
}

/// The steps of gees and geesx for n > 0. A workspace that is too small for the condition numbers of what is selected
/// comes back as trsen's info.
template <Scalar T>
void find_schur_form(const SchurProblem<T>& p, const SchurWork<T>& room, Int& sdim,
                     const SubspaceConditions<T>& conditions, Int& info) {
  sdim = 0;
  SchurSpine<T> spine = spine_in_workspace(p.n, p.A, p.w, room.work, room.lwork, room.rwork);
  spine.balance('P');
  spine.reduce();
  if (p.with_vectors()) spine.form_q(p.Z);
  const Int missing = spine.iterate('S', p.compz(), p.Z);
  info = missing;
  if (missing == 0) {
    if (p.sorts()) {
      info = sort_values(p, spine, room.chosen, sdim, conditions);
      if (info > 0) info += p.n;
    }
    if (p.with_vectors()) spine.transform_back('R', p.Z);
  }
  unscale(p, spine, missing);
  if (info != 0) return;
  if (conditions.of_space()) spine.scaling().undo(1, &conditions.of_subspace);
  if (p.sorts() && !is_still_selected(p, sdim)) info = p.n + 2;
}

/// gees in its two members.
template <Scalar T>
void drive(const SchurProblem<T>& p, const SchurWork<T>& room, Int& sdim, Int& info) {
  info = check(p, nullptr);
  if (info != 0) return report_bad_argument<T>("GEES", info);
  const T best = as_work_size<T>(best_workspace(p, room.work));
  room.work[0] = best;
  if (room.lwork == -1) return;
  if (room.lwork < least_workspace<T>(p.n)) info = -behind_values<T>(13);
  if (info != 0) return report_bad_argument<T>("GEES", info);
  sdim = 0;
  if (p.n == 0) return;

  Real<T> of_mean, of_subspace;
  Int iwork[1];
  find_schur_form<T>(p, room, sdim, {'N', of_mean, of_subspace, iwork, 1}, info);
  room.work[0] = best;
}

/// geesx in its two members.
template <Scalar T>
void drive(const SchurProblem<T>& p, const SchurWork<T>& room, Int& sdim, const SubspaceConditions<T>& conditions,
           Int& info) {
  constexpr bool has_iwork = RealScalar<T>;
  constexpr Int position_of_lwork = behind_values<T>(16), position_of_liwork = 18;
  info = check(p, &conditions.sense);
  if (info != 0) return report_bad_argument<T>("GEESX", info);
  const std::int64_t n = p.n;
  std::int64_t best = best_workspace(p, room.work);
  if (conditions.any()) best = std::max(best, columns_before_tau<T> * n + n * n / 2);
  const Int best_integers = conditions.of_space() ? integers_for_subspace(n) : 1;
  room.work[0] = as_work_size<T>(best);
  if constexpr (has_iwork) conditions.iwork[0] = best_integers;
  if (room.lwork == -1 || (has_iwork && conditions.liwork == -1)) return;
  if (room.lwork < least_workspace<T>(p.n)) info = -position_of_lwork;
  else if (has_iwork && conditions.liwork < 1) info = -position_of_liwork;
  if (info != 0) return report_bad_argument<T>("GEESX", info);
  sdim = 0;
  if (p.n == 0) return;

  find_schur_form(p, room, sdim, conditions, info);
  // trsen has said already that one of its workspaces is too small for so many eigenvalues.
  if (info < 0) info = has_iwork && info == -17 ? -position_of_liwork : -position_of_lwork;
  room.work[0] = as_work_size<T>(best);
  if constexpr (has_iwork) conditions.iwork[0] = best_integers;
}

}  // namespace

template <RealScalar T>
void gees(char jobvs, char sort, Select<T> select, Int n, T* a, Int lda, Int& sdim, T* wr, T* wi, T* vs, Int ldvs,
          T* work, Int lwork, Logical* bwork, Int& info) {
  drive<T>({jobvs, sort, select, n, {a, lda}, {wr, wi}, {vs, ldvs}}, {work, lwork, nullptr, bwork}, sdim, info);
}

template <ComplexScalar T>
void gees(char jobvs, char sort, Select<T> select, Int n, T* a, Int lda, Int& sdim, T* w, T* vs, Int ldvs, T* work,
          Int lwork, Real<T>* rwork, Logical* bwork, Int& info) {
  drive<T>({jobvs, sort, select, n, {a, lda}, {w}, {vs, ldvs}}, {work, lwork, rwork, bwork}, sdim, info);
}

template <RealScalar T>
void geesx(char jobvs, char sort, Select<T> select, char sense, Int n, T* a, Int lda, Int& sdim, T* wr, T* wi, T* vs,
           Int ldvs, T& rconde, T& rcondv, T* work, Int lwork, Int* iwork, Int liwork, Logical* bwork, Int& info) {
  drive<T>({jobvs, sort, select, n, {a, lda}, {wr, wi}, {vs, ldvs}}, {work, lwork, nullptr, bwork}, sdim,
           {sense, rconde, rcondv, iwork, liwork}, info);
}

template <ComplexScalar T>
void geesx(char jobvs, char sort, Select<T> select, char sense, Int n, T* a, Int lda, Int& sdim, T* w, T* vs, Int ldvs,
           Real<T>& rconde, Real<T>& rcondv, T* work, Int lwork, Real<T>* rwork, Logical* bwork, Int& info) {
  drive<T>({jobvs, sort, select, n, {a, lda}, {w}, {vs, ldvs}}, {work, lwork, rwork, bwork}, sdim,
           {sense, rconde, rcondv, nullptr, 0}, info);
}

}  // namespace nuv

#include "nonsymmetric/general_schur.entries.inc"
