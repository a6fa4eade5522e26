#include <algorithm>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "environment/conjugated.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "solvers/indefinite.hpp"
#include "solvers/indefinite_groups.hpp"
#include "solvers/stored_triangle.hpp"

namespace nuv {
namespace {

/// y^T := y^T - x^T A, or y^T - x^H A, for an m by n matrix A.
template <Mirror mirror, Scalar T>
void subtract_inner_products(Int m, Int n, Matrix<const T> A, Vector<const T> x, Vector<T> y) {
  constexpr bool is_adjoint = mirror == Mirror::conjugate;
  const Conjugated<T> turned(n, y, is_adjoint);
  blas::gemv(is_adjoint ? 'C' : 'T', m, n, T(-1), A, x, T(1), y);
}

/// The rows of B that belong to a block of D, divided by it.
template <Mirror mirror, class Triangle, Scalar T>
void divide_by(const Triangle& A, const PivotBlock& block, Int nrhs, Matrix<T> B) {
  const Int first = block.first, last = block.last;
  if (!block.is_pair()) return blas::scal(nrhs, reciprocal<mirror>(T(A(first, first))), row(B, first, 1));
  const T coupling = A(last, first), mirrored = mirror_image<mirror>(coupling);
  const T ratio_first = quotient(T(A(first, first)), mirrored), ratio_last = quotient(T(A(last, last)), coupling);
  const T determinant = ratio_first * ratio_last - T(1);
  for (Int j = 1; j <= nrhs; ++j) {
    const T b_first = quotient(B(first, j), mirrored), b_last = quotient(B(last, j), coupling);
    B(first, j) = quotient(ratio_last * b_first - b_last, determinant);
    B(last, j) = quotient(ratio_first * b_last - b_first, determinant);
  }
}

/// Solves with the factors block by block of D.
template <Mirror mirror, class Triangle, Scalar T>
void solve_one_by_one(const EliminationOrder& order, const Triangle& A, const Int* ipiv, Int nrhs, Matrix<T> B) {
  const auto factor_column = [&](Rows rows, Int k) { return Vector<const T>(A.at(rows.first, k), 1); };
  const auto exchange_rows = [&](const PivotBlock& pivot) {
    if (pivot.last != pivot.row) blas::swap(nrhs, row(B, pivot.last, 1), row(B, pivot.row, 1));
  };
  for_each_block(order, ipiv, [&](const PivotBlock& pivot) {
    exchange_rows(pivot);
    const Rows rest = order.beyond(pivot.last);
    for (Int k = pivot.first; rest.count() > 0; k = pivot.last) {
      subtract_outer_product<T>(rest.count(), nrhs, factor_column(rest, k), row(B, k, 1), block(B, rest.first, 1));
      if (k == pivot.last) break;
    }
    divide_by<mirror>(A, pivot, nrhs, B);
  });
  for_each_block_backwards(order, order.last(), ipiv, [&](const PivotBlock& pivot) {
    const Rows rest = order.beyond(pivot.last);
    for (Int k = pivot.first; rest.count() > 0; k = pivot.last) {
      subtract_inner_products<mirror, T>(rest.count(), nrhs, block(B, rest.first, 1), factor_column(rest, k),
                                         row(B, k, 1));
      if (k == pivot.last) break;
    }
    exchange_rows(pivot);
  });
}

/// Right-hand sides from which on groups of blocks pay.
constexpr Int fewest_for_groups = 8;

/// Solves with the factors in full storage for right-hand sides that are enough for products of matrices: by groups of
/// blocks of D, for some of the right-hand sides at a time.
template <Mirror mirror, Scalar T>
void solve_by_groups(const EliminationOrder& order, Matrix<const T> A, const Int* ipiv, Int nrhs, Matrix<T> B) {
  for (Int k = order.first(); order.includes(k);) {
    const PivotGroup<T> group = PivotGroup<T>::from(order, A, ipiv, k);
    group.exchange_rows(nrhs, B);
    group.solve_forward(nrhs, B);
    group.for_each([&](const PivotBlock& pivot) { divide_by<mirror>(A, pivot, nrhs, B); });
    k = order.next(group.last());
  }
  for (Int k = order.last(); order.includes(k);) {
    const PivotGroup<T> group = PivotGroup<T>::up_to(order, A, ipiv, k);
    group.solve_backward(mirror == Mirror::conjugate ? 'C' : 'T', nrhs, B);
    group.exchange_rows_back(nrhs, B);
    k = order.previous(group.first());
  }
}

template <Mirror mirror, Scalar T>
void solve(const EliminationOrder& order, Matrix<const T> A, const Int* ipiv, Int nrhs, Matrix<T> B) {
  if (nrhs < fewest_for_groups) return solve_one_by_one<mirror>(order, A, ipiv, nrhs, B);
  constexpr Int together = PivotGroup<T>::most_columns_of_b;
  for (Int j = 1; j <= nrhs; j += together) {
    solve_by_groups<mirror, T>(order, A, ipiv, std::min(together, nrhs - j + 1), block(B, 1, j));
  }
}

/// 0, or minus the position of the first bad argument of uplo, n, nrhs, a, lda, ipiv, b, ldb.
Int check_system(char uplo, Int n, Int nrhs, Int lda, Int ldb) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (nrhs < 0) return -3;
  if (lda < std::max(1, n)) return -5;
  if (ldb < std::max(1, n)) return -8;
  return 0;
}

/// The same for uplo, n, nrhs, ap, ipiv, b, ldb.
Int check_packed_system(char uplo, Int n, Int nrhs, Int ldb) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (nrhs < 0) return -3;
  if (ldb < std::max(1, n)) return -7;
  return 0;
}

template <Mirror mirror, Scalar T>
void solve_packed(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, Matrix<T> B) {
  const EliminationOrder order(uplo, n);
  const PackedTriangle<const T> A{order.upper(), n, ap};
  if (nrhs > 0) solve_one_by_one<mirror>(order, A, ipiv, nrhs, B);
}

/// Runs solve(first, count) for the right-hand sides, strip by strip: while the factor goes by, a strip stays in cache.
template <Scalar T, class Solve>
void for_each_strip(RoutineName<T> name, Int n, Int nrhs, Solve solve) {
  const Int nb = Tuning<T>{.name = name, .n1 = n, .n2 = nrhs}.block_size();
  for (Int j = 1; j <= nrhs; j += nb) solve(j, std::min(nb, nrhs - j + 1));
}

/// 0, or minus the position of the first bad argument of uplo, n, nrhs, a, lda, ipiv, b, ldb, work, lwork.
Int check_driver(char uplo, Int n, Int nrhs, Int lda, Int ldb, Int lwork) {
  const Int info = check_system(uplo, n, nrhs, lda, ldb);
  return info == 0 && lwork < 1 && lwork != -1 ? -10 : info;
}

}  // namespace

template <Scalar T>
void syts2(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, lda, ldb);
  if (info != 0) return report_bad_argument<T>("SYTRS", info);
  if (n > 0 && nrhs > 0) solve<Mirror::plain, T>(EliminationOrder(uplo, n), {a, lda}, ipiv, nrhs, {b, ldb});
}

template <ComplexScalar T>
void hets2(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, lda, ldb);
  if (info != 0) return report_bad_argument<T>("HETRS", info);
  if (n > 0 && nrhs > 0) solve<Mirror::conjugate, T>(EliminationOrder(uplo, n), {a, lda}, ipiv, nrhs, {b, ldb});
}

template <Scalar T>
void xsytrs(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, lda, ldb);
  if (info != 0) return report_bad_argument<T>("SYTRS", info);
  if (n == 0) return;
  for_each_strip(RoutineName<T>("SYTRS"), n, nrhs, [&](Int j, Int count) {
    syts2(uplo, n, count, a, lda, ipiv, Matrix{b, ldb}.at(1, j), ldb, info);
  });
}

template <ComplexScalar T>
void xhetrs(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, lda, ldb);
  if (info != 0) return report_bad_argument<T>("HETRS", info);
  if (n == 0) return;
  for_each_strip(RoutineName<T>("HETRS"), n, nrhs, [&](Int j, Int count) {
    hets2(uplo, n, count, a, lda, ipiv, Matrix{b, ldb}.at(1, j), ldb, info);
  });
}

template <Scalar T>
void sysv(char uplo, Int n, Int nrhs, T* a, Int lda, Int* ipiv, T* b, Int ldb, T* work, Int lwork, Int& info) {
  info = check_driver(uplo, n, nrhs, lda, ldb, lwork);
  if (info != 0) return report_bad_argument<T>("SYSV", info);
  const Int nb = Tuning<T>{RoutineName<T>("SYTRF"), {&uplo, 1}, n}.block_size();
  work[0] = as_work_size<T>(std::int64_t{n} * nb);
  if (lwork == -1) return;
  sytrf(uplo, n, a, lda, ipiv, work, lwork, info);
  if (info == 0) layer::sytrs(uplo, n, nrhs, Matrix<const T>{a, lda}, ipiv, Matrix{b, ldb}, info);
  work[0] = as_work_size<T>(std::int64_t{n} * nb);
}

template <ComplexScalar T>
void hesv(char uplo, Int n, Int nrhs, T* a, Int lda, Int* ipiv, T* b, Int ldb, T* work, Int lwork, Int& info) {
  info = check_driver(uplo, n, nrhs, lda, ldb, lwork);
  if (info != 0) return report_bad_argument<T>("HESV", info);
  const Int nb = Tuning<T>{RoutineName<T>("HETRF"), {&uplo, 1}, n}.block_size();
  work[0] = as_work_size<T>(std::int64_t{n} * nb);
  if (lwork == -1) return;
  hetrf(uplo, n, a, lda, ipiv, work, lwork, info);
  if (info == 0) layer::hetrs(uplo, n, nrhs, Matrix<const T>{a, lda}, ipiv, Matrix{b, ldb}, info);
  work[0] = as_work_size<T>(std::int64_t{n} * nb);
}

template <Scalar T>
void spts2(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_packed_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("SPTRS", info);
  solve_packed<Mirror::plain, T>(uplo, n, nrhs, ap, ipiv, {b, ldb});
}

template <Scalar T>
void xsptrs(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_packed_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("SPTRS", info);
  if (n == 0) return;
  for_each_strip(RoutineName<T>("SPTRS"), n, nrhs, [&](Int j, Int count) {
    spts2(uplo, n, count, ap, ipiv, Matrix{b, ldb}.at(1, j), ldb, info);
  });
}

template <Scalar T>
void spsv(char uplo, Int n, Int nrhs, T* ap, Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_packed_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("SPSV", info);
  sptrf(uplo, n, ap, ipiv, info);
  if (info == 0) layer::sptrs(uplo, n, nrhs, ap, ipiv, Matrix{b, ldb}, info);
}

template <ComplexScalar T>
void hpts2(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_packed_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("HPTRS", info);
  solve_packed<Mirror::conjugate, T>(uplo, n, nrhs, ap, ipiv, {b, ldb});
}

template <ComplexScalar T>
void xhptrs(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_packed_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("HPTRS", info);
  if (n == 0) return;
  for_each_strip(RoutineName<T>("HPTRS"), n, nrhs, [&](Int j, Int count) {
    hpts2(uplo, n, count, ap, ipiv, Matrix{b, ldb}.at(1, j), ldb, info);
  });
}

template <ComplexScalar T>
void hpsv(char uplo, Int n, Int nrhs, T* ap, Int* ipiv, T* b, Int ldb, Int& info) {
  info = check_packed_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("HPSV", info);
  hptrf(uplo, n, ap, ipiv, info);
  if (info == 0) layer::hptrs(uplo, n, nrhs, ap, ipiv, Matrix{b, ldb}, info);
}

}  // namespace nuv

#include "solvers/indefinite_solve.entries.inc"
