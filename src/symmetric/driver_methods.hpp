#pragma once

// The ways of the drivers for matrices that are reduced to tridiagonal form first, whatever their storage.
//
// A storage form A of a matrix of order n >= 1 has
//
//     A.largest()        the largest magnitude of an element
//     A.first()          element (1, 1)
//     A.scale(scaling)
//     A.reduce(d, e)     the reduction, A = Q T Q^H, with d on the diagonal of T and e beside it
//     A.form_q(Z)        Z := Q
//     A.apply_q(m, Z)    Z := Q Z, m columns

#include <algorithm>

#include "blas.hpp"
#include "symmetric/bisection.hpp"
#include "symmetric/divide_and_conquer.hpp"
#include "symmetric/driver_steps.hpp"
#include "symmetric/inverse_iteration.hpp"
#include "symmetric/root_free_qr.hpp"
#include "symmetric/sorted_pairs.hpp"
#include "symmetric/tridiagonal_qr.hpp"

namespace nuv {

/// All eigenvalues and, if wanted, eigenvectors.
///
/// e           n elements of workspace
/// find_pairs  makes of w and e, the tridiagonal matrix, the eigenvalues in w and the eigenvectors of A in Z
template <Scalar T, class Storage, class FindPairs>
void solve_for_all(const Storage& A, Int n, bool with_vectors, Real<T>* w, Real<T>* e, Matrix<T> Z, Int& info,
                   FindPairs find_pairs) {
  if (n == 1) {
    w[0] = A.first();
    if (with_vectors) Z(1, 1) = T(1);
    return;
  }
  const RangeScaling<Real<T>> scaling(A.largest());
  A.scale(scaling);
  A.reduce(w, e);
  if (with_vectors) find_pairs();
  else sterf(n, w, e, info);
  scaling.undo(n, w, info);
}

/// The same with the eigenvectors by QL and QR iteration.
///
/// work    max(1, 2 n - 2) elements, if there are eigenvectors wanted
template <Scalar T, class Storage>
void solve_by_iteration(const Storage& A, Int n, bool with_vectors, Real<T>* w, Real<T>* e, Matrix<T> Z, Real<T>* work,
                        Int& info) {
  solve_for_all(A, n, with_vectors, w, e, Z, info, [&] {
    A.form_q(Z);
    steqr('V', n, w, e, Z.data, Z.ld, work, info);
  });
}

/// Workspace for selected eigenvalues of a matrix of order n.
template <RealScalar R>
struct SelectionWork {
  R* d;        ///< n elements
  R* e;        ///< n elements
  R* rest;     ///< 5 n elements
  Int* iwork;  ///< 5 n elements
};

/// Selected eigenvalues of the tridiagonal matrix in work.d and work.e by bisection and, if wanted, its eigenvectors by
/// inverse iteration, in the order of the blocks into which it falls then.
///
/// m       their number, out
/// ifail   n elements, as stein leaves them; not touched where there are no vectors wanted
template <Scalar T>
void find_selected(bool with_vectors, const Selection<Real<T>>& selection, Int n, Real<T> abstol, Int& m, Real<T>* w,
                   Matrix<T> Z, const SelectionWork<Real<T>>& work, Int* ifail, Int& info) {
  Int *const iblock = work.iwork, *const isplit = iblock + n, *const iwork = isplit + n, splits = 0;
  const auto [range, vl, vu, il, iu] = selection;
  stebz(range, with_vectors ? 'B' : 'E', n, vl, vu, il, iu, abstol, work.d, work.e, m, splits, w, iblock, isplit,
        work.rest, iwork, info);
  if (!with_vectors) return;
  const Int of_values = info;
  stein(n, work.d, work.e, m, w, iblock, isplit, Z.data, Z.ld, work.rest, iwork, ifail, info);
  // Vectors that are all there don't hide that values are not.
  if (info == 0) info = of_values;
}

/// In a list of numbers of vectors, after i and j have been exchanged.
inline void rename_exchanged(Int count, Int* numbers, Int i, Int j) {
  for (Int k = 0; k < count; ++k) {
    if (numbers[k] == i) numbers[k] = j;
    else if (numbers[k] == j) numbers[k] = i;
  }
}

/// What is asked for of eigenvalues, and how near they are to be.
template <RealScalar R>
struct SelectedProblem {
  bool with_vectors;
  Selection<R> selection;
  R abstol;
};

/// Selected eigenvalues and, if wanted, eigenvectors: all of them by QL and QR iteration, unless that fails or abstol
/// asks for less; else by bisection and inverse iteration.
///
/// m       their number, out
/// ifail   n elements, as stein leaves them, by the numbers of the vectors in their final order
template <Scalar T, class Storage>
void solve_for_selected(const Storage& A, Int n, const SelectedProblem<Real<T>>& problem, Int& m, Real<T>* w,
                        Matrix<T> Z, const SelectionWork<Real<T>>& work, Int* ifail, Int& info) {
  using R = Real<T>;
  const auto [with_vectors, selection, abstol] = problem;
  m = 0;
  if (n == 1) {
    w[0] = A.first();
    if (with_vectors) Z(1, 1) = T(1), ifail[0] = 0;
    m = selection.takes_only(w[0]) ? 1 : 0;
    return;
  }
  // Inverse iteration multiplies elements by pivots and by vectors that have grown by the reciprocal of others.
  const auto scaling = RangeScaling<R>::for_representations(A.largest());
  A.scale(scaling);
  A.reduce(work.d, work.e);

  bool is_done = false;
  if (selection.takes_all(n) && abstol <= 0) {
    R* const e = work.rest + 2 * std::ptrdiff_t{n};
    if (with_vectors) A.form_q(Z);
    std::copy_n(work.d, n, w);
    blas::copy(n - 1, Vector<const R>{work.e, 1}, Vector<R>{e, 1});
    if (with_vectors) {
      steqr('V', n, w, e, Z.data, Z.ld, work.rest, info);
      std::fill_n(ifail, n, 0);
    } else {
      sterf(n, w, e, info);
    }
    is_done = info == 0;
    if (is_done) m = n;
  }
  if (!is_done) {
    find_selected(with_vectors, selection.scaled(scaling), n, scaled_tolerance(abstol, scaling), m, w, Z, work, ifail,
                  info);
    if (with_vectors) A.apply_q(m, Z);
  }
  scaling.undo(m, w, info);
  if (with_vectors) {
    sort_pairs(n, m, w, Z, [&](Int i, Int j) { rename_exchanged(std::min(m, info), ifail, i, j); });
  }
}

/// Least workspaces of a driver by divide and conquer; rwork is for complex matrices alone.
struct DivisionSizes {
  std::int64_t work, rwork, iwork;
};

/// What the caller gives of them.
template <Scalar T>
struct DivisionWork {
  T* work;
  Int lwork;
  Real<T>* rwork;
  Int lrwork;
  Int* iwork;
  Int liwork;

  bool is_query() const { return lwork == -1 || liwork == -1 || (ComplexScalar<T> && lrwork == -1); }

  /// Tells the caller the sizes.
  void answer(const DivisionSizes& least) const {
    work[0] = as_work_size<T>(least.work);
    if constexpr (ComplexScalar<T>) rwork[0] = as_work_size<Real<T>>(least.rwork);
    iwork[0] = static_cast<Int>(least.iwork);
  }

  /// 0, or minus the position of the first size that is too small; that of lwork is given.
  Int check(const DivisionSizes& least, Int position_of_lwork) const {
    if (is_query()) return 0;
    if (lwork < least.work) return -position_of_lwork;
    if (ComplexScalar<T> && lrwork < least.rwork) return -(position_of_lwork + 2);
    if (liwork < least.iwork) return -(position_of_lwork + (ComplexScalar<T> ? 4 : 2));
    return 0;
  }

  /// The same without the first elements.
  DivisionWork behind(std::ptrdiff_t elements, std::ptrdiff_t reals) const {
    DivisionWork rest = *this;
    rest.work += elements;
    rest.lwork -= static_cast<Int>(elements);
    if constexpr (ComplexScalar<T>) {
      rest.rwork += reals;
      rest.lrwork -= static_cast<Int>(reals);
    }
    return rest;
  }
};

/// The eigenvalues of a tridiagonal matrix and its eigenvectors, by divide and conquer.
template <Scalar T>
void divide_and_conquer(Int n, Real<T>* d, Real<T>* e, Matrix<T> Z, const DivisionWork<T>& room, Int& info) {
  if constexpr (ComplexScalar<T>) {
    stedc('I', n, d, e, Z.data, Z.ld, room.work, room.lwork, room.rwork, room.lrwork, room.iwork, room.liwork, info);
  } else {
    stedc('I', n, d, e, Z.data, Z.ld, room.work, room.lwork, room.iwork, room.liwork, info);
  }
}

}  // namespace nuv
