#include "generalised/general_pencil_eigen.hpp"

#include <algorithm>

#include "environment/norms_general.hpp"
#include "frame/option_matching.hpp"
#include "generalised/pencil_condition.hpp"
#include "generalised/pencil_driver_opening.hpp"
#include "generalised/pencil_eigenvectors.hpp"
#include "generalised/pencil_spine.hpp"
#include "generalised/pencil_substitution.hpp"

namespace nuv {
namespace {

// -------------------------------------------------------------------------------------------------------------- ggev

/// ggev in its two members; rwork is for complex ones.
template <Scalar T>
void find_eigenvalues(const PencilProblem<T>& p, T* work, Int lwork, Real<T>* rwork, Int& info) {
  const std::int64_t least = (RealScalar<T> ? 8 : 2) * std::int64_t{p.n};
  const GivenWorkspace<T> room{work, lwork, behind_values<T>(16), work_size_with_scales<T>(p.n, least)};
  info = check_jobs_and_sizes(p);
  if (!begins(RoutineName<T>("GGEV"), info, room) || p.n == 0) return;

  PencilSpine<T> spine(p, scales_in_workspace(p.n, work, lwork, rwork));
  spine.balance('P');
  info = spine.iterate(p.vectors.any());
  if (info == 0 && p.vectors.any()) info = find_eigenvectors(spine);
  spine.unscale_values();
  room.tell_best();
}

// ------------------------------------------------------------------------------------------------------------- ggevx

/// What ggevx is asked for beside values and vectors, and where that goes.
template <Scalar T>
struct ConditionRequest {
  char balancing, sense;
  Int &ilo, &ihi;
  Real<T>*lscale, *rscale, &norm_of_a, &norm_of_b, *of_values, *of_vectors;
  Int* iwork;
  Logical* chosen;  ///< workspace

  bool scales() const { return is_one_of(balancing, 'S', 'B'); }
  bool for_values() const { return is_one_of(sense, 'E', 'B'); }
  bool for_vectors() const { return is_one_of(sense, 'V', 'B'); }
  bool any() const { return for_values() || for_vectors(); }
};

/// For n > 0.
template <Scalar T>
std::int64_t least_workspace(const PencilProblem<T>& p, const ConditionRequest<T>& wanted) {
  const std::int64_t n = p.n;
  if constexpr (RealScalar<T>) {
    if (wanted.for_vectors()) return 2 * n * n + 8 * n + 16;
    if (wanted.for_values()) return 10 * n;
    return wanted.scales() || p.vectors.any() ? 6 * n : 2 * n;
  } else {
    if (wanted.for_vectors()) return 2 * n * n + 2 * n;
    return wanted.for_values() ? 4 * n : 2 * n;
  }
}

/// The scales of balancing stand in arguments of their own.
template <Scalar T>
WorkSize work_size(const PencilProblem<T>& p, const ConditionRequest<T>& wanted) {
  if (p.n == 0) return {};
  const std::int64_t least = least_workspace(p, wanted);
  return {least, std::max(least, best_spine_workspace<T>(p.n))};
}

template <Scalar T>
Int check(const PencilProblem<T>& p, const ConditionRequest<T>& wanted) {
  if (!is_one_of(wanted.balancing, 'N', 'P', 'S', 'B')) return -1;
  if (const Int bad = bad_job(p)) return -(bad + 1);
  if (!is_one_of(wanted.sense, 'N', 'E', 'V', 'B')) return -4;
  return check_sizes(p, 5);
}

template <Scalar T>
Real<T> one_norm(Int n, Matrix<T> A, const NormScaling<Real<T>>& scaling) {
  Real<T> norm = lange('1', n, n, A.data, A.ld, static_cast<Real<T>*>(nullptr));
  scaling.undo(1, &norm);
  return norm;
}

/// tgsna for the eigenvalues i ... i + count - 1, one or a pair. Their condition numbers are not the same for vectors
/// multiplied by Schur vectors, so those of the Schur form are found once more, in workspace. Returns the info of
/// tgevc.
template <Scalar T>
Int find_conditions_of(const PencilSpine<T>& spine, const ConditionRequest<T>& wanted, Int i, Int count) {
  const Int n = spine.order();
  const Matrix<T> S = spine.a(), P = spine.b();
  T *const left = spine.work(), *const right = left + std::ptrdiff_t{count} * n,
           *const rest = right + std::ptrdiff_t{count} * n;
  Int found = 0, info = 0, ignored = 0;
  std::fill_n(wanted.chosen, n, to_logical(false));
  std::fill_n(wanted.chosen + (i - 1), count, to_logical(true));
  if (wanted.for_values()) {
    if constexpr (RealScalar<T>) {
      tgevc('B', 'S', wanted.chosen, n, S.data, S.ld, P.data, P.ld, left, n, right, n, count, found, rest, info);
    } else {
      tgevc('B', 'S', wanted.chosen, n, S.data, S.ld, P.data, P.ld, left, n, right, n, count, found, rest,
            spine.rwork(), info);
    }
  }
  if (info != 0) return info;
  const Int room = spine.lwork() - static_cast<Int>(rest - left);
  tgsna(wanted.sense, 'S', wanted.chosen, n, S.data, S.ld, P.data, P.ld, left, n, right, n, wanted.of_values + (i - 1),
        wanted.of_vectors + (i - 1), count, found, rest, room, wanted.iwork, ignored);
  // The vector of an indefinite eigenvalue is a unit vector of the column it stands in, here always the first one.
  if (wanted.for_values() && count == 1 && is_indefinite(S(i, i), P(i, i))) wanted.of_values[i - 1] = -1;
  return 0;
}

/// Condition numbers one by one, since workspace for all eigenvectors would be 2 n^2 elements more. Returns 0, or the
/// info of the driver.
template <Scalar T>
Int find_conditions(const PencilSpine<T>& spine, const ConditionRequest<T>& wanted) {
  const Int n = spine.order();
  for (Int i = 1, count; i <= n; i += count) {
    count = RealScalar<T> && i < n && spine.a()(i + 1, i) != T(0) ? 2 : 1;
    if (find_conditions_of(spine, wanted, i, count) != 0) return n + 2;
  }
  return 0;
}

/// ggevx in its two members; rwork is for complex ones.
template <Scalar T>
void find_eigenvalues_and_conditions(const PencilProblem<T>& p, const ConditionRequest<T>& wanted, T* work, Int lwork,
                                     Real<T>* rwork, Int& info) {
  const GivenWorkspace<T> room{work, lwork, behind_values<T>(26), work_size(p, wanted)};
  info = check(p, wanted);
  if (!begins(RoutineName<T>("GGEVX"), info, room) || p.n == 0) return;

  PencilSpine<T> spine(p, {wanted.lscale, wanted.rscale, work, lwork, rwork});
  spine.balance(wanted.balancing);
  wanted.ilo = spine.ilo();
  wanted.ihi = spine.ihi();
  wanted.norm_of_a = one_norm(p.n, p.A, spine.scaling_of_a());
  wanted.norm_of_b = one_norm(p.n, p.B, spine.scaling_of_b());
  info = spine.iterate(p.vectors.any() || wanted.any());
  if (info == 0 && wanted.any()) info = find_conditions(spine, wanted);
  if (info == 0 && p.vectors.any()) info = find_eigenvectors(spine);
  spine.unscale_values();
  room.tell_best();
}

}  // namespace

template <RealScalar T>
void ggev(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T* vl, Int ldvl,
          T* vr, Int ldvr, T* work, Int lwork, Int& info) {
  T* const none = nullptr;
  find_eigenvalues<T>({jobvl, jobvr, n, {a, lda}, {b, ldb}, {{alphar, alphai}, beta}, {vl, ldvl}, {vr, ldvr}}, work,
                      lwork, none, info);
}

template <ComplexScalar T>
void ggev(char jobvl, char jobvr, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta, T* vl, Int ldvl, T* vr,
          Int ldvr, T* work, Int lwork, Real<T>* rwork, Int& info) {
  find_eigenvalues<T>({jobvl, jobvr, n, {a, lda}, {b, ldb}, {{alpha}, beta}, {vl, ldvl}, {vr, ldvr}}, work, lwork,
                      rwork, info);
}

template <RealScalar T>
void ggevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai,
           T* beta, T* vl, Int ldvl, T* vr, Int ldvr, Int& ilo, Int& ihi, T* lscale, T* rscale, T& abnrm, T& bbnrm,
           T* rconde, T* rcondv, T* work, Int lwork, Int* iwork, Logical* bwork, Int& info) {
  T* const none = nullptr;
  find_eigenvalues_and_conditions<T>(
      {jobvl, jobvr, n, {a, lda}, {b, ldb}, {{alphar, alphai}, beta}, {vl, ldvl}, {vr, ldvr}},
      {balanc, sense, ilo, ihi, lscale, rscale, abnrm, bbnrm, rconde, rcondv, iwork, bwork}, work, lwork, none, info);
}

template <ComplexScalar T>
void ggevx(char balanc, char jobvl, char jobvr, char sense, Int n, T* a, Int lda, T* b, Int ldb, T* alpha, T* beta,
           T* vl, Int ldvl, T* vr, Int ldvr, Int& ilo, Int& ihi, Real<T>* lscale, Real<T>* rscale, Real<T>& abnrm,
           Real<T>& bbnrm, Real<T>* rconde, Real<T>* rcondv, T* work, Int lwork, Real<T>* rwork, Int* iwork,
           Logical* bwork, Int& info) {
  find_eigenvalues_and_conditions<T>(
      {jobvl, jobvr, n, {a, lda}, {b, ldb}, {{alpha}, beta}, {vl, ldvl}, {vr, ldvr}},
      {balanc, sense, ilo, ihi, lscale, rscale, abnrm, bbnrm, rconde, rcondv, iwork, bwork}, work, lwork, rwork, info);
}

}  // namespace nuv

#include "generalised/general_pencil_eigen.entries.inc"
