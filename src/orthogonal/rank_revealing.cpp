#include "orthogonal/rank_revealing.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "environment/hermitian.hpp"
#include "environment/magnitudes.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norm_scaling.hpp"
#include "environment/norms_general.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "orthogonal/apply_q.hpp"
#include "orthogonal/apply_z.hpp"
#include "orthogonal/incremental_condition.hpp"
#include "orthogonal/least_squares_blocks.hpp"
#include "orthogonal/pivoted_qr.hpp"
#include "orthogonal/trapezoidal.hpp"
#include "orthogonal/z_reflectors.hpp"

namespace nuv {
namespace {

/// A X = B with an m by n matrix A, and X in the place of B.
template <Scalar T>
struct System {
  Int m, n, nrhs;
  Matrix<T> A, B;
  Int* jpvt;

  Int mn() const { return std::min(m, n); }

  /// 0, or minus the position of the first bad argument.
  Int check() const {
    if (m < 0) return -1;
    if (n < 0) return -2;
    if (nrhs < 0) return -3;
    if (A.ld < std::max(1, m)) return -5;
    if (B.ld < std::max({1, m, n})) return -7;
    return 0;
  }

  /// Rows first ... last of B := x
  void fill(Int first, Int last, T x) const { laset('F', last - first + 1, nrhs, x, x, B.at(first, 1), B.ld); }
  void clear(Int first, Int last) const { fill(first, last, T(0)); }

  /// X := P X
  ///
  /// work    n elements
  void permute(T* work) const {
    for (Int j = 1; j <= nrhs; ++j) {
      for (Int i = 1; i <= n; ++i) work[jpvt[i - 1] - 1] = B(i, j);
      blas::copy(n, {work, 1}, column(B, 1, j));
    }
  }
};

// ------------------------------------------------------------------------------------------------------------ the rank

/// An extreme singular value of the leading columns of a triangle, and the vector x by which it is known: the length of
/// x^H R.
template <Scalar T>
struct ExtremeValue {
  Int job;  ///< of laic1
  T* x;
  Real<T> size;

  struct Next {
    Real<T> size;
    T s, c;
  };

  /// Those of one column more than the `count` so far.
  Next with_column(Int count, Matrix<const T> R) const {
    Next next;
    laic1(job, count, x, size, R.at(1, count + 1), R(count + 1, count + 1), next.size, next.s, next.c);
    return next;
  }

  void grow(Int count, const Next& next) {
    for (Int i = 0; i < count; ++i) x[i] = next.s * x[i];
    x[count] = next.c;
    size = next.size;
  }
};

/// The order of the largest leading triangle whose condition number, as estimated, is at most 1 / rcond.
///
/// work    2 mn elements
template <Scalar T>
Int rank_of_triangle(Int mn, Matrix<const T> R, Real<T> rcond, T* work) {
  const Real<T> first = magnitude(R(1, 1));
  if (first == 0) return 0;
  ExtremeValue<T> smallest{2, work, first}, largest{1, work + mn, first};
  *smallest.x = *largest.x = T(1);
  Int rank = 1;
  for (; rank < mn; ++rank) {
    const auto smaller = smallest.with_column(rank, R), larger = largest.with_column(rank, R);
    // A NaN goes on, into the solution: it must not be taken for a column that can be left out.
    const bool is_ill_conditioned = larger.size * rcond > smaller.size;
    if (is_ill_conditioned) break;
    smallest.grow(rank, smaller);
    largest.grow(rank, larger);
  }
  return rank;
}

/// Whether the columns that a rank leaves out have numbers that are not finite. Pivoting may put a column of zeros
/// before them, of which the estimates see no more than the zero.
template <Scalar T>
bool leaves_out_not_finite(const System<T>& system, Int rank) {
  const auto [m, n, nrhs, A, B, jpvt] = system;
  const Real<T> norm = lange('F', m, n - rank, A.at(1, rank + 1), A.ld, static_cast<Real<T>*>(nullptr));
  return !std::isfinite(norm);
}

// -------------------------------------------------------------------------------------------------------- the two ways

template <RealScalar T>
void factor_pivoted(const System<T>& system, T* tau, T* work, Int lwork, T*) {
  const auto [m, n, nrhs, A, B, jpvt] = system;
  Int ignored = 0;
  if (lwork < 3 * std::int64_t{n} + 1) {
    factor_by_exact_norms(m, n, A.data, A.ld, jpvt, tau, work);
  } else {
    geqp3(m, n, A.data, A.ld, jpvt, tau, work, lwork, ignored);
  }
}
template <ComplexScalar T>
void factor_pivoted(const System<T>& system, T* tau, T* work, Int lwork, Real<T>* rwork) {
  Int ignored = 0;
  geqp3(system.m, system.n, system.A.data, system.A.ld, system.jpvt, tau, work, lwork, rwork, ignored);
}

template <RealScalar T>
void factor_one_by_one(const System<T>& system, T* tau, T* work, T*) {
  Int ignored = 0;
  geqpf(system.m, system.n, system.A.data, system.A.ld, system.jpvt, tau, work, ignored);
}
template <ComplexScalar T>
void factor_one_by_one(const System<T>& system, T* tau, T* work, Real<T>* rwork) {
  Int ignored = 0;
  geqpf(system.m, system.n, system.A.data, system.A.ld, system.jpvt, tau, work, rwork, ignored);
}

/// By panels and blocks.
///
/// work    lwork elements: the factors of Q, then first what the pivoted factorisation takes, then the two vectors that
///         show the rank, and in the place of the first of these the factors of Z, with workspace behind
template <Scalar T>
struct ByBlocks {
  const System<T>& system;
  T* work;
  Int lwork;
  Real<T>* rwork;

  void factor() const {
    const Int mn = system.mn();
    factor_pivoted(system, work, work + mn, lwork - mn, rwork);
  }

  void reduce(Int rank) const {
    Int ignored = 0;
    tzrzf(rank, system.n, system.A.data, system.A.ld, z_factors(), rest(), rest_size(), ignored);
  }

  void apply_q() const {
    Int ignored = 0;
    layer::ormqr('L', adjoint<T>, system.m, system.nrhs, system.mn(), system.A, work, system.B, rest(), rest_size(),
                 ignored);
  }

  void apply_z(Int rank) const {
    Int ignored = 0;
    const auto [m, n, nrhs, A, B, jpvt] = system;
    ormrz('L', adjoint<T>, n, nrhs, rank, n - rank, A.data, A.ld, z_factors(), B.data, B.ld, rest(), rest_size(),
          ignored);
  }

 private:
  T* z_factors() const { return work + system.mn(); }
  T* rest() const { return work + 2 * std::ptrdiff_t{system.mn()}; }
  Int rest_size() const { return lwork - 2 * system.mn(); }
};

/// One column and one reflector after another; work is divided in the same way.
template <Scalar T>
struct OneByOne {
  const System<T>& system;
  T* work;
  Real<T>* rwork;

  void factor() const { factor_one_by_one(system, work, work + system.mn(), rwork); }

  void reduce(Int rank) const {
    Int ignored = 0;
    tzrqf(rank, system.n, system.A.data, system.A.ld, z_factors(), ignored);
  }

  void apply_q() const {
    Int ignored = 0;
    const auto [m, n, nrhs, A, B, jpvt] = system;
    orm2r('L', adjoint<T>, m, nrhs, system.mn(), A.data, A.ld, work, B.data, B.ld, rest(), ignored);
  }

  /// Z^H = Zk^H ... Z1^H
  void apply_z(Int rank) const {
    const auto [m, n, nrhs, A, B, jpvt] = system;
    for (Int i = 1; i <= rank; ++i) {
      latzm('L', n - rank + 1, nrhs, A.at(i, rank + 1), A.ld, conjugate(z_factors()[i - 1]), B.at(i, 1),
            B.at(rank + 1, 1), B.ld, rest());
    }
  }

 private:
  T* z_factors() const { return work + system.mn(); }
  T* rest() const { return work + 2 * std::ptrdiff_t{system.mn()}; }
};

// ------------------------------------------------------------------------------------------------------------ a system

/// Solves a system that is in range. The rank is returned.
template <Scalar T, class Way>
Int solve(const System<T>& system, Real<T> rcond, const Way& way) {
  const auto [m, n, nrhs, A, B, jpvt] = system;
  const Int mn = system.mn();
  way.factor();
  const Int rank = rank_of_triangle<T>(mn, A, rcond, way.work + mn);
  if (rank < mn && leaves_out_not_finite(system, rank)) {
    system.fill(1, std::max(m, n), T(std::numeric_limits<Real<T>>::quiet_NaN()));
    return mn;
  }
  if (rank == 0) {
    system.clear(1, std::max(m, n));
    return 0;
  }
  if (rank < n) way.reduce(rank);
  way.apply_q();
  blas::trsm('L', 'U', 'N', 'N', rank, nrhs, T(1), A, B);
  system.clear(rank + 1, n);
  if (rank < n) way.apply_z(rank);
  system.permute(way.work);
  return rank;
}

/// Solves any system. The rank is returned.
template <Scalar T, class Way>
Int solve_in_range(const System<T>& system, Real<T> rcond, const Way& way) {
  const auto [m, n, nrhs, A, B, jpvt] = system;
  if (system.mn() == 0 || nrhs == 0) {
    system.clear(1, n);
    return 0;
  }
  const auto scaling_of_a = NormScaling<Real<T>>::without_squares(m, n, A);
  if (scaling_of_a.norm() == 0) {
    system.clear(1, std::max(m, n));
    return 0;
  }
  const auto scaling_of_b = NormScaling<Real<T>>::without_squares(m, nrhs, B);

  const Int rank = solve(system, rcond, way);
  scaling_of_a.redo(n, nrhs, B);  // X belongs to the scaled A
  scaling_of_a.undo('U', rank, rank, A);
  scaling_of_b.undo('G', n, nrhs, B);
  return rank;
}

// ----------------------------------------------------------------------------------------------------------- workspace

template <Scalar T>
std::int64_t best_workspace(Int m, Int n, Int nrhs) {
  if (m == 0 && n == 0) return 1;
  const std::int64_t mn = std::min(m, n), nb = best_block_size<T>(m, n, nrhs);
  return std::max({std::int64_t{1}, mn + 2 * std::int64_t{n} + nb * (std::int64_t{n} + 1), 2 * mn + nb * nrhs});
}

std::int64_t least_workspace(Int m, Int n, Int nrhs) {
  if (m == 0 && n == 0) return 1;
  const std::int64_t mn = std::min(m, n);
  return mn + std::max({2 * mn, std::int64_t{n} + 1, mn + nrhs});
}

template <Scalar T>
void solve_by_blocks(const System<T>& system, Real<T> rcond, Int& rank, T* work, Int lwork, Real<T>* rwork, Int& info) {
  const auto [m, n, nrhs, A, B, jpvt] = system;
  const T best = as_work_size<T>(best_workspace<T>(m, n, nrhs));
  work[0] = best;
  info = system.check();
  if (info == 0 && lwork < least_workspace(m, n, nrhs) && lwork != -1) info = -12;
  if (info != 0) return report_bad_argument<T>("GELSY", info);
  if (lwork == -1) return;
  rank = solve_in_range(system, rcond, ByBlocks<T>{system, work, lwork, rwork});
  work[0] = best;
}

template <Scalar T>
void solve_one_by_one(const System<T>& system, Real<T> rcond, Int& rank, T* work, Real<T>* rwork, Int& info) {
  info = system.check();
  if (info != 0) return report_bad_argument<T>("GELSX", info);
  rank = solve_in_range(system, rcond, OneByOne<T>{system, work, rwork});
}

}  // namespace

template <RealScalar T>
void gelsy(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, T rcond, Int& rank, T* work, Int lwork,
           Int& info) {
  solve_by_blocks<T>({m, n, nrhs, {a, lda}, {b, ldb}, jpvt}, rcond, rank, work, lwork, nullptr, info);
}
template <ComplexScalar T>
void gelsy(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, Real<T> rcond, Int& rank, T* work,
           Int lwork, Real<T>* rwork, Int& info) {
  solve_by_blocks<T>({m, n, nrhs, {a, lda}, {b, ldb}, jpvt}, rcond, rank, work, lwork, rwork, info);
}

template <RealScalar T>
void gelsx(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, T rcond, Int& rank, T* work, Int& info) {
  solve_one_by_one<T>({m, n, nrhs, {a, lda}, {b, ldb}, jpvt}, rcond, rank, work, nullptr, info);
}
template <ComplexScalar T>
void gelsx(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int* jpvt, Real<T> rcond, Int& rank, T* work,
           Real<T>* rwork, Int& info) {
  solve_one_by_one<T>({m, n, nrhs, {a, lda}, {b, ldb}, jpvt}, rcond, rank, work, rwork, info);
}

}  // namespace nuv

#include "orthogonal/rank_revealing.entries.inc"
