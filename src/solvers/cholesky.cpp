#include "solvers/cholesky.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/block_plan.hpp"
#include "environment/conjugated.hpp"
#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "solvers/triangular.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of uplo, n, a, lda.
Int check_triangle(char uplo, Int n, Int lda) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (lda < std::max(1, n)) return -4;
  return 0;
}

/// The same for uplo, n, nrhs, a, lda, b, ldb.
Int check_system(char uplo, Int n, Int nrhs, Int lda, Int ldb) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (n < 0) return -2;
  if (nrhs < 0) return -3;
  if (lda < std::max(1, n)) return -5;
  if (ldb < std::max(1, n)) return -7;
  return 0;
}

}  // namespace

// Left-looking: in step j the block row (upper) or block column (lower) receives the updates of all before it, and is
// finished.
//
//     U00 | U01 | U02        A11 -= U01^H U01, factored;             L00 |  .  |  .
//      .  | A11 | A12        A12 := U11^-H (A12 - U01^H U02);        L10 | A11 |  .
//      .  |  .  |  .         the lower form is its transpose.        L20 | A21 |  .
template <Scalar T>
void xpotrf(char uplo, Int n, T* a, Int lda, Int& info) {
  using R = Real<T>;
  info = 0;
  const bool upper = same_letter(uplo, 'U');
  const Int nb = Tuning<T>{RoutineName<T>("POTRF"), {&uplo, 1}, n}.block_size();
  if (!are_divided(n, nb)) return potf2(uplo, n, a, lda, info);

  const Matrix A{a, lda};
  const Int steps = (n + nb - 1) / nb;
  for (Int step = 0; step < steps; ++step) {
    const Int done = step * nb, j = done + 1;
    const Int jb = std::min(n - done, nb);
    const Int rest = n - done - jb;
    if (upper) {
      add_square<T>('U', adjoint<T>, jb, done, R(-1), block(A, 1, j), R(1), block(A, j, j));
    } else {
      add_square<T>('L', 'N', jb, done, R(-1), block(A, j, 1), R(1), block(A, j, j));
    }
    potf2(upper ? 'U' : 'L', jb, A.at(j, j), lda, info);
    if (info != 0) {
      info += done;
      return;
    }
    if (rest == 0) return;
    if (upper) {
      const Matrix A12 = block(A, j, j + jb);
      blas::gemm(adjoint<T>, 'N', jb, rest, done, T(-1), block(A, 1, j), block(A, 1, j + jb), T(1), A12);
      blas::trsm('L', 'U', adjoint<T>, 'N', jb, rest, T(1), block(A, j, j), A12);
    } else {
      const Matrix A21 = block(A, j + jb, j);
      blas::gemm('N', adjoint<T>, rest, jb, done, T(-1), block(A, j + jb, 1), block(A, j, 1), T(1), A21);
      blas::trsm('R', 'L', adjoint<T>, 'N', rest, jb, T(1), block(A, j, j), A21);
    }
  }
}

template <Scalar T>
void potf2(char uplo, Int n, T* a, Int lda, Int& info) {
  info = check_triangle(uplo, n, lda);
  if (info != 0) return report_bad_argument<T>("POTF2", info);
  if (n == 0) return;
  if (same_letter(uplo, 'U')) {
    blas::potrf_u_small(uplo, n, Matrix{a, lda}, info);
  } else {
    blas::potrf_l_small(uplo, n, Matrix{a, lda}, info);
  }
}

template <Scalar T>
void potrs(char uplo, Int n, Int nrhs, const T* a, Int lda, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, lda, ldb);
  if (info != 0) return report_bad_argument<T>("POTRS", info);
  if (n == 0 || nrhs == 0) return;
  const bool upper = same_letter(uplo, 'U');
  for (const char trans : {upper ? adjoint<T> : 'N', upper ? 'N' : adjoint<T>}) {
    blas::trsm('L', upper ? 'U' : 'L', trans, 'N', n, nrhs, T(1), Matrix{a, lda}, Matrix{b, ldb});
  }
}

template <Scalar T>
void posv(char uplo, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Int& info) {
  info = check_system(uplo, n, nrhs, lda, ldb);
  if (info != 0) return report_bad_argument<T>("POSV", info);
  layer::potrf(uplo, n, Matrix{a, lda}, info);
  if (info == 0) potrs(uplo, n, nrhs, a, lda, b, ldb, info);
}

template <Scalar T>
void potri(char uplo, Int n, T* a, Int lda, Int& info) {
  info = check_triangle(uplo, n, lda);
  if (info != 0) return report_bad_argument<T>("POTRI", info);
  if (n == 0) return;
  trtri(uplo, 'N', n, a, lda, info);
  if (info > 0) return;
  lauum(uplo, n, a, lda, info);
}

// In step i, for an upper triangle; what stands left of the block column is final, the rest still the factor:
//
//      .  | U01 |  .         U01 := U01 U11^H + U02 U12^H,
//      .  | U11 | U12        U11 := U11 U11^H + U12 U12^H.
template <Scalar T>
void lauum(char uplo, Int n, T* a, Int lda, Int& info) {
  using R = Real<T>;
  info = check_triangle(uplo, n, lda);
  if (info != 0) return report_bad_argument<T>("LAUUM", info);
  if (n == 0) return;
  const Int nb = Tuning<T>{RoutineName<T>("LAUUM"), {&uplo, 1}, n}.block_size();
  if (!are_divided(n, nb)) return lauu2(uplo, n, a, lda, info);

  const Matrix A{a, lda};
  const bool upper = same_letter(uplo, 'U');
  for (Int i = 1; i <= n; i += nb) {
    const Int ib = std::min(nb, n - i + 1), rest = n - i - ib + 1;
    const Matrix A11 = block(A, i, i);
    if (upper) {
      const Matrix A01 = block(A, 1, i), A02 = block(A, 1, i + ib), A12 = block(A, i, i + ib);
      blas::trmm('R', 'U', adjoint<T>, 'N', i - 1, ib, T(1), A11, A01);
      lauu2('U', ib, A11.data, lda, info);
      if (rest == 0) break;
      blas::gemm('N', adjoint<T>, i - 1, ib, rest, T(1), A02, A12, T(1), A01);
      add_square<T>('U', 'N', ib, rest, R(1), A12, R(1), A11);
    } else {
      const Matrix A10 = block(A, i, 1), A20 = block(A, i + ib, 1), A21 = block(A, i + ib, i);
      blas::trmm('L', 'L', adjoint<T>, 'N', ib, i - 1, T(1), A11, A10);
      lauu2('L', ib, A11.data, lda, info);
      if (rest == 0) break;
      blas::gemm(adjoint<T>, 'N', ib, i - 1, rest, T(1), A21, A20, T(1), A10);
      add_square<T>('L', adjoint<T>, ib, rest, R(1), A21, R(1), A11);
    }
  }
}

template <Scalar T>
void lauu2(char uplo, Int n, T* a, Int lda, Int& info) {
  info = check_triangle(uplo, n, lda);
  if (info != 0) return report_bad_argument<T>("LAUU2", info);

  // What the triangle has beyond the diagonal in row (upper) or column (lower) i meets all rows or columns before it.
  const Matrix A{a, lda};
  const bool upper = same_letter(uplo, 'U');
  for (Int i = 1; i <= n; ++i) {
    const Real<T> aii = std::real(A(i, i));
    const Int rest = n - i;
    const Vector<T> before = upper ? column(A, 1, i) : row(A, i, 1);
    const Vector<T> beyond = upper ? row(A, i, i + 1) : column(A, i + 1, i);
    A(i, i) = aii * aii + squared_length<T>(rest, beyond);
    if (rest == 0) {
      blas::scal(i - 1, aii, before);
      break;
    }
    if (upper) {
      const Conjugated<T> as_column(rest, beyond);
      blas::gemv('N', i - 1, rest, T(1), block(A, 1, i + 1), beyond, T(aii), before);
    } else {
      const Conjugated<T> as_column(i - 1, before);
      blas::gemv(adjoint<T>, rest, i - 1, T(1), block(A, i + 1, 1), beyond, T(aii), before);
    }
  }
}

}  // namespace nuv

#include "solvers/cholesky.entries.inc"
