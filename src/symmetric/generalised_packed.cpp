#include <algorithm>
#include <bit>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "symmetric/driver_methods.hpp"
#include "symmetric/generalised_drivers.hpp"
#include "symmetric/generalised_pair.hpp"
#include "symmetric/generalised_reduction.hpp"
#include "symmetric/packed_drivers.hpp"

namespace nuv {
namespace {

template <Scalar T>
struct PackedPair : PairOptions {
  T *ap, *bp;

  /// 0, or minus the position of the first bad argument of itype, jobz, uplo, n, ap, bp, w, z, ldz.
  Int check(Int ldz) const {
    if (const Int bad = PairOptions::check(); bad != 0) return bad;
    return is_place_for_vectors(ldz) ? 0 : -9;
  }

  /// The same with range behind jobz, and vl, vu, il, iu, abstol, m behind bp.
  Int check(const Selection<Real<T>>& selection, Int ldz) const {
    if (const Int bad = PairOptions::check(selection.is_known()); bad != 0) return bad;
    if (const Int bad_bound = selection.check(n, 9); bad_bound != 0) return bad_bound;
    return is_place_for_vectors(ldz) ? 0 : -16;
  }

  void factor_b(Int& info) const { layer::pptrf(uplo, n, bp, info); }
  void reduce_a(Int& info) const { spgst(itype, uplo, n, ap, bp, info); }

  void transform_back(Int m, Matrix<T> Z) const {
    const auto [by_solve, trans] = back_transformation<T>();
    for (Int j = 1; j <= m; ++j) {
      if (by_solve) blas::tpsv(uplo, trans, 'N', n, bp, column(Z, 1, j));
      else blas::tpmv(uplo, trans, 'N', n, bp, column(Z, 1, j));
    }
  }
};

/// spgv and hpgv; rwork is for complex matrices alone.
template <Scalar T>
void drive_by_iteration(const PackedPair<T>& pair, Real<T>* w, Matrix<T> Z, T* work, [[maybe_unused]] Real<T>* rwork,
                        Int& info) {
  info = pair.check(Z.ld);
  if (info != 0) return report_bad_argument(name_of<T>("SPGV", "HPGV"), info);
  if (pair.n == 0) return;
  solve_pair(pair, Z, info, [&] {
    if constexpr (ComplexScalar<T>) {
      hpev(pair.jobz, pair.uplo, pair.n, pair.ap, w, Z.data, Z.ld, work, rwork, info);
    } else {
      spev(pair.jobz, pair.uplo, pair.n, pair.ap, w, Z.data, Z.ld, work, info);
    }
    return info > 0 ? info - 1 : pair.n;
  });
}

template <Scalar T>
DivisionSizes least_workspaces(bool with_vectors, std::int64_t n) {
  if (n <= 1) return {1, 1, 1};
  if constexpr (ComplexScalar<T>) {
    return with_vectors ? DivisionSizes{2 * n, 2 * n * n + 5 * n + 1, 5 * n + 3} : DivisionSizes{n, n, 1};
  } else {
    const std::int64_t levels = std::bit_width(static_cast<std::uint64_t>(n - 1));
    return with_vectors ? DivisionSizes{2 * n * n + 2 * n * levels + 5 * n + 1, 0, 5 * n + 3}
                        : DivisionSizes{2 * n, 0, 1};
  }
}

/// spgvd and hpgvd.
template <Scalar T>
void drive_by_division(const PackedPair<T>& pair, Real<T>* w, Matrix<T> Z, const DivisionWork<T>& room, Int& info) {
  info = pair.check(Z.ld);
  const DivisionSizes least = least_workspaces<T>(pair.with_vectors(), pair.n);
  if (info == 0) {
    room.answer(least);
    info = room.check(least, 11);
  }
  if (info != 0) return report_bad_argument(name_of<T>("SPGVD", "HPGVD"), info);
  if (pair.n == 0 || room.is_query()) return;
  solve_pair(pair, Z, info, [&] {
    if constexpr (ComplexScalar<T>) {
      hpevd(pair.jobz, pair.uplo, pair.n, pair.ap, w, Z.data, Z.ld, room.work, room.lwork, room.rwork, room.lrwork,
            room.iwork, room.liwork, info);
    } else {
      spevd(pair.jobz, pair.uplo, pair.n, pair.ap, w, Z.data, Z.ld, room.work, room.lwork, room.iwork, room.liwork,
            info);
    }
    return pair.n;
  });
  room.answer(least);
}

/// spgvx and hpgvx; rwork is for complex matrices alone.
template <Scalar T>
void drive_for_selected(const PackedPair<T>& pair, const Selection<Real<T>>& selection, Real<T> abstol, Int& m,
                        Real<T>* w, Matrix<T> Z, T* work, [[maybe_unused]] Real<T>* rwork, Int* iwork, Int* ifail,
                        Int& info) {
  info = pair.check(selection, Z.ld);
  if (info != 0) return report_bad_argument(name_of<T>("SPGVX", "HPGVX"), info);
  m = 0;
  if (pair.n == 0) return;
  solve_pair(pair, Z, info, [&] {
    if constexpr (ComplexScalar<T>) {
      hpevx(pair.jobz, selection.range, pair.uplo, pair.n, pair.ap, selection.vl, selection.vu, selection.il,
            selection.iu, abstol, m, w, Z.data, Z.ld, work, rwork, iwork, ifail, info);
    } else {
      spevx(pair.jobz, selection.range, pair.uplo, pair.n, pair.ap, selection.vl, selection.vu, selection.il,
            selection.iu, abstol, m, w, Z.data, Z.ld, work, iwork, ifail, info);
    }
    return m;
  });
}

}  // namespace

template <RealScalar T>
void spgv(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, T* w, T* z, Int ldz, T* work, Int& info) {
  drive_by_iteration<T>({{itype, jobz, uplo, n}, ap, bp}, w, {z, ldz}, work, nullptr, info);
}

template <ComplexScalar T>
void hpgv(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork,
          Int& info) {
  drive_by_iteration<T>({{itype, jobz, uplo, n}, ap, bp}, w, {z, ldz}, work, rwork, info);
}

template <RealScalar T>
void spgvd(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, T* w, T* z, Int ldz, T* work, Int lwork, Int* iwork,
           Int liwork, Int& info) {
  drive_by_division<T>({{itype, jobz, uplo, n}, ap, bp}, w, {z, ldz}, {work, lwork, nullptr, 0, iwork, liwork}, info);
}

template <ComplexScalar T>
void hpgvd(Int itype, char jobz, char uplo, Int n, T* ap, T* bp, Real<T>* w, T* z, Int ldz, T* work, Int lwork,
           Real<T>* rwork, Int lrwork, Int* iwork, Int liwork, Int& info) {
  drive_by_division<T>({{itype, jobz, uplo, n}, ap, bp}, w, {z, ldz}, {work, lwork, rwork, lrwork, iwork, liwork},
                       info);
}

template <RealScalar T>
void spgvx(Int itype, char jobz, char range, char uplo, Int n, T* ap, T* bp, T vl, T vu, Int il, Int iu, T abstol,
           Int& m, T* w, T* z, Int ldz, T* work, Int* iwork, Int* ifail, Int& info) {
  drive_for_selected<T>({{itype, jobz, uplo, n}, ap, bp}, {range, vl, vu, il, iu}, abstol, m, w, {z, ldz}, work,
                        nullptr, iwork, ifail, info);
}

template <ComplexScalar T>
void hpgvx(Int itype, char jobz, char range, char uplo, Int n, T* ap, T* bp, Real<T> vl, Real<T> vu, Int il, Int iu,
           Real<T> abstol, Int& m, Real<T>* w, T* z, Int ldz, T* work, Real<T>* rwork, Int* iwork, Int* ifail,
           Int& info) {
  drive_for_selected<T>({{itype, jobz, uplo, n}, ap, bp}, {range, vl, vu, il, iu}, abstol, m, w, {z, ldz}, work, rwork,
                        iwork, ifail, info);
}

}  // namespace nuv

#include "symmetric/generalised_packed.entries.inc"
