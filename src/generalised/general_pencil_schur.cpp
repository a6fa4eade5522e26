#include "generalised/general_pencil_schur.hpp"

#include <algorithm>
#include <cmath>

#include "environment/norms_general.hpp"
#include "environment/scaling.hpp"
#include "frame/option_matching.hpp"
#include "generalised/deflating_subspace.hpp"
#include "generalised/pencil_driver_opening.hpp"
#include "generalised/pencil_spine.hpp"

namespace nuv {
namespace {

/// What is asked for beside the Schur form.
template <Scalar T>
struct Ordering {
  char sort;
  SelectGeneralised<T> selctg;
  Logical* chosen;  ///< workspace

  bool is_wanted() const { return same_letter(sort, 'S'); }
};

/// What is asked of tgsen beside an order of the eigenvalues, and its workspace.
template <Scalar T>
struct SubspaceConditions {
  char sense;
  Real<T>*of_mean, *of_subspaces;
  Int* iwork;
  Int liwork;

  bool of_values() const { return is_one_of(sense, 'E', 'B'); }
  bool of_spaces() const { return is_one_of(sense, 'V', 'B'); }
  bool any() const { return of_values() || of_spaces(); }
  Int ijob() const { return of_values() && of_spaces() ? 4 : of_spaces() ? 2 : of_values() ? 1 : 0; }
};

template <Scalar T>
bool is_selected(SelectGeneralised<T> selctg, const PencilValues<T>& values, Int i) {
  Logical answer = 0;
  values.from(i).give_to([&](auto*... parts) { answer = selctg(parts...); });
  return is_true(answer);
}

/// The power of two below the largest element of an upper Hessenberg matrix, or 1 if it has none.
template <Scalar T>
Real<T> power_below_norm(Int n, Matrix<T> A) {
  const Real<T> norm = lange('M', n, n, A.data, A.ld, static_cast<Real<T>*>(nullptr));
  return norm > 0 && norm <= Machine<Real<T>>::overflow ? std::ldexp(Real<T>(1), std::ilogb(norm)) : Real<T>(1);
}

/// Brings a Schur form that was scaled into range, and is near one end of it still, to norms about one of both matrices
/// for tgsen: the eigenvalues of pairs that it reads are quotients of elements of both, which would be inaccurate or no
/// numbers with the matrices at opposite ends. By powers of two, which round nothing.
template <Scalar T>
class LikeNorms {
 public:
  explicit LikeNorms(const PencilSpine<T>& spine) : spine_(spine) {
    if (!spine.scaling_of_a().is_needed() && !spine.scaling_of_b().is_needed()) return;
    size_of_a_ = power_below_norm(spine.order(), spine.a());
    size_of_b_ = power_below_norm(spine.order(), spine.b());
    scale_matrices(size_of_a_, 1, size_of_b_, 1);
  }

  void undo() const {
    if (size_of_a_ != 1 || size_of_b_ != 1) scale_matrices(1, size_of_a_, 1, size_of_b_);
  }

  void undo_values() const {
    const Int n = spine_.order();
    spine_.values().alpha.give_to([&](auto*... parts) { (scale(parts, 1, size_of_a_, n, 1), ...); });
    scale(spine_.values().beta, 1, size_of_b_, n, 1);
  }

 private:
  void scale_matrices(Real<T> a_from, Real<T> a_to, Real<T> b_from, Real<T> b_to) const {
    const Int n = spine_.order();
    scale(spine_.a().data, a_from, a_to, n, n, spine_.a().ld, 'H');
    scale(spine_.b().data, b_from, b_to, n, n, spine_.b().ld, 'U');
  }

  static void scale(T* x, Real<T> from, Real<T> to, Int m, Int n, Int ld, char type) {
    Int ignored = 0;
    if (from != to) lascl(type, 0, 0, from, to, m, n, x, ld, ignored);
  }
  static void scale(T* x, Real<T> from, Real<T> to, Int m, Int n) { scale(x, from, to, m, n, m, 'G'); }

  const PencilSpine<T>& spine_;
  Real<T> size_of_a_ = 1, size_of_b_ = 1;
};

/// tgsen. Returns its info.
template <Scalar T>
Int move_in_front(const PencilSpine<T>& spine, const Logical* chosen, Int& sdim,
                  const SubspaceConditions<T>& conditions) {
  const Matrix<T> S = spine.a(), P = spine.b();
  const PencilVectors<T>& V = spine.vectors();
  Real<T> of_mean[2], of_subspaces[2];
  Int info = 0;
  const LikeNorms<T> like_norms(spine);
  spine.values().give_to([&](auto*... parts) {
    tgsen(conditions.ijob(), to_logical(V.left), to_logical(V.right), chosen, spine.order(), S.data, S.ld, P.data, P.ld,
          parts..., V.L.data, V.L.ld, V.R.data, V.R.ld, sdim, of_mean[0], of_mean[1], of_subspaces, spine.work(),
          spine.lwork(), conditions.iwork, conditions.liwork, info);
  });
  like_norms.undo();
  if (info >= 0) like_norms.undo_values();
  if (info >= 0 && conditions.of_values()) std::copy_n(of_mean, 2, conditions.of_mean);
  if (info >= 0 && conditions.of_spaces()) std::copy_n(of_subspaces, 2, conditions.of_subspaces);
  return info;
}

/// Counts the eigenvalues that selctg takes in the end, as sdim, which were the first sdim when they were moved.
/// Whether it says the same of each.
template <Scalar T>
bool is_still_selected(SelectGeneralised<T> selctg, const PencilSpine<T>& spine, Int& sdim) {
  const Int n = spine.order();
  const PencilValues<T>& values = spine.values();
  Int count = 0;
  bool is_same = true;
  for (Int first = 1, last; first <= n; first = last + 1) {
    last = first < n && values.alpha.starts_pair(first) ? first + 1 : first;
    bool selected = is_selected<T>(selctg, values, first);
    if (last > first) selected |= is_selected<T>(selctg, values, last);
    if (selected) count += last - first + 1;
    is_same &= selected == (first <= sdim);
  }
  sdim = count;
  return is_same;
}

/// The steps of gges and ggesx for n > 0. Returns the info of gges, or that of tgsen where the workspace is too small
/// for the condition numbers of what is selected.
template <Scalar T>
Int find_schur_form(const PencilProblem<T>& p, const PencilWork<T>& room, const Ordering<T>& ordering, Int& sdim,
                    const SubspaceConditions<T>& conditions) {
  PencilSpine<T> spine(p, room);
  spine.balance('P');
  Int info = spine.iterate(true);
  bool values_are_scaled = true;
  if (info == 0) {
    if (ordering.is_wanted()) {
      spine.unscale_values();
      for (Int i = 1; i <= p.n; ++i) {
        ordering.chosen[i - 1] = to_logical(is_selected<T>(ordering.selctg, p.values, i));
      }
      info = move_in_front(spine, ordering.chosen, sdim, conditions);
      // Eigenvalues are those of the scaled pencil again, unless tgsen has not begun.
      values_are_scaled = info >= 0;
      if (info > 0) info = p.n + 3;
    }
    spine.transform_back();
  }
  if (values_are_scaled) spine.unscale_values();
  spine.unscale_matrices();
  // Where some could not be moved, that is what info tells, whatever selctg says now.
  const bool has_form = info == 0 || info == p.n + 3;
  if (has_form && ordering.is_wanted()) {
    const bool is_same = is_still_selected(ordering.selctg, spine, sdim);
    if (info == 0 && !is_same) info = p.n + 2;
  }
  return info;
}

// ------------------------------------------------------------------------------------------------------------ drivers

/// 0, or minus the position of the first bad argument up to the vectors. ggesx has sense in front of n.
template <Scalar T>
Int check(const PencilProblem<T>& p, const Ordering<T>& ordering, const char* sense) {
  if (const Int bad = bad_job(p)) return -bad;
  if (!is_one_of(ordering.sort, 'N', 'S')) return -3;
  if (sense != nullptr) {
    if (!is_one_of(*sense, 'N', 'E', 'V', 'B') || (!ordering.is_wanted() && !same_letter(*sense, 'N'))) return -5;
  }
  return check_sizes(p, sense != nullptr ? 6 : 5, 1);
}

template <Scalar T>
WorkSize work_size(Int order) {
  const std::int64_t n = order;
  return work_size_with_scales<T>(order, RealScalar<T> ? std::max(8 * n, 6 * n + 16) : 2 * n);
}

/// With room for condition numbers of half of the eigenvalues, which take the most.
template <Scalar T>
WorkSize work_size_with_conditions(Int order) {
  const std::int64_t n = order;
  const WorkSize size = work_size<T>(order);
  return {size.least, std::max(size.best, columns_of_scales<T> * n + n * n / 2)};
}

/// gges in its two members; rwork is for complex ones.
template <Scalar T>
void find_ordered_schur_form(const PencilProblem<T>& p, const Ordering<T>& ordering, Int& sdim, T* work, Int lwork,
                             Real<T>* rwork, Int& info) {
  const GivenWorkspace<T> room{work, lwork, behind_values<T>(19), work_size<T>(p.n)};
  info = check(p, ordering, nullptr);
  if (!begins(RoutineName<T>("GGES"), info, room)) return;
  sdim = 0;
  if (p.n == 0) return;

  Int iwork[1];
  info = find_schur_form<T>(p, scales_in_workspace(p.n, work, lwork, rwork), ordering, sdim,
                            {'N', nullptr, nullptr, iwork, 1});
  room.tell_best();
}

/// ggesx in its two members; rwork is for complex ones.
template <Scalar T>
void find_judged_schur_form(const PencilProblem<T>& p, const Ordering<T>& ordering, Int& sdim,
                            const SubspaceConditions<T>& conditions, T* work, Int lwork, Real<T>* rwork, Int& info) {
  const Int integers = conditions.any() && p.n > 0 ? p.n + (RealScalar<T> ? 6 : 2) : 1;
  const GivenWorkspace<T> room{work, lwork, behind_values<T>(22),
                               conditions.any() ? work_size_with_conditions<T>(p.n) : work_size<T>(p.n)};
  const GivenWorkspace<Int> room_of_integers{conditions.iwork, conditions.liwork, 24, {integers, integers}};
  info = check(p, ordering, &conditions.sense);
  if (!begins(RoutineName<T>("GGESX"), info, room, room_of_integers)) return;
  sdim = 0;
  if (p.n == 0) return;

  info = find_schur_form(p, scales_in_workspace(p.n, work, lwork, rwork), ordering, sdim, conditions);
  // tgsen has said already that its workspace is too small for so many eigenvalues.
  if (info < 0) info = -room.position;
  room.tell_best();
  room_of_integers.tell_best();
}

}  // namespace

template <RealScalar T>
void gges(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, Int n, T* a, Int lda, T* b, Int ldb,
          Int& sdim, T* alphar, T* alphai, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, T* work, Int lwork,
          Logical* bwork, Int& info) {
  T* const none = nullptr;
  find_ordered_schur_form<T>(
      {jobvsl, jobvsr, n, {a, lda}, {b, ldb}, {{alphar, alphai}, beta}, {vsl, ldvsl}, {vsr, ldvsr}},
      {sort, selctg, bwork}, sdim, work, lwork, none, info);
}

template <ComplexScalar T>
void gges(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, Int n, T* a, Int lda, T* b, Int ldb,
          Int& sdim, T* alpha, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, T* work, Int lwork, Real<T>* rwork,
          Logical* bwork, Int& info) {
  find_ordered_schur_form<T>({jobvsl, jobvsr, n, {a, lda}, {b, ldb}, {{alpha}, beta}, {vsl, ldvsl}, {vsr, ldvsr}},
                             {sort, selctg, bwork}, sdim, work, lwork, rwork, info);
}

template <RealScalar T>
void ggesx(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, char sense, Int n, T* a, Int lda, T* b,
           Int ldb, Int& sdim, T* alphar, T* alphai, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, Real<T>* rconde,
           Real<T>* rcondv, T* work, Int lwork, Int* iwork, Int liwork, Logical* bwork, Int& info) {
  T* const none = nullptr;
  find_judged_schur_form<T>(
      {jobvsl, jobvsr, n, {a, lda}, {b, ldb}, {{alphar, alphai}, beta}, {vsl, ldvsl}, {vsr, ldvsr}},
      {sort, selctg, bwork}, sdim, {sense, rconde, rcondv, iwork, liwork}, work, lwork, none, info);
}

template <ComplexScalar T>
void ggesx(char jobvsl, char jobvsr, char sort, SelectGeneralised<T> selctg, char sense, Int n, T* a, Int lda, T* b,
           Int ldb, Int& sdim, T* alpha, T* beta, T* vsl, Int ldvsl, T* vsr, Int ldvsr, Real<T>* rconde,
           Real<T>* rcondv, T* work, Int lwork, Real<T>* rwork, Int* iwork, Int liwork, Logical* bwork, Int& info) {
  find_judged_schur_form<T>({jobvsl, jobvsr, n, {a, lda}, {b, ldb}, {{alpha}, beta}, {vsl, ldvsl}, {vsr, ldvsr}},
                            {sort, selctg, bwork}, sdim, {sense, rconde, rcondv, iwork, liwork}, work, lwork, rwork,
                            info);
}

}  // namespace nuv

#include "generalised/general_pencil_schur.entries.inc"
