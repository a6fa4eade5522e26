#include "solvers/packed_triangular.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "solvers/packed_sweeps.hpp"

namespace nuv {
namespace {

/// Position of the first diagonal entry that is exactly zero, or 0.
template <class T>
Int first_zero_on_diagonal(const PackedTriangle<T>& A) {
  for (Int j = 1; j <= A.n; ++j) {
    if (A(j, j) == T(0)) return j;
  }
  return 0;
}

}  // namespace

template <Scalar T>
void tptri(char uplo, char diag, Int n, T* ap, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (!is_one_of(diag, 'N', 'U')) info = -2;
  else if (n < 0) info = -3;
  if (info != 0) return report_bad_argument<T>("TPTRI", info);

  const PackedTriangle<T> A{same_letter(uplo, 'U'), n, ap};
  const bool unit = same_letter(diag, 'U');
  if (!unit) {
    info = first_zero_on_diagonal(A);
    if (info != 0) return;
  }
  // What is inverted already stands before the column in an upper triangle, and behind it in a lower one.
  for (Int step = 1; step <= n; ++step) {
    const Int j = A.upper ? step : n + 1 - step;
    if (!unit) A(j, j) = quotient(T(1), A(j, j));
    const Vector<T> beside{A.upper ? A.at(1, j) : A.at(j, j) + 1, 1};
    blas::tpmv(uplo, 'N', diag, step - 1, A.upper ? ap : A.at(j, j) + (n - j + 1), beside);
    blas::scal(step - 1, unit ? T(-1) : negated(A(j, j)), beside);
  }
}

template <Scalar T>
void xtptrs(char uplo, char trans, char diag, Int n, Int nrhs, const T* ap, T* b, Int ldb, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (!is_one_of(trans, 'N', 'T', 'C')) info = -2;
  else if (!is_one_of(diag, 'N', 'U')) info = -3;
  else if (n < 0) info = -4;
  else if (nrhs < 0) info = -5;
  else if (ldb < std::max(1, n)) info = -8;
  if (info != 0) return report_bad_argument<T>("TPTRS", info);
  if (n == 0) return;

  if (same_letter(diag, 'N')) {
    info = first_zero_on_diagonal(PackedTriangle<const T>{same_letter(uplo, 'U'), n, ap});
    if (info != 0) return;
  }
  if (nrhs > 0) {
    solve_in_sweeps<T>(RoutineName<T>("TPTRS"), n, nrhs, {PackedSweep<T>(uplo, trans, diag, n, ap)}, Matrix{b, ldb});
  }
}

}  // namespace nuv

#include "solvers/packed_triangular.entries.inc"
