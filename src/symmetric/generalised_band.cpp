#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/error_report.hpp"
#include "symmetric/band_matrix.hpp"
#include "symmetric/generalised_band_reduction.hpp"
#include "symmetric/generalised_drivers.hpp"
#include "symmetric/split_cholesky.hpp"

namespace nuv {
namespace {

template <Scalar T>
struct BandPair {
  char jobz, uplo;
  Int n, ka, kb;
  T* ab;
  Int ldab;
  T* bb;
  Int ldbb;

  bool with_vectors() const { return same_letter(jobz, 'V'); }
  bool is_place_for_vectors(Int ld) const { return ld >= 1 && (!with_vectors() || ld >= n); }

  /// 0, or minus the position of the first bad argument of uplo, n, ka, kb, ab, ldab, bb, ldbb, the first of which has
  /// the position that is given.
  Int check_matrices(Int position) const {
    if (!is_one_of(uplo, 'U', 'L')) return -position;
    if (n < 0) return -(position + 1);
    if (ka < 0) return -(position + 2);
    if (kb < 0 || kb > ka) return -(position + 3);
    if (ldab <= ka) return -(position + 5);
    if (ldbb <= kb) return -(position + 7);
    return 0;
  }

  /// The same for jobz, those, w, z, ldz.
  Int check(Int ldz) const {
    if (!is_one_of(jobz, 'N', 'V')) return -1;
    if (const Int bad = check_matrices(2); bad != 0) return bad;
    return is_place_for_vectors(ldz) ? 0 : -12;
  }

  /// The same for jobz, range, those of the matrices, q, ldq, vl, vu, il, iu, abstol, m, w, z, ldz.
  Int check(const Selection<Real<T>>& selection, Int ldq, Int ldz) const {
    if (!is_one_of(jobz, 'N', 'V')) return -1;
    if (!selection.is_known()) return -2;
    if (const Int bad = check_matrices(3); bad != 0) return bad;
    if (!is_place_for_vectors(ldq)) return -12;
    if (const Int bad_bound = selection.check(n, 14); bad_bound != 0) return bad_bound;
    return is_place_for_vectors(ldz) ? 0 : -21;
  }

  /// Factors B and makes of A the matrix of the reduced problem, and X for 'V'; false, with info, if B is not positive
  /// definite. work and rwork are as of sbgst and hbgst.
  bool reduce(Matrix<T> X, T* work, [[maybe_unused]] Real<T>* rwork, Int& info) const {
    pbstf(uplo, n, kb, bb, ldbb, info);
    if (info != 0) {
      info += n;
      return false;
    }
    if constexpr (ComplexScalar<T>) {
      hbgst(jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb, X.data, X.ld, work, rwork, info);
    } else {
      sbgst(jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb, X.data, X.ld, work, info);
    }
    return true;
  }
};

/// The matrix of the reduced problem, which is not scaled. Q holds X before its reduction, and the product of both
/// after it. A problem of order one is solved by then.
template <Scalar T>
struct ReducedPair : BandMatrix<T> {
  ReducedPair(const BandPair<T>& pair, Matrix<T> X, T* work)
      : BandMatrix<T>{BandArguments<T>{pair.uplo, pair.n, pair.ka, pair.ab, pair.ldab}.narrowed(), pair.with_vectors(),
                      X, work} {}

  Real<T> largest() const { return 1; }

  void reduce(Real<T>* d, Real<T>* e) const { this->reduce_with('U', d, e); }
};

/// sbgv and hbgv.
template <Scalar T>
void drive_by_iteration(const BandPair<T>& pair, Real<T>* w, Matrix<T> Z, T* work, Real<T>* e, Real<T>* rest,
                        Int& info) {
  if (!pair.reduce(Z, work, rest, info)) return;
  const ReducedPair<T> A(pair, Z, work);
  if (pair.n == 1) w[0] = A.first();
  else solve_by_iteration<T>(A, pair.n, pair.with_vectors(), w, e, Z, rest, info);
}

/// sbgvd and hbgvd.
template <Scalar T>
void drive_by_division(const BandPair<T>& pair, Real<T>* w, Matrix<T> Z, const DivisionWork<T>& room, Int& info) {
  info = pair.check(Z.ld);
  const DivisionSizes least = least_workspaces_of_bands<T>(pair.with_vectors(), pair.n);
  if (info == 0) {
    room.answer(least);
    info = room.check(least, 14);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SBGVD", "HBGVD"), info);
  if (pair.n == 0 || room.is_query()) return;

  Real<T>* e;
  if constexpr (ComplexScalar<T>) {
    e = room.rwork;
  } else {
    e = room.work;
  }
  const DivisionWork<T> behind_e = room.behind(ComplexScalar<T> ? 0 : pair.n, pair.n);
  if (pair.reduce(Z, room.work, room.rwork, info)) {
    const ReducedPair<T> A(pair, Z, behind_e.work);
    if (pair.n == 1) w[0] = A.first();
    else solve_by_division(A, pair.n, pair.with_vectors(), w, e, Z, behind_e, info);
  }
  room.answer(least);
}

/// sbgvx and hbgvx.
template <Scalar T>
void drive_for_selected(const BandPair<T>& pair, Matrix<T> Q, const SelectedProblem<Real<T>>& problem, Int& m,
                        Real<T>* w, Matrix<T> Z, T* work, const SelectionWork<Real<T>>& reals, Int* ifail, Int& info) {
  if (!pair.reduce(Q, work, reals.d, info)) return;
  const ReducedPair<T> A(pair, Q, work);
  if (pair.n > 1) return solve_for_selected<T>(A, pair.n, problem, m, w, Z, reals, ifail, info);
  w[0] = A.first();
  m = problem.selection.takes_only(w[0]) ? 1 : 0;
  if (pair.with_vectors()) Z(1, 1) = Q(1, 1), ifail[0] = 0;
}

}  // namespace

template <RealScalar T>
void sbgv(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* w, T* z, Int ldz, T* work,
          Int& info) {
  const BandPair<T> pair{jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb};
  info = pair.check(ldz);
  if (info != 0) return report_bad_argument<T>("SBGV", info);
  if (n > 0) drive_by_iteration<T>(pair, w, {z, ldz}, work + n, work, work + n, info);
}

template <ComplexScalar T>
void hbgv(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, Real<T>* w, T* z, Int ldz,
          T* work, Real<T>* rwork, Int& info) {
  const BandPair<T> pair{jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb};
  info = pair.check(ldz);
  if (info != 0) return report_bad_argument<T>("HBGV", info);
  if (n > 0) drive_by_iteration<T>(pair, w, {z, ldz}, work, rwork, rwork + n, info);
}

template <RealScalar T>
void sbgvd(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* w, T* z, Int ldz, T* work,
           Int lwork, Int* iwork, Int liwork, Int& info) {
  drive_by_division<T>({jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb}, w, {z, ldz},
                       {work, lwork, nullptr, 0, iwork, liwork}, info);
}

template <ComplexScalar T>
void hbgvd(char jobz, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, Real<T>* w, T* z, Int ldz,
           T* work, Int lwork, Real<T>* rwork, Int lrwork, Int* iwork, Int liwork, Int& info) {
  drive_by_division<T>({jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb}, w, {z, ldz},
                       {work, lwork, rwork, lrwork, iwork, liwork}, info);
}

template <RealScalar T>
void sbgvx(char jobz, char range, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* q, Int ldq,
           T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z, Int ldz, T* work, Int* iwork, Int* ifail,
           Int& info) {
  const BandPair<T> pair{jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb};
  const Selection<T> selection{range, vl, vu, il, iu};
  info = pair.check(selection, ldq, ldz);
  if (info != 0) return report_bad_argument<T>("SBGVX", info);
  m = 0;
  if (n == 0) return;
  T *const d = work, *const e = d + n, *const rest = e + n;
  drive_for_selected<T>(pair, {q, ldq}, {pair.with_vectors(), selection, abstol}, m, w, {z, ldz}, rest,
                        {d, e, rest, iwork}, ifail, info);
}

template <ComplexScalar T>
void hbgvx(char jobz, char range, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, T* bb, Int ldbb, T* q, Int ldq,
           Real<T> vl, Real<T> vu, Int il, Int iu, Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work,
           Real<T>* rwork, Int* iwork, Int* ifail, Int& info) {
  using R = Real<T>;
  const BandPair<T> pair{jobz, uplo, n, ka, kb, ab, ldab, bb, ldbb};
  const Selection<R> selection{range, vl, vu, il, iu};
  info = pair.check(selection, ldq, ldz);
  if (info != 0) return report_bad_argument<T>("HBGVX", info);
  m = 0;
  if (n == 0) return;
  R *const d = rwork, *const e = d + n, *const rest = e + n;
  drive_for_selected<T>(pair, {q, ldq}, {pair.with_vectors(), selection, abstol}, m, w, {z, ldz}, work,
                        {d, e, rest, iwork}, ifail, info);
}

}  // namespace nuv

#include "symmetric/generalised_band.entries.inc"
