#include "symmetric/dense_drivers.hpp"

#include <nuv/nuv_services.h>

#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "symmetric/full_matrix.hpp"
#include "symmetric/two_stage.hpp"

namespace nuv {
namespace {

bool wants_vectors(char jobz) {
  return same_letter(jobz, 'V');
}

/// 0, or minus the position of the first bad argument of jobz, uplo, n, a, lda.
Int check_all(char jobz, char uplo, Int n, Int lda) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (n < 0) return -3;
  if (lda < std::max(1, n)) return -5;
  return 0;
}

// ---------------------------------------------------------------------------------------------- QL and QR iteration

/// Elements of workspace beside what the reduction has: in complex precisions e stands in real workspace.
template <Scalar T>
constexpr std::int64_t before_reduction(Int n) {
  return (ComplexScalar<T> ? 1 : 2) * std::int64_t{n};
}

/// The way to tridiagonal form.
struct Path {
  Int kd;                   ///< diagonals of the band on the way, 0 for none
  std::int64_t best_lwork;  ///< at least 1

  bool fits(Int lwork) const { return lwork >= best_lwork; }
};

template <Scalar T>
Path choose_path(char jobz, char uplo, Int n) {
  const Int threads = nuv_serv_nuv_get_max_threads();
  const Int least_order = Tuning<T>{name_of<T>("SYEV", "HEEV"), {&jobz, 1}, threads}.crossover();
  Path path{0, 0};
  if (least_order <= n) {
    const Tuning<T> tuning{.name = name_of<T>("SYRDB", "HERDB"), .n1 = n, .n2 = threads};
    path.kd = std::min(n - 1, tuning.block_size());
    path.best_lwork = (3 * std::int64_t{path.kd} + 3) * n + before_reduction<T>(n);
  } else {
    path.best_lwork = best_work_of_reduction<T>(uplo, n) + before_reduction<T>(n);
  }
  path.best_lwork = std::max<std::int64_t>(path.best_lwork, 1);
  return path;
}

/// A matrix that makes room for its Q, and may go the way of a band.
template <Scalar T>
struct MatrixInPlace : FullMatrix<T> {
  char jobz;
  Int kd;

  void reduce(Real<T>* d, Real<T>* e) const {
    if (kd == 0) return FullMatrix<T>::reduce(d, e);
    Int ignored = 0;
    syrdb(jobz, this->uplo, this->n, kd, this->A.data, this->A.ld, d, e, this->tau, this->A.data, this->A.ld,
          this->work, this->lwork, ignored);
  }

  /// The way of a band ends with it.
  void form_q(Matrix<T> Z) const {
    if (kd == 0) FullMatrix<T>::form_q(Z);
  }
};

/// syev and heev; rwork is for complex matrices alone.
template <Scalar T>
void drive_by_iteration(char jobz, char uplo, Int n, Matrix<T> A, Real<T>* w, T* work, Int lwork, Real<T>* rwork,
                        Int& info) {
  const std::int64_t least_lwork = std::max<std::int64_t>((ComplexScalar<T> ? 2 : 3) * std::int64_t{n} - 1, 1);
  info = check_all(jobz, uplo, n, A.ld);
  if (info == 0 && lwork < least_lwork && lwork != -1) info = -8;
  if (info != 0) return report_bad_argument(name_of<T>("SYEV", "HEEV"), info);

  const Path path = choose_path<T>(jobz, uplo, n);
  work[0] = as_work_size<T>(path.best_lwork);
  if (lwork == -1) return;
  if (n == 0) {
    work[0] = T(1);
    return;
  }
  T* const tau = work + (ComplexScalar<T> ? 0 : n);
  const std::int64_t before = before_reduction<T>(n);
  const MatrixInPlace<T> matrix{
      {uplo, n, A, tau, work + before, static_cast<Int>(lwork - before)}, jobz, path.fits(lwork) ? path.kd : 0};
  Real<T>* e;
  if constexpr (ComplexScalar<T>) {
    e = rwork;
  } else {
    e = work;
  }
  solve_by_iteration(matrix, n, wants_vectors(jobz), w, e, A, e + n, info);
  work[0] = n == 1 ? T(3) : as_work_size<T>(path.best_lwork);
}

// ----------------------------------------------------------------------------------------------- divide and conquer

template <Scalar T>
DivisionSizes least_workspaces(bool with_vectors, std::int64_t n) {
  if (n <= 1) return {1, 1, 1};
  if constexpr (ComplexScalar<T>) {
    return with_vectors ? DivisionSizes{n * n + 2 * n, 2 * n * n + 5 * n + 1, 5 * n + 3} : DivisionSizes{n + 1, n, 1};
  } else {
    return with_vectors ? DivisionSizes{2 * n * n + 6 * n + 1, 0, 5 * n + 3} : DivisionSizes{2 * n + 1, 0, 1};
  }
}

/// The best workspace where the reduction does its best with `reduction` elements. Products with Q have what is left
/// beside the eigenvectors: in real precisions that is always enough.
template <Scalar T>
std::int64_t best_workspace(bool with_vectors, char uplo, Int n, std::int64_t reduction) {
  const std::int64_t least = least_workspaces<T>(with_vectors, n).work, before = before_reduction<T>(n);
  if (n <= 1) return least;
  std::int64_t best = std::max(least, before + std::max<std::int64_t>(1, reduction));
  if (with_vectors && ComplexScalar<T>) {
    best = std::max(best, before + (std::int64_t{n} + widest_block<T>(uplo, n)) * n);
  }
  return best;
}

/// syevd and heevd.
template <Scalar T>
void drive_by_division(char jobz, char uplo, Int n, Matrix<T> A, Real<T>* w, const DivisionWork<T>& room, Int& info) {
  const bool with_vectors = wants_vectors(jobz);
  const DivisionSizes least = least_workspaces<T>(with_vectors, n);
  const std::int64_t reduction = with_vectors || n <= 1 ? 0 : best_work_of_reduction<T>('L', n);
  DivisionSizes best = least;
  best.work = best_workspace<T>(with_vectors, uplo, n, reduction);
  info = check_all(jobz, uplo, n, A.ld);
  if (info == 0) {
    room.answer(best);
    info = room.check(least, 8);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SYEVD", "HEEVD"), info);
  if (n == 0 || room.is_query()) return;

  Real<T>* e;
  T* tau;
  if constexpr (ComplexScalar<T>) {
    e = room.rwork;
    tau = room.work;
  } else {
    e = room.work;
    tau = room.work + n;
  }
  const DivisionWork<T> rest = room.behind(before_reduction<T>(n), n);
  FullMatrix<T> matrix{uplo, n, A, tau, rest.work, rest.lwork};
  solve_for_all(matrix, n, with_vectors, w, e, A, info, [&] {
    const Matrix<T> Z{rest.work, n};
    const DivisionWork<T> tail = rest.behind(std::ptrdiff_t{n} * n, 0);
    divide_and_conquer(n, w, e, Z, tail, info);
    matrix.work = tail.work;
    matrix.lwork = tail.lwork;
    matrix.apply_q(n, Z);
    lacpy('A', n, n, Z.data, Z.ld, A.data, A.ld);
  });
  best.work = best_workspace<T>(with_vectors, uplo, n, n == 1 ? 0 : best_work_of_reduction<T>(uplo, n));
  room.answer(best);
}

// ------------------------------------------------------------------------------------ bisection and inverse iteration

/// syevx and heevx.
template <Scalar T>
void drive_for_selected(char jobz, const Selection<Real<T>>& selection, char uplo, Int n, Matrix<T> A, Real<T> abstol,
                        Int& m, Real<T>* w, Matrix<T> Z, T* work, Int lwork, Real<T>* rwork, Int* iwork, Int* ifail,
                        Int& info) {
  using R = Real<T>;
  constexpr bool is_complex = ComplexScalar<T>;
  const std::int64_t least_lwork = n <= 1 ? 1 : (is_complex ? 2 : 8) * std::int64_t{n};
  std::int64_t best_lwork = least_lwork;
  info = check_selected(jobz, selection, uplo, n, A, Z);
  if (info == 0) {
    if (n > 1) best_lwork = std::max(best_lwork, (widest_block<T>(uplo, n) + (is_complex ? 1 : 3)) * std::int64_t{n});
    work[0] = as_work_size<T>(best_lwork);
    if (lwork < least_lwork && lwork != -1) info = -17;
  }
  if (info != 0) return report_bad_argument(name_of<T>("SYEVX", "HEEVX"), info);
  if (lwork == -1) return;
  m = 0;
  if (n == 0) return;

  T* const tau = work;
  R *d, *e;
  if constexpr (is_complex) {
    d = rwork;
    e = d + n;
  } else {
    e = work + n;
    d = e + n;
  }
  R* const rest = (is_complex ? e : d) + n;
  const std::ptrdiff_t before = (is_complex ? 1 : 3) * std::ptrdiff_t{n};
  const FullMatrix<T> matrix{uplo, n, A, tau, work + before, static_cast<Int>(lwork - before)};
  solve_for_selected<T>(matrix, n, {wants_vectors(jobz), selection, abstol}, m, w, Z, {d, e, rest, iwork}, ifail, info);
  work[0] = as_work_size<T>(best_lwork);
}

}  // namespace

template <RealScalar T>
void syev(char jobz, char uplo, Int n, T* a, Int lda, T* w, T* work, Int lwork, Int& info) {
  drive_by_iteration<T>(jobz, uplo, n, {a, lda}, w, work, lwork, nullptr, info);
}

template <ComplexScalar T>
void heev(char jobz, char uplo, Int n, T* a, Int lda, Real<T>* w, T* work, Int lwork, Real<T>* rwork, Int& info) {
  drive_by_iteration<T>(jobz, uplo, n, {a, lda}, w, work, lwork, rwork, info);
}

template <RealScalar T>
void syevd(char jobz, char uplo, Int n, T* a, Int lda, T* w, T* work, Int lwork, Int* iwork, Int liwork, Int& info) {
  drive_by_division<T>(jobz, uplo, n, {a, lda}, w, {work, lwork, nullptr, 0, iwork, liwork}, info);
}

template <ComplexScalar T>
void heevd(char jobz, char uplo, Int n, T* a, Int lda, Real<T>* w, T* work, Int lwork, Real<T>* rwork, Int lrwork,
           Int* iwork, Int liwork, Int& info) {
  drive_by_division<T>(jobz, uplo, n, {a, lda}, w, {work, lwork, rwork, lrwork, iwork, liwork}, info);
}

template <RealScalar T>
void syevx(char jobz, char range, char uplo, Int n, T* a, Int lda, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w,
           T* z, Int ldz, T* work, Int lwork, Int* iwork, Int* ifail, Int& info) {
  drive_for_selected<T>(jobz, {range, vl, vu, il, iu}, uplo, n, {a, lda}, abstol, m, w, {z, ldz}, work, lwork, nullptr,
                        iwork, ifail, info);
}

template <ComplexScalar T>
void heevx(char jobz, char range, char uplo, Int n, T* a, Int lda, Real<T> vl, Real<T> vu, Int il, Int iu,
           Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork, Int* iwork,
           Int* ifail, Int& info) {
  drive_for_selected<T>(jobz, {range, vl, vu, il, iu}, uplo, n, {a, lda}, abstol, m, w, {z, ldz}, work, lwork, rwork,
                        iwork, ifail, info);
}

}  // namespace nuv

#include "symmetric/dense_drivers.entries.inc"
