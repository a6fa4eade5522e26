// syevr and heevr.

#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "symmetric/dense_drivers.hpp"
#include "symmetric/full_matrix.hpp"
#include "symmetric/mrrr.hpp"

namespace nuv {
namespace {

template <Scalar T>
DivisionSizes least_workspaces(std::int64_t n) {
  const std::int64_t reals = (ComplexScalar<T> ? 24 : 26) * n, elements = ComplexScalar<T> ? 2 * n : reals;
  return {std::max<std::int64_t>(1, elements), std::max<std::int64_t>(1, reals), std::max<std::int64_t>(1, 10 * n)};
}

/// The workspaces by what they hold.
template <Scalar T>
struct Areas {
  using R = Real<T>;
  T* tau;
  R *d, *e;    ///< the tridiagonal matrix
  R *dd, *ee;  ///< a copy, to be destroyed
  R* rest;
  Int lrest;
  T *reduction, *product;  ///< workspace of the reduction and of the product with its Q
  Int lreduction, lproduct;

  Areas(const DivisionWork<T>& room, Int n) : tau(room.work) {
    if constexpr (ComplexScalar<T>) {
      d = room.rwork;
    } else {
      d = room.work + n;
    }
    e = d + n;
    dd = e + n;
    ee = dd + n;
    rest = ee + n;
    if constexpr (ComplexScalar<T>) {
      lrest = room.lrwork - 4 * n;
      reduction = product = room.work + n;
      lreduction = lproduct = room.lwork - n;
    } else {
      lrest = lreduction = room.lwork - 5 * n;
      reduction = rest;
      product = e;
      lproduct = room.lwork - 2 * n;
    }
  }
};

/// All eigenvalues of the tridiagonal matrix and, if wanted, its eigenvectors; false where that fails.
template <Scalar T>
bool find_all(bool with_vectors, Int n, Real<T> abstol, Int& m, Real<T>* w, Matrix<T> Z, Int* isuppz,
              const Areas<T>& areas, const DivisionWork<T>& room) {
  using R = Real<T>;
  Int info = 0;
  std::copy_n(areas.e, n - 1, areas.ee);
  if (with_vectors) {
    std::copy_n(areas.d, n, areas.dd);
    Logical accurate = to_logical(abstol <= 0);
    stemr('V', 'A', n, areas.dd, areas.ee, R(0), R(0), 0, 0, m, w, Z.data, Z.ld, n, isuppz, accurate, areas.rest,
          areas.lrest, room.iwork, room.liwork, info);
  } else {
    std::copy_n(areas.d, n, w);
    sterf(n, w, areas.ee, info);
  }
  if (info == 0) m = n;
  return info == 0;
}

template <Scalar T>
void drive_by_representations(char jobz, const Selection<Real<T>>& selection, char uplo, Int n, Matrix<T> A,
                              Real<T> abstol, Int& m, Real<T>* w, Matrix<T> Z, Int* isuppz, const DivisionWork<T>& room,
                              Int& info) {
  using R = Real<T>;
  const RoutineName<T> name = name_of<T>("SYEVR", "HEEVR");
  const bool infinities_are_safe = ilaenv(10, name, "N", 1, 2, 3, 4) == 1, with_vectors = same_letter(jobz, 'V');
  const DivisionSizes least = least_workspaces<T>(n);
  info = check_selected(jobz, selection, uplo, n, A, Z);
  if (info == 0) info = room.check(least, 18);
  if (info != 0) return report_bad_argument(name, info);
  DivisionSizes best = least;
  best.work = std::max(best.work, (widest_block<T>(uplo, n) + std::int64_t{1}) * n);
  room.answer(best);
  if (room.is_query()) return;
  m = 0;
  if (n <= 1) {
    room.work[0] = T(n == 0 ? 1 : 7);
    if (n == 0) return;
    w[0] = std::real(A(1, 1));
    m = selection.takes_only(w[0]) ? 1 : 0;
    if (with_vectors && m == 1) {
      Z(1, 1) = T(1);
      isuppz[0] = isuppz[1] = 1;
    }
    return;
  }

  const Areas<T> areas(room, n);
  const FullMatrix<T> matrix{uplo, n, A, areas.tau, areas.reduction, areas.lreduction};
  const RangeScaling<R> scaling = RangeScaling<R>::for_representations(matrix.largest());
  matrix.scale(scaling);
  matrix.reduce(areas.d, areas.e);
  const bool by_representations =
      infinities_are_safe && selection.takes_all(n) && find_all(with_vectors, n, abstol, m, w, Z, isuppz, areas, room);
  if (!by_representations) {
    find_selected(with_vectors, selection.scaled(scaling), n, scaled_tolerance(abstol, scaling), m, w, Z,
                  {areas.d, areas.e, areas.rest, room.iwork}, room.iwork + 5 * std::ptrdiff_t{n}, info);
  }
  if (with_vectors) {
    FullMatrix<T>{uplo, n, A, areas.tau, areas.product, areas.lproduct}.apply_q(m, Z);
  }
  scaling.undo(m, w, info);
  if (with_vectors) {
    sort_pairs(n, m, w, Z, [&](Int i, Int j) {
      if (by_representations) std::swap_ranges(isuppz + 2 * (i - 1), isuppz + 2 * i, isuppz + 2 * (j - 1));
    });
  }
  room.answer(best);
}

}  // namespace

template <RealScalar T>
void syevr(char jobz, char range, char uplo, Int n, T* a, Int lda, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w,
           T* z, Int ldz, Int* isuppz, T* work, Int lwork, Int* iwork, Int liwork, Int& info) {
  drive_by_representations<T>(jobz, {range, vl, vu, il, iu}, uplo, n, {a, lda}, abstol, m, w, {z, ldz}, isuppz,
                              {work, lwork, nullptr, 0, iwork, liwork}, info);
}

template <ComplexScalar T>
void heevr(char jobz, char range, char uplo, Int n, T* a, Int lda, Real<T> vl, Real<T> vu, Int il, Int iu,
           Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, Int* isuppz, T* work, Int lwork, Real<T>* rwork,
           Int lrwork, Int* iwork, Int liwork, Int& info) {
  drive_by_representations<T>(jobz, {range, vl, vu, il, iu}, uplo, n, {a, lda}, abstol, m, w, {z, ldz}, isuppz,
                              {work, lwork, rwork, lrwork, iwork, liwork}, info);
}

}  // namespace nuv

#include "symmetric/representation_driver.entries.inc"
