#include "symmetric/packed_drivers.hpp"

#include "environment/norms_symmetric.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "symmetric/driver_methods.hpp"
#include "symmetric/packed_q.hpp"

namespace nuv {
namespace {

/// A matrix as the methods of the drivers see it.
///
/// tau     n elements;  work  n elements
template <Scalar T>
struct PackedMatrix {
  char uplo;
  Int n;
  T* ap;
  T* tau;
  T* work;

  Real<T> largest() const {
    if constexpr (ComplexScalar<T>) {
      return lanhp<T>('M', uplo, n, ap, nullptr);
    } else {
      return lansp<T>('M', uplo, n, ap, nullptr);
    }
  }

  Real<T> first() const { return std::real(ap[0]); }

  void scale(const RangeScaling<Real<T>>& scaling) const { scaling.apply(std::ptrdiff_t{n} * (n + 1) / 2, ap); }

  void reduce(Real<T>* d, Real<T>* e) const {
    Int ignored = 0;
    layer::sptrd(uplo, n, ap, d, e, tau, ignored);
  }

  void form_q(Matrix<T> Z) const {
    Int ignored = 0;
    opgtr(uplo, n, ap, tau, Z.data, Z.ld, work, ignored);
  }

  void apply_q(Int m, Matrix<T> Z) const {
    Int ignored = 0;
    opmtr('L', uplo, 'N', n, m, ap, tau, Z.data, Z.ld, work, ignored);
  }
};

bool wants_vectors(char jobz) {
  return same_letter(jobz, 'V');
}

/// 0, or minus the position of the first bad argument of jobz, uplo, n, ap, w, z, ldz.
Int check_all(char jobz, char uplo, Int n, Int ldz) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (n < 0) return -3;
  if (ldz < 1 || (wants_vectors(jobz) && ldz < n)) return -7;
  return 0;
}

/// The same for jobz, range, uplo, n, ap, vl, vu, il, iu, abstol, m, w, z, ldz.
template <RealScalar R>
Int check_selected(char jobz, const Selection<R>& selection, char uplo, Int n, Int ldz) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (!selection.is_known()) return -2;
  if (!is_one_of(uplo, 'U', 'L')) return -3;
  if (n < 0) return -4;
  if (const Int bad_bound = selection.check(n, 7); bad_bound != 0) return bad_bound;
  if (ldz < 1 || (wants_vectors(jobz) && ldz < n)) return -14;
  return 0;
}

template <Scalar T>
DivisionSizes least_workspaces(bool with_vectors, std::int64_t n) {
  if (n <= 1) return {1, 1, 1};
  if constexpr (ComplexScalar<T>) {
    return with_vectors ? DivisionSizes{2 * n, 1 + 5 * n + 2 * n * n, 3 + 5 * n} : DivisionSizes{n, n, 1};
  } else {
    return with_vectors ? DivisionSizes{1 + 6 * n + n * n, 0, 3 + 5 * n} : DivisionSizes{2 * n, 0, 1};
  }
}

/// spevd and hpevd.
template <Scalar T>
void solve_by_division(char jobz, char uplo, Int n, T* ap, Real<T>* w, Matrix<T> Z, const DivisionWork<T>& room,
                       Int& info) {
  const bool with_vectors = wants_vectors(jobz);
  const DivisionSizes least = least_workspaces<T>(with_vectors, n);
  info = check_all(jobz, uplo, n, Z.ld);
  if (info == 0) {
    room.answer(least);
    info = room.check(least, 9);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SPEVD", "HPEVD"), info);
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
  const DivisionWork<T> rest = room.behind(ComplexScalar<T> ? n : 2 * std::ptrdiff_t{n}, n);
  const PackedMatrix<T> A{uplo, n, ap, tau, rest.work};
  solve_for_all(A, n, with_vectors, w, e, Z, info, [&] {
    divide_and_conquer(n, w, e, Z, rest, info);
    A.apply_q(n, Z);
  });
  room.answer(least);
}

}  // namespace

template <RealScalar T>
void spev(char jobz, char uplo, Int n, T* ap, T* w, T* z, Int ldz, T* work, Int& info) {
  info = check_all(jobz, uplo, n, ldz);
  if (info != 0) return report_bad_argument<T>("SPEV", info);
  if (n == 0) return;
  T *const e = work, *const tau = e + n, *const rest = tau + n;
  // The iteration takes the place of tau, too.
  solve_by_iteration<T>(PackedMatrix<T>{uplo, n, ap, tau, rest}, n, wants_vectors(jobz), w, e, {z, ldz}, tau, info);
}

template <ComplexScalar T>
void hpev(char jobz, char uplo, Int n, T* ap, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork, Int& info) {
  info = check_all(jobz, uplo, n, ldz);
  if (info != 0) return report_bad_argument<T>("HPEV", info);
  if (n == 0) return;
  solve_by_iteration<T>(PackedMatrix<T>{uplo, n, ap, work, work + n}, n, wants_vectors(jobz), w, rwork, {z, ldz},
                        rwork + n, info);
}

template <RealScalar T>
void spevd(char jobz, char uplo, Int n, T* ap, T* w, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int liwork,
           Int& info) {
  solve_by_division<T>(jobz, uplo, n, ap, w, {z, ldz}, {work, lwork, nullptr, 0, iwork, liwork}, info);
}

template <ComplexScalar T>
void hpevd(char jobz, char uplo, Int n, T* ap, Real<T>* w, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork,
           Int lrwork, Int* iwork, Int liwork, Int& info) {
  solve_by_division<T>(jobz, uplo, n, ap, w, {z, ldz}, {work, lwork, rwork, lrwork, iwork, liwork}, info);
}

template <RealScalar T>
void spevx(char jobz, char range, char uplo, Int n, T* ap, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z,
           Int ldz, T* work, Int* iwork, Int* ifail, Int& info) {
  const Selection<T> selection{range, vl, vu, il, iu};
  info = check_selected(jobz, selection, uplo, n, ldz);
  if (info != 0) return report_bad_argument<T>("SPEVX", info);
  m = 0;
  if (n == 0) return;
  T *const tau = work, *const e = tau + n, *const d = e + n, *const rest = d + n;
  solve_for_selected<T>(PackedMatrix<T>{uplo, n, ap, tau, rest}, n, {wants_vectors(jobz), selection, abstol}, m, w,
                        {z, ldz}, {d, e, rest, iwork}, ifail, info);
}

template <ComplexScalar T>
void hpevx(char jobz, char range, char uplo, Int n, T* ap, Real<T> vl, Real<T> vu, Int il, Int iu, Real<T> abstol,
           Int& m, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork, Int* iwork, Int* ifail, Int& info) {
  using R = Real<T>;
  const Selection<R> selection{range, vl, vu, il, iu};
  info = check_selected(jobz, selection, uplo, n, ldz);
  if (info != 0) return report_bad_argument<T>("HPEVX", info);
  m = 0;
  if (n == 0) return;
  R *const d = rwork, *const e = d + n, *const rest = e + n;
  solve_for_selected<T>(PackedMatrix<T>{uplo, n, ap, work, work + n}, n, {wants_vectors(jobz), selection, abstol}, m, w,
                        {z, ldz}, {d, e, rest, iwork}, ifail, info);
}

}  // namespace nuv

#include "symmetric/packed_drivers.entries.inc"
