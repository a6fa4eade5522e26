#include "base/triangular_operator.hpp"
#include "frame/error_report.hpp"
#include "threading/level3/scale.hpp"
#include "threading/level3/triangular.hpp"

namespace nuv::threading {

/// B := alpha op(A) B (side 'L', A of order m) or B := alpha B op(A) (side 'R', A of order n), A triangular, B m by n.
/// The triangle that uplo does not name, and the diagonal when diag is 'U', are not read.
template <Scalar T>
void trmm(char side, char uplo, char transa, char diag, Int m, Int n, T alpha, const T* a, Int lda, T* b, Int ldb) {
  const Int info = check_triangular_matrix(side, uplo, transa, diag, m, n, lda, ldb);
  if (info != 0) return report_bad_argument<T>("TRMM", info);

  const Matrix B{b, ldb};
  scale(m, n, alpha, B);
  if (alpha == T(0)) return;

  const TriangularOperator A(uplo, transa, diag, a, lda);
  if (same_letter(side, 'L')) {
    // Row i of the product takes rows of B on its side of the diagonal, which must not be overwritten before.
    for (Int j = 1; j <= n; ++j) {
      walk(m, A.upper(), [&](Int i) {
        T sum = A.unit_diagonal() ? B(i, j) : A(i, i) * B(i, j);
        for (Int l = A.upper() ? i + 1 : 1; l <= (A.upper() ? m : i - 1); ++l) sum += A(i, l) * B(l, j);
        B(i, j) = sum;
      });
    }
  } else {
    walk(n, !A.upper(), [&](Int j) {
      if (!A.unit_diagonal()) scale(m, 1, A(j, j), block(B, 1, j));
      for (Int l = A.upper() ? 1 : j + 1; l <= (A.upper() ? j - 1 : n); ++l) {
        const T factor = A(l, j);
        for (Int i = 1; i <= m; ++i) B(i, j) += factor * B(i, l);
      }
    });
  }
}

}  // namespace nuv::threading

#include "threading/level3/trmm.entries.inc"
