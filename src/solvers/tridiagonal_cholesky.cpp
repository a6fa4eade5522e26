#include "solvers/tridiagonal_cholesky.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"

namespace nuv {

template <Scalar T>
void pttrf(Int n, Real<T>* d, T* e, Int& info) {
  info = n < 0 ? -1 : 0;
  if (info != 0) return report_bad_argument<T>("PTTRF", info);
  if (n == 0) return;
  Real<T> pivot = d[0];
  for (Int i = 0; i < n - 1; ++i) {
    if (!(pivot > 0)) {
      info = i + 1;
      return;
    }
    const T below = e[i];
    e[i] = below / pivot;
    Real<T> next = d[i + 1] - std::real(e[i]) * std::real(below);
    if constexpr (ComplexScalar<T>) next -= std::imag(e[i]) * std::imag(below);
    d[i + 1] = pivot = next;
  }
  if (!(pivot > 0)) info = n;
}

namespace {

/// Calls solve(j, count) for strips of right-hand sides.
template <Scalar T, class Solve>
void solve_strips(Text option, Int n, Int nrhs, Solve solve) {
  const Int nb = std::max(1, Tuning<T>{RoutineName<T>("PTTRS"), option, n, nrhs}.block_size());
  for (Int j = 1; j <= nrhs; j += std::min(nb, nrhs)) solve(j, std::min(nb, nrhs - j + 1));
}

}  // namespace

template <RealScalar T>
void xpttrs(Int n, Int nrhs, const T* d, const T* e, T* b, Int ldb, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (nrhs < 0) info = -2;
  else if (ldb < std::max(1, n)) info = -6;
  if (info != 0) return report_bad_argument<T>("PTTRS", info);
  if (n == 0 || nrhs == 0) return;
  solve_strips<T>(" ", n, nrhs, [&](Int j, Int count) { blas::ptts2(n, count, d, e, block(Matrix{b, ldb}, 1, j)); });
}

template <ComplexScalar T>
void xpttrs(char uplo, Int n, Int nrhs, const Real<T>* d, const T* e, T* b, Int ldb, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (ldb < std::max(1, n)) info = -7;
  if (info != 0) return report_bad_argument<T>("PTTRS", info);
  if (n == 0 || nrhs == 0) return;
  const Int iuplo = same_letter(uplo, 'U') ? 1 : 0;
  solve_strips<T>({&uplo, 1}, n, nrhs, [&](Int j, Int count) {
    blas::ptts2(iuplo, n, count, d, e, block(Matrix{b, ldb}, 1, j));
  });
}

template <Scalar T>
void ptsv(Int n, Int nrhs, Real<T>* d, T* e, T* b, Int ldb, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (nrhs < 0) info = -2;
  else if (ldb < std::max(1, n)) info = -6;
  if (info != 0) return report_bad_argument<T>("PTSV", info);
  pttrf(n, d, e, info);
  if (info != 0) return;
  if constexpr (ComplexScalar<T>) {
    layer::pttrs('L', n, nrhs, d, e, {b, ldb}, info);
  } else {
    layer::pttrs(n, nrhs, d, e, {b, ldb}, info);
  }
}

}  // namespace nuv

#include "solvers/tridiagonal_cholesky.entries.inc"
