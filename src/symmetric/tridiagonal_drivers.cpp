#include "symmetric/tridiagonal_drivers.hpp"

#include <algorithm>

#include "environment/matrix_utilities.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "symmetric/driver_methods.hpp"
#include "symmetric/mrrr.hpp"

namespace nuv {
namespace {

/// A matrix as the methods of the drivers see it: it stands in its place, reduced as it is, and its Q is the identity.
template <RealScalar T>
struct TridiagonalMatrix {
  Int n;
  T *d, *e;

  T largest() const { return lanst('M', n, d, e); }
  T first() const { return d[0]; }
  void scale(const RangeScaling<T>& scaling) const {
    scaling.apply(n, d);
    scaling.apply(n - 1, e);
  }
  void reduce(T*, T*) const {}
  void form_q(Matrix<T> Z) const { laset('A', n, n, T(0), T(1), Z.data, Z.ld); }
  void apply_q(Int, Matrix<T>) const {}
};

bool wants_vectors(char jobz) {
  return same_letter(jobz, 'V');
}

bool is_short(char jobz, Int n, Int ldz) {
  return ldz < 1 || (wants_vectors(jobz) && ldz < n);
}

/// 0, or minus the position of the first bad argument of jobz, n, d, e, z, ldz.
Int check_all(char jobz, Int n, Int ldz) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (n < 0) return -2;
  if (is_short(jobz, n, ldz)) return -6;
  return 0;
}

/// The same for jobz, range, n, d, e, vl, vu, il, iu, abstol, m, w, z, ldz.
template <RealScalar T>
Int check_selected(char jobz, const Selection<T>& selection, Int n, Int ldz) {
  if (!is_one_of(jobz, 'N', 'V')) return -1;
  if (!selection.is_known()) return -2;
  if (n < 0) return -3;
  if (const Int bad_bound = selection.check(n, 7); bad_bound != 0) return bad_bound;
  if (is_short(jobz, n, ldz)) return -14;
  return 0;
}

}  // namespace

template <RealScalar T>
void stev(char jobz, Int n, T* d, T* e, T* z, Int ldz, T* work, Int& info) {
  info = check_all(jobz, n, ldz);
  if (info != 0) return report_bad_argument<T>("STEV", info);
  if (n == 0) return;
  solve_by_iteration(TridiagonalMatrix<T>{n, d, e}, n, wants_vectors(jobz), d, e, Matrix{z, ldz}, work, info);
}

template <RealScalar T>
void stevd(char jobz, Int n, T* d, T* e, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int liwork, Int& info) {
  const bool with_vectors = wants_vectors(jobz);
  const DivisionWork<T> room{work, lwork, nullptr, 0, iwork, liwork};
  const std::int64_t order = n;
  const DivisionSizes least =
      n > 1 && with_vectors ? DivisionSizes{1 + 4 * order + order * order, 0, 3 + 5 * order} : DivisionSizes{1, 0, 1};
  info = check_all(jobz, n, ldz);
  if (info == 0) {
    room.answer(least);
    info = room.check(least, 8);
  }
  if (info != 0) return report_bad_argument<T>("STEVD", info);
  if (n == 0 || room.is_query()) return;
  const Matrix Z{z, ldz};
  solve_for_all(TridiagonalMatrix<T>{n, d, e}, n, with_vectors, d, e, Z, info,
                [&] { divide_and_conquer(n, d, e, Z, room, info); });
  room.answer(least);
}

template <RealScalar T>
void stevx(char jobz, char range, Int n, T* d, T* e, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z, Int ldz,
           T* work, Int* iwork, Int* ifail, Int& info) {
  const Selection<T> selection{range, vl, vu, il, iu};
  info = check_selected(jobz, selection, n, ldz);
  if (info != 0) return report_bad_argument<T>("STEVX", info);
  m = 0;
  if (n == 0) return;
  solve_for_selected<T>(TridiagonalMatrix<T>{n, d, e}, n, {wants_vectors(jobz), selection, abstol}, m, w, {z, ldz},
                        {d, e, work, iwork}, ifail, info);
}

namespace {

/// All eigenvalues and, if wanted, eigenvectors by relatively robust representations; false where that fails. The
/// matrix stays as it is.
///
/// work    20 n elements;  iwork  10 n elements
template <RealScalar T>
bool find_all(const TridiagonalMatrix<T>& A, bool with_vectors, T abstol, Int& m, T* w, Matrix<T> Z, Int* isuppz,
              T* work, Int* iwork) {
  const Int n = A.n;
  T *const e = work, *const d = e + n, *const rest = d + n;
  Int info = 0;
  std::copy_n(A.e, n - 1, e);
  if (with_vectors) {
    std::copy_n(A.d, n, d);
    stegr('V', 'A', n, d, e, T(0), T(0), Int{0}, Int{0}, abstol, m, w, Z.data, Z.ld, isuppz, rest, 18 * n, iwork,
          10 * n, info);
  } else {
    std::copy_n(A.d, n, w);
    sterf(n, w, e, info);
  }
  if (info == 0) m = n;
  return info == 0;
}

}  // namespace

template <RealScalar T>
void stevr(char jobz, char range, Int n, T* d, T* e, T vl, T vu, Int il, Int iu, T abstol, Int& m, T* w, T* z, Int ldz,
           Int* isuppz, T* work, Int lwork, Int* iwork, Int liwork, Int& info) {
  const bool infinities_are_safe = ilaenv(10, RoutineName<T>("STEVR"), "N", 1, 2, 3, 4) == 1;
  const bool with_vectors = wants_vectors(jobz);
  const Selection<T> selection{range, vl, vu, il, iu};
  const DivisionWork<T> room{work, lwork, nullptr, 0, iwork, liwork};
  const auto least_for_each = [n](std::int64_t numbers) { return std::max<std::int64_t>(1, numbers * n); };
  const DivisionSizes least{least_for_each(20), 0, least_for_each(10)};
  info = check_selected(jobz, selection, n, ldz);
  if (info == 0) {
    room.answer(least);
    info = room.check(least, 17);
  }
  if (info != 0) return report_bad_argument<T>("STEVR", info);
  if (room.is_query()) return;
  m = 0;
  if (n == 0) return;
  const Matrix Z{z, ldz};
  if (n == 1) {
    w[0] = d[0];
    m = selection.takes_only(w[0]) ? 1 : 0;
    if (with_vectors && m == 1) Z(1, 1) = T(1), isuppz[0] = isuppz[1] = 1;
    return;
  }

  const TridiagonalMatrix<T> A{n, d, e};
  const auto scaling = RangeScaling<T>::for_representations(A.largest());
  A.scale(scaling);
  const T least_error = scaled_tolerance(abstol, scaling);
  const bool by_representations = infinities_are_safe && selection.takes_all(n) &&
                                  find_all(A, with_vectors, least_error, m, w, Z, isuppz, work, iwork);
  if (!by_representations) {
    find_selected(with_vectors, selection.scaled(scaling), n, least_error, m, w, Z, {d, e, work, iwork},
                  iwork + 5 * std::ptrdiff_t{n}, info);
  }
  scaling.undo(m, w, info);
  if (with_vectors) {
    sort_pairs(n, m, w, Z, [&](Int i, Int j) {
      if (by_representations) std::swap_ranges(isuppz + 2 * (i - 1), isuppz + 2 * i, isuppz + 2 * (j - 1));
    });
  }
  room.answer(least);
}

}  // namespace nuv

#include "symmetric/tridiagonal_drivers.entries.inc"
