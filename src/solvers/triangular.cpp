#include "solvers/triangular.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument of uplo, diag, n, a, lda.
Int check_triangle(char uplo, char diag, Int n, Int lda) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!is_one_of(diag, 'N', 'U')) return -2;
  if (n < 0) return -3;
  if (lda < std::max(1, n)) return -5;
  return 0;
}

/// Position of the first diagonal entry that is exactly zero, or 0.
template <Scalar T>
Int first_zero_on_diagonal(Int n, Matrix<const T> A) {
  for (Int i = 1; i <= n; ++i) {
    if (A(i, i) == T(0)) return i;
  }
  return 0;
}

}  // namespace

// Upper, in step j, from the first block on; the lower form is its mirror image from the last block back:
//
//     X00 | A01 |  .         X00 is inverted already;
//      .  | A11 |  .         A01 := -X00 A01 A11^-1, then A11 := A11^-1.
template <Scalar T>
void trtri(char uplo, char diag, Int n, T* a, Int lda, Int& info) {
  info = check_triangle(uplo, diag, n, lda);
  if (info != 0) return report_bad_argument<T>("TRTRI", info);
  if (n == 0) return;

  const Matrix A{a, lda};
  if (same_letter(diag, 'N')) {
    info = first_zero_on_diagonal<T>(n, A);
    if (info != 0) return;
  }
  const char opts[] = {uplo, diag};
  const Int nb = Tuning<T>{RoutineName<T>("TRTRI"), {opts, 2}, n}.block_size();
  if (!are_divided(n, nb)) return trti2(uplo, diag, n, a, lda, info);

  if (same_letter(uplo, 'U')) {
    for (Int j = 1; j <= n; j += nb) {
      const Int jb = std::min(nb, n - j + 1);
      blas::trmm('L', 'U', 'N', diag, j - 1, jb, T(1), A, block(A, 1, j));
      blas::trsm('R', 'U', 'N', diag, j - 1, jb, T(-1), block(A, j, j), block(A, 1, j));
      trti2('U', diag, jb, A.at(j, j), lda, info);
    }
  } else {
    for (Int j = ((n - 1) / nb) * nb + 1; j >= 1; j -= nb) {
      const Int jb = std::min(nb, n - j + 1);
      const Int below = n - j - jb + 1;
      if (below > 0) {
        blas::trmm('L', 'L', 'N', diag, below, jb, T(1), block(A, j + jb, j + jb), block(A, j + jb, j));
        blas::trsm('R', 'L', 'N', diag, below, jb, T(-1), block(A, j, j), block(A, j + jb, j));
      }
      trti2('L', diag, jb, A.at(j, j), lda, info);
    }
  }
}

template <Scalar T>
void trti2(char uplo, char diag, Int n, T* a, Int lda, Int& info) {
  info = check_triangle(uplo, diag, n, lda);
  if (info != 0) return report_bad_argument<T>("TRTI2", info);

  const Matrix A{a, lda};
  // Inverts A(j, j) and gives the factor of its column, minus the inverse.
  const auto invert_diagonal = [&](Int j) {
    if (same_letter(diag, 'U')) return T(-1);
    A(j, j) = quotient(T(1), A(j, j));
    return negated(A(j, j));
  };
  if (same_letter(uplo, 'U')) {
    for (Int j = 1; j <= n; ++j) {
      const T ajj = invert_diagonal(j);
      blas::trmv('U', 'N', diag, j - 1, A, column(A, 1, j));
      blas::scal(j - 1, ajj, column(A, 1, j));
    }
  } else {
    for (Int j = n; j >= 1; --j) {
      const T ajj = invert_diagonal(j);
      if (j < n) {
        blas::trmv('L', 'N', diag, n - j, block(A, j + 1, j + 1), column(A, j + 1, j));
        blas::scal(n - j, ajj, column(A, j + 1, j));
      }
    }
  }
}

template <Scalar T>
void trtrs(char uplo, char trans, char diag, Int n, Int nrhs, const T* a, Int lda, T* b, Int ldb, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (!is_one_of(trans, 'N', 'T', 'C')) info = -2;
  else if (!is_one_of(diag, 'N', 'U')) info = -3;
  else if (n < 0) info = -4;
  else if (nrhs < 0) info = -5;
  else if (lda < std::max(1, n)) info = -7;
  else if (ldb < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument<T>("TRTRS", info);
  if (n == 0) return;

  const Matrix A{a, lda};
  if (same_letter(diag, 'N')) {
    info = first_zero_on_diagonal<T>(n, A);
    if (info != 0) return;
  }
  blas::trsm('L', uplo, trans, diag, n, nrhs, T(1), A, {b, ldb});
}

}  // namespace nuv

#include "solvers/triangular.entries.inc"
