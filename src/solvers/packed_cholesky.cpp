#include "solvers/packed_cholesky.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "layer.hpp"
#include "solvers/cholesky.hpp"
#include "solvers/packed_sweeps.hpp"
#include "solvers/packed_triangular.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n.
Int check_triangle(char uplo, Int n) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  return 0;
}

/// The same for uplo, n, nrhs, ap, b, ldb.
Int check_system(char uplo, Int n, Int nrhs, Int ldb) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (nrhs < 0) return -3;
  if (ldb < std::max(1, n)) return -6;
  return 0;
}

template <class T>
Vector<T> column(const PackedTriangle<T>& A, Int i, Int j) {
  return {A.at(i, j), 1};
}

/// Puts the root of a pivot into its place; false, and the pivot itself there, if it is not positive.
template <Scalar T>
bool take_root(Real<T> pivot, T& place) {
  const bool positive = pivot > 0;
  place = positive ? std::sqrt(pivot) : pivot;
  return positive;
}

// ------------------------------------------------------------------------------------------------------ in one piece

/// Column j of U is U00^-H times what A has above its diagonal, the pivot what is left of A(j, j).
template <Scalar T>
void factor_upper(const PackedTriangle<T>& A, Int& info) {
  for (Int j = 1; j <= A.n; ++j) {
    blas::tpsv('U', adjoint<T>, 'N', j - 1, A.ap, column(A, 1, j));
    if (!take_root(std::real(A(j, j)) - squared_length<T>(j - 1, column(A, 1, j)), A(j, j))) {
      info = j;
      return;
    }
  }
}

/// Column j of L is that of A over the root of the pivot, and is taken from all that stands behind it.
template <Scalar T>
void factor_lower(const PackedTriangle<T>& A, Int& info) {
  using R = Real<T>;
  for (Int j = 1; j <= A.n; ++j) {
    if (!take_root(std::real(A(j, j)), A(j, j))) {
      info = j;
      return;
    }
    if (j == A.n) return;
    blas::scal(A.n - j, 1 / std::real(A(j, j)), column(A, j + 1, j));
    add_square<T>('L', A.n - j, R(-1), column(A, j + 1, j), A.at(j + 1, j + 1));
  }
}

// ------------------------------------------------------------------------------------------------- through two buffers

// In the step of column j, each block beside what its products need, copied from the packed triangle:
//
//     U00 | U01 | U02     P = U01   Q = U02        L00 |  .  |  .     P = L10 | A11
//      .  | A11 | A12         A11       A12        L10 | A11 |  .
//      .  |  .  |  .                               L20 | A21 |  .     Q = L20 | A21
//
//     A11 -= U01^H U01, factored;                  A11 -= L10 L10^H, factored;
//     A12 := U11^-H (A12 - U01^H U02);             A21 := (A21 - L20 L10^H) L11^-H
//
// with A12 and A21 taken in blocks of nb columns and rows.

template <Scalar T>
void factor_upper_by_blocks(const PackedTriangle<T>& A, Int nb, T* buffers, Int& info) {
  using R = Real<T>;
  const Int n = A.n;
  const Matrix<T> P{buffers, n}, Q{P.at(1, nb + 1), n};
  for (Int done = 0; done < n; done += nb) {
    const Int j = done + 1, jb = std::min(nb, n - done);
    const Matrix<T> A11 = block(P, j, 1), A12 = block(Q, j, 1);
    ppunpack('U', A.ap, n, 1, j, done + jb, jb, P.data, P.ld);
    add_square<T>('U', adjoint<T>, jb, done, R(-1), P, R(1), A11);
    potf2('U', jb, A11.data, A11.ld, info);
    if (info != 0) {
      info += done;
      return;
    }
    for (Int k = j + jb; k <= n; k += nb) {
      const Int kb = std::min(nb, n - k + 1);
      ppunpack('U', A.ap, n, 1, k, done + jb, kb, Q.data, Q.ld);
      blas::gemm(adjoint<T>, 'N', jb, kb, done, T(-1), P, Q, T(1), A12);
      blas::trsm('L', 'U', adjoint<T>, 'N', jb, kb, T(1), A11, A12);
      pppack('U', A.ap, n, j, k, jb, kb, A12.data, A12.ld);
    }
    pppack('U', A.ap, n, j, j, jb, jb, A11.data, A11.ld);
  }
}

template <Scalar T>
void factor_lower_by_blocks(const PackedTriangle<T>& A, Int nb, T* buffers, Int& info) {
  using R = Real<T>;
  const Int n = A.n;
  const Matrix<T> P{buffers, nb}, Q{P.at(1, n + 1), nb};
  for (Int done = 0; done < n; done += nb) {
    const Int j = done + 1, jb = std::min(nb, n - done);
    const Matrix<T> A11 = block(P, 1, j), A21 = block(Q, 1, j);
    ppunpack('L', A.ap, n, j, 1, jb, done + jb, P.data, P.ld);
    add_square<T>('L', 'N', jb, done, R(-1), P, R(1), A11);
    potf2('L', jb, A11.data, A11.ld, info);
    if (info != 0) {
      info += done;
      return;
    }
    for (Int k = j + jb; k <= n; k += nb) {
      const Int kb = std::min(nb, n - k + 1);
      ppunpack('L', A.ap, n, k, 1, kb, done + jb, Q.data, Q.ld);
      blas::gemm('N', adjoint<T>, kb, jb, done, T(-1), Q, P, T(1), A21);
      blas::trsm('R', 'L', adjoint<T>, 'N', kb, jb, T(1), A11, A21);
      pppack('L', A.ap, n, k, j, kb, jb, A21.data, A21.ld);
    }
    pppack('L', A.ap, n, j, j, jb, jb, A11.data, A11.ld);
  }
}

// --------------------------------------------------------------------------------------------------- without a buffer

/// Rows j to j + nb - 1 of U at a time, each element the dot product of two columns: those of the block stay in cache
/// while all behind them pass.
template <Scalar T>
void factor_upper_by_columns(const PackedTriangle<T>& A, Int nb, Int& info) {
  for (Int j = 1; j <= A.n; j += nb) {
    const Int last = std::min(A.n, j + nb - 1);
    for (Int k = j; k <= A.n; ++k) {
      for (Int i = j; i <= std::min(last, k - 1); ++i) {
        const T product = inner_product<T>(true, i - 1, column(A, 1, i), column(A, 1, k));
        A(i, k) = (A(i, k) - product) / std::real(A(i, i));
      }
      if (k > last) continue;
      if (!take_root(std::real(A(k, k)) - squared_length<T>(k - 1, column(A, 1, k)), A(k, k))) {
        info = k;
        return;
      }
    }
  }
}

/// Columns j to j + nb - 1 of L at a time: they stay in cache while all before them are subtracted.
template <Scalar T>
void factor_lower_by_columns(const PackedTriangle<T>& A, Int nb, Int& info) {
  const Int n = A.n;
  const auto subtract_column = [&](Int i, Int k) {
    blas::axpy(n - k + 1, negated(conjugate(A(k, i))), column(A, k, i), column(A, k, k));
  };
  for (Int j = 1; j <= n; j += nb) {
    const Int last = std::min(n, j + nb - 1);
    for (Int i = 1; i < j; ++i) {
      for (Int k = j; k <= last; ++k) subtract_column(i, k);
    }
    for (Int k = j; k <= last; ++k) {
      for (Int i = j; i < k; ++i) subtract_column(i, k);
      if (!take_root(std::real(A(k, k)), A(k, k))) {
        info = k;
        return;
      }
      blas::scal(n - k, 1 / std::real(A(k, k)), column(A, k + 1, k));
    }
  }
}

}  // namespace

template <Scalar T>
void xpptrf(char uplo, Int n, T* ap, Int& info) {
  info = check_triangle(uplo, n);
  if (info != 0) return report_bad_argument<T>("PPTRF", info);
  if (n == 0) return;

  const RoutineName<T> name("PPTRF");
  const PackedTriangle<T> A{same_letter(uplo, 'U'), n, ap};
  if (n <= Tuning<T>{name}.crossover()) return A.upper ? factor_upper(A, info) : factor_lower(A, info);

  constexpr Int count = 1;
  const Int nb = Tuning<T>{name, "Memory", n, count}.block_size();
  const Workspace<T> buffers(static_cast<std::size_t>(count + 1) * static_cast<std::size_t>(n) *
                             static_cast<std::size_t>(nb));
  if (buffers.data() != nullptr) {
    if (A.upper) factor_upper_by_blocks(A, nb, buffers.data(), info);
    else factor_lower_by_blocks(A, nb, buffers.data(), info);
  } else {
    const Int columns = Tuning<T>{name, "No Memory", n, count}.block_size();
    if (A.upper) factor_upper_by_columns(A, columns, info);
    else factor_lower_by_columns(A, columns, info);
  }
}

template <Scalar T>
void xpptrs(char uplo, Int n, Int nrhs, const T* ap, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("PPTRS", info);
  if (n == 0 || nrhs == 0) return;
  const bool upper = same_letter(uplo, 'U');
  const PackedSweep<T> sweep(uplo, 'N', 'N', n, ap), adjoint_sweep(uplo, adjoint<T>, 'N', n, ap);
  solve_in_sweeps<T>(RoutineName<T>("PPTRS"), n, nrhs, {upper ? adjoint_sweep : sweep, upper ? sweep : adjoint_sweep},
                     Matrix{b, ldb});
}

template <Scalar T>
void ppsv(char uplo, Int n, Int nrhs, T* ap, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("PPSV", info);
  layer::pptrf(uplo, n, ap, info);
  if (info == 0) layer::pptrs(uplo, n, nrhs, ap, {b, ldb}, info);
}

template <Scalar T>
void pptri(char uplo, Int n, T* ap, Int& info) {
  info = check_triangle(uplo, n);
  if (info != 0) return report_bad_argument<T>("PPTRI", info);
  if (n == 0) return;
  tptri(uplo, 'N', n, ap, info);
  if (info > 0) return;

  // The product of the inverted factor X with its adjoint, in place: X X^H for an upper triangle, X^H X for a lower
  // one.
  const PackedTriangle<T> A{same_letter(uplo, 'U'), n, ap};
  for (Int j = 1; j <= n; ++j) {
    if (A.upper) {
      add_square<T>('U', j - 1, Real<T>(1), column(A, 1, j), ap);
      blas::scal(j, std::real(A(j, j)), column(A, 1, j));
    } else {
      A(j, j) = squared_length<T>(n - j + 1, column(A, j, j));
      if (j < n) blas::tpmv('L', adjoint<T>, 'N', n - j, A.at(j + 1, j + 1), column(A, j + 1, j));
    }
  }
}

}  // namespace nuv

#include "solvers/packed_cholesky.entries.inc"
