#include "base/quotient.hpp"
#include "base/triangular_operator.hpp"
#include "frame/error_report.hpp"
#include "threading/level3/scale.hpp"
#include "threading/level3/triangular.hpp"

namespace nuv::threading {

/// Solves op(A) X = alpha B (side 'L', A of order m) or X op(A) = alpha B (side 'R', A of order n), A triangular, B m
/// by n; B in, X out. No test for singularity is made. The triangle that uplo does not name, and the diagonal when diag
/// is 'U', are not read.
template <Scalar T>
void trsm(char side, char uplo, char transa, char diag, Int m, Int n, T alpha, const T* a, Int lda, T* b, Int ldb) {
  const Int info = check_triangular_matrix(side, uplo, transa, diag, m, n, lda, ldb);
  if (info != 0) return report_bad_argument<T>("TRSM", info);

  const Matrix B{b, ldb};
  scale(m, n, alpha, B);
  if (alpha == T(0)) return;

  const TriangularOperator A(uplo, transa, diag, a, lda);
  if (same_letter(side, 'L')) {
    for (Int j = 1; j <= n; ++j) {
      walk(m, !A.upper(), [&](Int i) {
        T rest = B(i, j);
        for (Int l = A.upper() ? i + 1 : 1; l <= (A.upper() ? m : i - 1); ++l) rest -= A(i, l) * B(l, j);
        B(i, j) = A.unit_diagonal() ? rest : quotient(rest, A(i, i));
      });
    }
  } else {
    walk(n, A.upper(), [&](Int j) {
      for (Int l = A.upper() ? 1 : j + 1; l <= (A.upper() ? j - 1 : n); ++l) {
        const T factor = A(l, j);
        for (Int i = 1; i <= m; ++i) B(i, j) -= factor * B(i, l);
      }
      if (A.unit_diagonal()) return;
      for (Int i = 1; i <= m; ++i) B(i, j) = quotient(B(i, j), A(j, j));
    });
  }
}

}  // namespace nuv::threading

#include "threading/level3/trsm.entries.inc"
