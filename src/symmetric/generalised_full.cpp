#include <algorithm>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "symmetric/dense_drivers.hpp"
#include "symmetric/driver_methods.hpp"
#include "symmetric/generalised_drivers.hpp"
#include "symmetric/generalised_pair.hpp"
#include "symmetric/generalised_reduction.hpp"

namespace nuv {
namespace {

template <Scalar T>
struct FullPair : PairOptions {
  Matrix<T> A, B;

  /// 0, or minus the position of the first bad argument of itype, jobz, uplo, n, a, lda, b, ldb.
  Int check() const {
    if (const Int bad = PairOptions::check(); bad != 0) return bad;
    if (A.ld < std::max(1, n)) return -6;
    if (B.ld < std::max(1, n)) return -8;
    return 0;
  }

  /// The same with range behind jobz, and then vl, vu, il, iu, abstol, m, w, z, ldz.
  Int check(const Selection<Real<T>>& selection, Int ldz) const {
    if (const Int bad = PairOptions::check(selection.is_known()); bad != 0) return bad;
    if (A.ld < std::max(1, n)) return -7;
    if (B.ld < std::max(1, n)) return -9;
    if (const Int bad_bound = selection.check(n, 11); bad_bound != 0) return bad_bound;
    return is_place_for_vectors(ldz) ? 0 : -18;
  }

  void factor_b(Int& info) const { layer::potrf(uplo, n, B, info); }
  void reduce_a(Int& info) const { sygst(itype, uplo, n, A.data, A.ld, B.data, B.ld, info); }

  void transform_back(Int m, Matrix<T> Z) const {
    const auto [by_solve, trans] = back_transformation<T>();
    if (by_solve) blas::trsm('L', uplo, trans, 'N', n, m, T(1), B, Z);
    else blas::trmm('L', uplo, trans, 'N', n, m, T(1), B, Z);
  }
};

/// A workspace of syev and its kin, in lines of n elements and some: (lines + block width) n is the best.
template <Scalar T>
std::int64_t best_workspace(const PairOptions& pair, Int lines) {
  const Int nb = Tuning<T>{name_of<T>("SYTRD", "HETRD"), {&pair.uplo, 1}, pair.n}.block_size();
  return std::max<std::int64_t>(1, (std::int64_t{nb} + lines) * pair.n);
}

/// Tells the caller the best workspace; 0, or minus the position of lwork if it is less than the least.
template <Scalar T>
Int check_workspace(std::int64_t least, std::int64_t best, T* work, Int lwork, Int position) {
  work[0] = as_work_size<T>(best);
  return lwork < std::max<std::int64_t>(1, least) && lwork != -1 ? -position : 0;
}

// ------------------------------------------------------------------------------------------------ QL and QR iteration

/// sygv and hegv; rwork is for complex matrices alone.
template <Scalar T>
void drive_by_iteration(const FullPair<T>& pair, Real<T>* w, T* work, Int lwork, [[maybe_unused]] Real<T>* rwork,
                        Int& info) {
  const auto [itype, jobz, uplo, n] = static_cast<const PairOptions&>(pair);
  constexpr Int lines = ComplexScalar<T> ? 1 : 2;
  info = pair.check();
  std::int64_t best = 0;
  if (info == 0) {
    best = best_workspace<T>(pair, lines);
    info = check_workspace(std::int64_t{lines + 1} * n - 1, best, work, lwork, 11);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SYGV", "HEGV"), info);
  if (lwork == -1 || n == 0) return;
  solve_pair(pair, pair.A, info, [&] {
    if constexpr (ComplexScalar<T>) {
      heev(pair.jobz, pair.uplo, pair.n, pair.A.data, pair.A.ld, w, work, lwork, rwork, info);
    } else {
      syev(pair.jobz, pair.uplo, pair.n, pair.A.data, pair.A.ld, w, work, lwork, info);
    }
    return info > 0 ? info - 1 : pair.n;
  });
  work[0] = as_work_size<T>(best);
}

// ------------------------------------------------------------------------------------------------- divide and conquer

template <Scalar T>
void solve_by_division(const FullPair<T>& pair, Real<T>* w, const DivisionWork<T>& room, Int& info) {
  if constexpr (ComplexScalar<T>) {
    heevd(pair.jobz, pair.uplo, pair.n, pair.A.data, pair.A.ld, w, room.work, room.lwork, room.rwork, room.lrwork,
          room.iwork, room.liwork, info);
  } else {
    syevd(pair.jobz, pair.uplo, pair.n, pair.A.data, pair.A.ld, w, room.work, room.lwork, room.iwork, room.liwork,
          info);
  }
}

template <Scalar T>
DivisionSizes least_workspaces(bool with_vectors, std::int64_t n) {
  if (n <= 1) return {1, 1, 1};
  if constexpr (ComplexScalar<T>) {
    return with_vectors ? DivisionSizes{n * n + 2 * n, 2 * n * n + 5 * n + 1, 5 * n + 3} : DivisionSizes{n + 1, n, 1};
  } else {
    return with_vectors ? DivisionSizes{2 * n * n + 6 * n + 1, 0, 5 * n + 3} : DivisionSizes{2 * n + 1, 0, 1};
  }
}

/// The workspace that the driver of one matrix asks for.
template <Scalar T>
std::int64_t workspace_asked_for(const FullPair<T>& pair) {
  T work;
  Real<T> rwork;
  Int iwork, ignored;
  solve_by_division<T>(pair, nullptr, {&work, -1, &rwork, -1, &iwork, -1}, ignored);
  return static_cast<std::int64_t>(std::real(work));
}

/// sygvd and hegvd.
template <Scalar T>
void drive_by_division(const FullPair<T>& pair, Real<T>* w, const DivisionWork<T>& room, Int& info) {
  info = pair.check();
  DivisionSizes best{};
  if (info == 0) {
    const DivisionSizes least = least_workspaces<T>(pair.with_vectors(), pair.n);
    best = least;
    best.work = std::max(best.work, workspace_asked_for(pair));
    room.answer(best);
    info = room.check(least, 11);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SYGVD", "HEGVD"), info);
  if (pair.n == 0 || room.is_query()) return;
  solve_pair(pair, pair.A, info, [&] {
    solve_by_division(pair, w, room, info);
    return pair.n;
  });
  room.answer(best);
}

// ------------------------------------------------------------------------------------- bisection and inverse iteration

/// sygvx and hegvx; rwork is for complex matrices alone.
template <Scalar T>
void drive_for_selected(const FullPair<T>& pair, const Selection<Real<T>>& selection, Real<T> abstol, Int& m,
                        Real<T>* w, Matrix<T> Z, T* work, Int lwork, [[maybe_unused]] Real<T>* rwork, Int* iwork,
                        Int* ifail, Int& info) {
  const std::int64_t least = (ComplexScalar<T> ? 2 : 8) * std::int64_t{pair.n};
  std::int64_t best = 0;
  info = pair.check(selection, Z.ld);
  if (info == 0) {
    best = std::max(least, best_workspace<T>(pair, ComplexScalar<T> ? 1 : 3));
    info = check_workspace(least, best, work, lwork, 20);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SYGVX", "HEGVX"), info);
  if (lwork == -1) return;
  m = 0;
  if (pair.n == 0) return;
  solve_pair(pair, Z, info, [&] {
    if constexpr (ComplexScalar<T>) {
      heevx(pair.jobz, selection.range, pair.uplo, pair.n, pair.A.data, pair.A.ld, selection.vl, selection.vu,
            selection.il, selection.iu, abstol, m, w, Z.data, Z.ld, work, lwork, rwork, iwork, ifail, info);
    } else {
      syevx(pair.jobz, selection.range, pair.uplo, pair.n, pair.A.data, pair.A.ld, selection.vl, selection.vu,
            selection.il, selection.iu, abstol, m, w, Z.data, Z.ld, work, lwork, iwork, ifail, info);
    }
    return m;
  });
  work[0] = as_work_size<T>(best);
}

}  // namespace

template <RealScalar T>
void sygv(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, T* w, T* work, Int lwork, Int& info) {
  drive_by_iteration<T>({{itype, jobz, uplo, n}, {a, lda}, {b, ldb}}, w, work, lwork, nullptr, info);
}

template <ComplexScalar T>
void hegv(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, Real<T>* w, T* work, Int lwork,
          Real<T>* rwork, Int& info) {
  drive_by_iteration<T>({{itype, jobz, uplo, n}, {a, lda}, {b, ldb}}, w, work, lwork, rwork, info);
}

template <RealScalar T>
void sygvd(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, T* w, T* work, Int lwork, Int* iwork,
           Int liwork, Int& info) {
  drive_by_division<T>({{itype, jobz, uplo, n}, {a, lda}, {b, ldb}}, w, {work, lwork, nullptr, 0, iwork, liwork}, info);
}

template <ComplexScalar T>
void hegvd(Int itype, char jobz, char uplo, Int n, T* a, Int lda, T* b, Int ldb, Real<T>* w, T* work, Int lwork,
           Real<T>* rwork, Int lrwork, Int* iwork, Int liwork, Int& info) {
  drive_by_division<T>({{itype, jobz, uplo, n}, {a, lda}, {b, ldb}}, w, {work, lwork, rwork, lrwork, iwork, liwork},
                       info);
}

template <RealScalar T>
void sygvx(Int itype, char jobz, char range, char uplo, Int n, T* a, Int lda, T* b, Int ldb, T vl, T vu, Int il, Int iu,
           T abstol, Int& m, T* w, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int* ifail, Int& info) {
  drive_for_selected<T>({{itype, jobz, uplo, n}, {a, lda}, {b, ldb}}, {range, vl, vu, il, iu}, abstol, m, w, {z, ldz},
                        work, lwork, nullptr, iwork, ifail, info);
}

template <ComplexScalar T>
void hegvx(Int itype, char jobz, char range, char uplo, Int n, T* a, Int lda, T* b, Int ldb, Real<T> vl, Real<T> vu,
           Int il, Int iu, Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork,
           Int* iwork, Int* ifail, Int& info) {
  drive_for_selected<T>({{itype, jobz, uplo, n}, {a, lda}, {b, ldb}}, {range, vl, vu, il, iu}, abstol, m, w, {z, ldz},
                        work, lwork, rwork, iwork, ifail, info);
}

}  // namespace nuv

#include "symmetric/generalised_full.entries.inc"
