#include "symmetric/band_drivers.hpp"

#include "frame/error_report.hpp"
#include "symmetric/band_matrix.hpp"

namespace nuv {
namespace {

bool wants_vectors(char jobz) {
  return same_letter(jobz, 'V');
}

/// 0, or minus the position of the first bad argument of jobz, uplo, n, kd, ab, ldab, w, z, ldz.
template <Scalar T>
Int check_all(char jobz, const BandArguments<T>& A, Int ldz) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (!is_one_of(A.uplo, 'U', 'L')) return -2;
  if (A.n < 0) return -3;
  if (A.kd < 0) return -4;
  if (A.ldab <= A.kd) return -6;
  if (ldz < 1 || (wants_vectors(jobz) && ldz < A.n)) return -9;
  return 0;
}

/// The same for jobz, range, uplo, n, kd, ab, ldab, q, ldq, vl, vu, il, iu, abstol, m, w, z, ldz.
template <Scalar T>
Int check_selected(char jobz, const Selection<Real<T>>& selection, const BandArguments<T>& A, Int ldq, Int ldz) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (!selection.is_known()) return -2;
  if (!is_one_of(A.uplo, 'U', 'L')) return -3;
  if (A.n < 0) return -4;
  if (A.kd < 0) return -5;
  if (A.ldab <= A.kd) return -7;
  if (wants_vectors(jobz) && ldq < std::max(1, A.n)) return -9;
  if (const Int bad_bound = selection.check(A.n, 11); bad_bound != 0) return bad_bound;
  if (ldz < 1 || (wants_vectors(jobz) && ldz < A.n)) return -18;
  return 0;
}

/// sbevd and hbevd.
template <Scalar T>
void drive_by_division(char jobz, const BandArguments<T>& arguments, Real<T>* w, Matrix<T> Z,
                       const DivisionWork<T>& room, Int& info) {
  const bool with_vectors = wants_vectors(jobz);
  const Int n = arguments.n;
  const DivisionSizes least = least_workspaces_of_bands<T>(with_vectors, n);
  info = check_all(jobz, arguments, Z.ld);
  if (info == 0) {
    room.answer(least);
    info = room.check(least, 11);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SBEVD", "HBEVD"), info);
  if (n == 0 || room.is_query()) return;

  Real<T>* e;
  if constexpr (ComplexScalar<T>) {
    e = room.rwork;
  } else {
    e = room.work;
  }
  const DivisionWork<T> behind_e = room.behind(ComplexScalar<T> ? 0 : n, n);
  const BandMatrix<T> A{arguments.narrowed(), with_vectors, Z, behind_e.work};
  solve_by_division(A, n, with_vectors, w, e, Z, behind_e, info);
  room.answer(least);
}

}  // namespace

template <RealScalar T>
void sbev(char jobz, char uplo, Int n, Int kd, T* ab, Int ldab, T* w, T* z, Int ldz, T* work, Int& info) {
  const BandArguments<T> arguments{uplo, n, kd, ab, ldab};
  info = check_all(jobz, arguments, ldz);
  if (info != 0) return report_bad_argument<T>("SBEV", info);
  if (n == 0) return;
  const bool with_vectors = wants_vectors(jobz);
  T *const e = work, *const rest = e + n;
  solve_by_iteration<T>(BandMatrix<T>{arguments.narrowed(), with_vectors, {z, ldz}, rest}, n, with_vectors, w, e,
                        {z, ldz}, rest, info);
}

template <ComplexScalar T>
void hbev(char jobz, char uplo, Int n, Int kd, T* ab, Int ldab, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork,
          Int& info) {
  const BandArguments<T> arguments{uplo, n, kd, ab, ldab};
  info = check_all(jobz, arguments, ldz);
  if (info != 0) return report_bad_argument<T>("HBEV", info);
  if (n == 0) return;
  const bool with_vectors = wants_vectors(jobz);
  solve_by_iteration<T>(BandMatrix<T>{arguments.narrowed(), with_vectors, {z, ldz}, work}, n, with_vectors, w, rwork,
                        {z, ldz}, rwork + n, info);
}

template <RealScalar T>
void sbevd(char jobz, char uplo, Int n, Int kd, T* ab, Int ldab, T* w, T* z, Int ldz, T* work, Int lwork, Int* iwork,
           Int liwork, Int& info) {
  drive_by_division<T>(jobz, {uplo, n, kd, ab, ldab}, w, {z, ldz}, {work, lwork, nullptr, 0, iwork, liwork}, info);
}

template <ComplexScalar T>
void hbevd(char jobz, char uplo, Int n, Int kd, T* ab, Int ldab, Real<T>* w, T* z, Int ldz, T* work, Int lwork,
           Real<T>* rwork, Int lrwork, Int* iwork, Int liwork, Int& info) {
  drive_by_division<T>(jobz, {uplo, n, kd, ab, ldab}, w, {z, ldz}, {work, lwork, rwork, lrwork, iwork, liwork}, info);
}

template <RealScalar T>
void sbevx(char jobz, char range, char uplo, Int n, Int kd, T* ab, Int ldab, T* q, Int ldq, T vl, T vu, Int il, Int iu,
           T abstol, Int& m, T* w, T* z, Int ldz, T* work, Int* iwork, Int* ifail, Int& info) {
  const BandArguments<T> arguments{uplo, n, kd, ab, ldab};
  const Selection<T> selection{range, vl, vu, il, iu};
  info = check_selected(jobz, selection, arguments, ldq, ldz);
  if (info != 0) return report_bad_argument<T>("SBEVX", info);
  m = 0;
  if (n == 0) return;
  const bool with_vectors = wants_vectors(jobz);
  T *const d = work, *const e = d + n, *const rest = e + n;
  solve_for_selected<T>(BandMatrix<T>{arguments.narrowed(), with_vectors, {q, ldq}, rest}, n,
                        {with_vectors, selection, abstol}, m, w, {z, ldz}, {d, e, rest, iwork}, ifail, info);
}

template <ComplexScalar T>
void hbevx(char jobz, char range, char uplo, Int n, Int kd, T* ab, Int ldab, T* q, Int ldq, Real<T> vl, Real<T> vu,
           Int il, Int iu, Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork, Int* iwork,
           Int* ifail, Int& info) {
  using R = Real<T>;
  const BandArguments<T> arguments{uplo, n, kd, ab, ldab};
  const Selection<R> selection{range, vl, vu, il, iu};
  info = check_selected(jobz, selection, arguments, ldq, ldz);
  if (info != 0) return report_bad_argument<T>("HBEVX", info);
  m = 0;
  if (n == 0) return;
  const bool with_vectors = wants_vectors(jobz);
  R *const d = rwork, *const e = d + n, *const rest = e + n;
  solve_for_selected<T>(BandMatrix<T>{arguments.narrowed(), with_vectors, {q, ldq}, work}, n,
                        {with_vectors, selection, abstol}, m, w, {z, ldz}, {d, e, rest, iwork}, ifail, info);
}

}  // namespace nuv

#include "symmetric/band_drivers.entries.inc"
