#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

/// Row i of B := row i + 1, and row i + 1 := row i - factor row i + 1.
template <RealScalar T>
void eliminate_exchanged(Matrix<T> B, Int i, Int nrhs, T factor) {
  for (Int j = 1; j <= nrhs; ++j) {
    const T upper = B(i, j);
    B(i, j) = B(i + 1, j);
    B(i + 1, j) = upper - factor * B(i, j);
  }
}

/// Row i + 1 of B -= factor times row i.
template <RealScalar T>
void eliminate(Matrix<T> B, Int i, Int nrhs, T factor) {
  for (Int j = 1; j <= nrhs; ++j) B(i + 1, j) -= factor * B(i, j);
}

}  // namespace

/// Solves A X = B for a tridiagonal A of order n by elimination with exchanges of neighbouring rows, and no memory but
/// that of its arguments.
///
/// dl, d, du   n-1, n, n-1 elements below, on and above the diagonal. On return U: its diagonal in d, its first
///             superdiagonal in du, its second one in the first n-2 elements of dl.
/// b           n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
/// info        0; -k: argument k was bad (reported); k: pivot k is exactly zero. There is no solution then, and the
///             arrays are left as the elimination up to it made them.
template <RealScalar T>
void gtsv_small(Int n, Int nrhs, T* dl, T* d, T* du, T* b, Int ldb, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (nrhs < 0) info = -2;
  else if (ldb < std::max(1, n)) info = -7;
  if (info != 0) return report_bad_argument<T>("GTSV", info);
  if (n == 0) return;

  const Matrix B{b, ldb};
  // A chain of operations leads from each pivot to the next, which therefore does not go through memory.
  T pivot = d[0];
  for (Int k = 0; k < n - 1; ++k) {
    const bool is_last = k == n - 2;
    const T below = dl[k];
    if (std::abs(pivot) >= std::abs(below)) {
      if (pivot == T(0)) {
        info = k + 1;
        return;
      }
      const T factor = below / pivot;
      pivot = d[k + 1] - factor * du[k];
      eliminate(B, k + 1, nrhs, factor);
      if (!is_last) dl[k] = 0;
    } else {
      const T factor = pivot / below, beside = d[k + 1];
      d[k] = below;
      pivot = du[k] - factor * beside;
      if (!is_last) {
        dl[k] = du[k + 1];
        du[k + 1] = negated(factor) * dl[k];
      }
      du[k] = beside;
      eliminate_exchanged(B, k + 1, nrhs, factor);
    }
    d[k + 1] = pivot;
  }
  if (d[n - 1] == T(0)) {
    info = n;
    return;
  }

  for (Int j = 1; j <= nrhs; ++j) {
    T* const x = B.at(1, j);
    x[n - 1] /= d[n - 1];
    if (n > 1) x[n - 2] = (x[n - 2] - du[n - 2] * x[n - 1]) / d[n - 2];
    for (Int i = n - 3; i >= 0; --i) x[i] = (x[i] - du[i] * x[i + 1] - dl[i] * x[i + 2]) / d[i];
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/gtsv_small.entries.inc"
