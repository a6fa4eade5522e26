#include "svd/least_squares_by_svd.hpp"

#include <algorithm>
#include <limits>

#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norm_scaling.hpp"
#include "environment/norms_general.hpp"
#include "environment/scaling.hpp"
#include "frame/error_report.hpp"
#include "svd/bidiagonal_solution.hpp"
#include "svd/least_squares_work_sizes.hpp"

namespace nuv {
namespace {

/// A problem whose matrix is in range.
template <Scalar T>
class SolutionBySvd {
  using R = Real<T>;

 public:
  /// B       right-hand sides, of as many rows as the longer side has
  /// rwork   for complex matrices alone;  iwork  for the division alone
  SolutionBySvd(const LeastSquaresSizes<T>& sizes, Matrix<T> A, Matrix<T> B, R* s, R rcond, Room<T> room, R* rwork,
                Int* iwork)
      : sizes_(sizes),
        side_(sizes.side),
        k_(side_.shorter),
        nrhs_(sizes.nrhs),
        A_(A),
        B_(B),
        s_(s),
        rcond_(rcond),
        room_(room),
        rwork_(rwork),
        iwork_(iwork) {}

  /// Goes the way that the shape and the workspace have; gives info.
  Int run(Int& rank) {
    if (sizes_.by_factor && side_.is_left) {
      solve_by_qr();
    } else if (sizes_.by_factor && room_.lwork >= sizes_.least_by_lq()) {
      solve_by_lq();
    } else {
      reduce_and_solve(side_.rows(k_), side_.columns(k_), A_, room_);
    }
    rank = rank_;
    return info_;
  }

 private:
  void solve_by_qr() {
    Int ignored = 0;
    T* const tau = room_.work;
    const auto [work, lwork] = room_.behind(k_);
    side_.factor(A_, tau, {work, lwork});
    layer::ormqr('L', adjoint<T>, side_.longer, nrhs_, k_, A_, tau, B_, work, lwork, ignored);
    side_.clear_other_triangle(A_);
    reduce_and_solve(k_, k_, A_, room_);
  }

  void solve_by_lq() {
    Int ignored = 0;
    T* const tau = room_.work;
    const Room<T> behind_tau = room_.behind(k_);
    const Matrix<T> L{behind_tau.work, k_};
    side_.factor(A_, tau, behind_tau);
    side_.copy_triangle(A_, L);
    side_.clear_other_triangle(L);
    reduce_and_solve(k_, k_, L, behind_tau.behind(std::int64_t{k_} * k_));
    if (info_ != 0) return;
    clear_rows(k_ + 1, side_.longer);
    layer::ormlq('L', adjoint<T>, side_.longer, nrhs_, k_, A_, tau, B_, behind_tau.work, behind_tau.lwork, ignored);
  }

  /// Solves with an m by n matrix in X, A itself or its square factor.
  void reduce_and_solve(Int m, Int n, Matrix<T> X, Room<T> room) {
    Int ignored = 0;
    const ReductionRoom<T> reduction(k_, room, rwork_);
    T* const tauq = side_.is_left ? reduction.tau_long : reduction.tau_short;
    side_.reduce(m, n, X, s_, reduction);
    ormbr('Q', 'L', adjoint<T>, m, nrhs_, n, X.data, X.ld, tauq, B_.data, B_.ld, reduction.rest.work,
          reduction.rest.lwork, ignored);
    if (sizes_.method == BidiagonalMethod::iteration) {
      iterate(m, n, X, reduction, room);
    } else {
      divide(m, n, X, reduction);
    }
  }

  void divide(Int m, Int n, Matrix<T> X, const ReductionRoom<T>& reduction) {
    Int ignored = 0;
    const auto [work, lwork] = reduction.rest;
    info_ = solve_bidiagonal<T>(m >= n ? 'U' : 'L', sizes_.smlsiz, k_, nrhs_, s_, reduction.e, B_, rcond_, rank_, work,
                                reduction.of_iteration, iwork_);
    if (info_ != 0) return;
    clear_rows(k_ + 1, n);
    ormbr('P', 'L', 'N', n, nrhs_, m, X.data, X.ld, taup(reduction), B_.data, B_.ld, work, lwork, ignored);
  }

  /// room    may be used by the product with the right vectors
  void iterate(Int m, Int n, Matrix<T> X, const ReductionRoom<T>& reduction, Room<T> room) {
    Int ignored = 0;
    orgbr('P', k_, n, m, X.data, X.ld, taup(reduction), reduction.rest.work, reduction.rest.lwork, ignored);
    bdsqr<T>(m >= n ? 'U' : 'L', k_, n, 0, nrhs_, s_, reduction.e, X.data, X.ld, nullptr, 1, B_.data, B_.ld,
             reduction.of_iteration, info_);
    if (info_ != 0) return;
    divide_by_values();
    multiply_by_right_vectors(n, X, room);
  }

  /// Divides rows of B by their values, or clears them.
  void divide_by_values() {
    const R relative = rcond_ >= 0 ? rcond_ : Machine<R>::precision;
    const R threshold = std::max(relative * s_[0], Machine<R>::safe_min);
    for (Int i = 1; i <= k_; ++i) {
      if (s_[i - 1] <= threshold) {
        clear_rows(i, i);
      } else {
        rscl(nrhs_, s_[i - 1], B_.at(i, 1), B_.ld);
        ++rank_;
      }
    }
  }

  /// B := VH^H B for the k by n matrix VH, by as many columns at a time as have room.
  void multiply_by_right_vectors(Int n, Matrix<T> VH, Room<T> room) {
    const Int most = std::min(nrhs_, room.lwork / n);
    const Matrix<T> product{room.work, n};
    for (Int first = 1, count; first <= nrhs_; first += count) {
      count = std::min(most, nrhs_ - first + 1);
      const Matrix<T> part = block(B_, 1, first);
      if (count == 1) {
        blas::gemv(adjoint<T>, k_, n, T(1), VH, column(part, 1, 1), T(0), column(product, 1, 1));
      } else {
        blas::gemm(adjoint<T>, 'N', n, count, k_, T(1), VH, part, T(0), product);
      }
      lacpy('F', n, count, product.data, product.ld, part.data, part.ld);
    }
  }

  T* taup(const ReductionRoom<T>& reduction) const { return side_.is_left ? reduction.tau_short : reduction.tau_long; }

  void clear_rows(Int first, Int last) const {
    if (first <= last) laset('F', last - first + 1, nrhs_, T(0), T(0), B_.at(first, 1), B_.ld);
  }

  const LeastSquaresSizes<T>& sizes_;
  LongSide<T> side_;
  Int k_, nrhs_;
  Matrix<T> A_, B_;
  R *s_, rcond_;
  Room<T> room_;
  R* rwork_;
  Int* iwork_;
  Int rank_ = 0, info_ = 0;
};

/// 0, or minus the position of the first bad argument of those before work.
Int check(Int m, Int n, Int nrhs, Int lda, Int ldb) {
  if (m < 0) return -1;
  if (n < 0) return -2;
  if (nrhs < 0) return -3;
  if (lda < std::max(1, m)) return -5;
  return ldb < std::max({1, m, n}) ? -7 : 0;
}

/// Brings A and B into range, solves, and brings the results out of it. Gives info.
template <Scalar T, class Solve>
Int solve_in_range(Int m, Int n, Int nrhs, Matrix<T> A, Matrix<T> B, Real<T>* s, Solve solve) {
  using R = Real<T>;
  const NormScaling<R> scaling_of_a(m, n, A);
  if (scaling_of_a.norm() == 0) {
    laset('F', std::max(m, n), nrhs, T(0), T(0), B.data, B.ld);
    std::fill_n(s, std::min(m, n), R(0));
    return 0;
  }
  const auto scaling_of_b = NormScaling<R>::without_squares(m, nrhs, B);
  const Int info = solve();
  if (info != 0) return info;
  scaling_of_a.redo(n, nrhs, B);  // X belongs to the scaled A
  scaling_of_a.undo(std::min(m, n), s);
  scaling_of_b.undo('G', n, nrhs, B);
  return 0;
}

/// rwork is for complex matrices alone, iwork for the division.
template <Scalar T>
void drive(BidiagonalMethod method, Int m, Int n, Int nrhs, Matrix<T> A, Matrix<T> B, Real<T>* s, Real<T> rcond,
           Int& rank, T* work, Int lwork, Real<T>* rwork, Int* iwork, Int& info) {
  const bool divides = method == BidiagonalMethod::division, is_query = lwork == -1;
  const auto name = divides ? RoutineName<T>("GELSD") : RoutineName<T>("GELSS");
  const Int least_of_longer = ilaenv(6, name, " ", m, n, nrhs, -1);
  info = check(m, n, nrhs, A.ld, B.ld);
  if (info != 0) return report_bad_argument(name, info);

  const LongSide<T> side(m, n);
  const bool is_empty = side.shorter == 0;
  const Int smlsiz = divides ? ilaenv(9, name, " ", 0, 0, 0, 0) : 0;
  const LeastSquaresSizes<T> sizes{method, side, nrhs, side.longer >= least_of_longer, smlsiz};
  const std::int64_t best = is_empty ? 1 : sizes.best();
  const auto answer = [&] {
    work[0] = as_work_size<T>(best);
    if (!divides) return;
    iwork[0] = is_empty ? 1 : static_cast<Int>(std::min<std::int64_t>(sizes.iwork(), std::numeric_limits<Int>::max()));
    if constexpr (ComplexScalar<T>) rwork[0] = as_work_size<Real<T>>(is_empty ? 1 : sizes.rwork());
  };
  if (is_query) return answer();
  if (lwork < (is_empty ? 1 : sizes.least())) info = -12;
  if (lwork >= 1) work[0] = as_work_size<T>(best);
  if (info != 0) return report_bad_argument(name, info);

  rank = 0;
  if (is_empty) {
    laset('F', n, nrhs, T(0), T(0), B.data, B.ld);
  } else {
    info = solve_in_range(m, n, nrhs, A, B, s, [&] {
      return SolutionBySvd<T>(sizes, A, B, s, rcond, {work, lwork}, rwork, iwork).run(rank);
    });
  }
  answer();
}

}  // namespace

template <RealScalar T>
void gelss(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, T* s, T rcond, Int& rank, T* work, Int lwork,
           Int& info) {
  drive<T>(BidiagonalMethod::iteration, m, n, nrhs, {a, lda}, {b, ldb}, s, rcond, rank, work, lwork, nullptr, nullptr,
           info);
}

template <ComplexScalar T>
void gelss(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Real<T>* s, Real<T> rcond, Int& rank, T* work,
           Int lwork, Real<T>* rwork, Int& info) {
  drive<T>(BidiagonalMethod::iteration, m, n, nrhs, {a, lda}, {b, ldb}, s, rcond, rank, work, lwork, rwork, nullptr,
           info);
}

template <RealScalar T>
void gelsd(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, T* s, T rcond, Int& rank, T* work, Int lwork,
           Int* iwork, Int& info) {
  drive<T>(BidiagonalMethod::division, m, n, nrhs, {a, lda}, {b, ldb}, s, rcond, rank, work, lwork, nullptr, iwork,
           info);
}

template <ComplexScalar T>
void gelsd(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Real<T>* s, Real<T> rcond, Int& rank, T* work,
           Int lwork, Real<T>* rwork, Int* iwork, Int& info) {
  drive<T>(BidiagonalMethod::division, m, n, nrhs, {a, lda}, {b, ldb}, s, rcond, rank, work, lwork, rwork, iwork, info);
}

}  // namespace nuv

#include "svd/least_squares_by_svd.entries.inc"
