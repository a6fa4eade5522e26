#include <algorithm>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "threading/level3/scale.hpp"

namespace nuv::threading {
namespace {

Int check(char transa, char transb, Int m, Int n, Int k, Int lda, Int ldb, Int ldc) {
  if (!is_one_of(transa, 'N', 'T', 'C')) return -1;
  if (!is_one_of(transb, 'N', 'T', 'C')) return -2;
  if (m < 0) return -3;
  if (n < 0) return -4;
  if (k < 0) return -5;
  if (lda < std::max(1, same_letter(transa, 'N') ? m : k)) return -8;
  if (ldb < std::max(1, same_letter(transb, 'N') ? k : n)) return -10;
  if (ldc < std::max(1, m)) return -13;
  return 0;
}

}  // namespace

/// C := alpha op(A) op(B) + beta C, with op(A) m by k, op(B) k by n.
///
/// transa, transb   'N': the matrix, 'T': its transpose, 'C': its conjugate transpose
/// beta             zero writes C without reading it
template <Scalar T>
void gemm(char transa, char transb, Int m, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta,
          T* c, Int ldc) {
  const Int info = check(transa, transb, m, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("GEMM", info);
  if (m == 0 || n == 0) return;

  const Matrix C{c, ldc};
  scale(m, n, beta, C);
  if (k == 0 || alpha == T(0)) return;

  const Matrix A{a, lda}, B{b, ldb};
  const auto op = [](char trans, Matrix<const T> X, Int i, Int j) {
    return same_letter(trans, 'N') ? X(i, j) : same_letter(trans, 'T') ? X(j, i) : conjugate(X(j, i));
  };
  for (Int j = 1; j <= n; ++j) {
    if (same_letter(transa, 'N')) {
      for (Int l = 1; l <= k; ++l) {
        const T factor = alpha * op(transb, B, l, j);
        for (Int i = 1; i <= m; ++i) C(i, j) += factor * A(i, l);
      }
    } else {
      for (Int i = 1; i <= m; ++i) {
        T sum(0);
        for (Int l = 1; l <= k; ++l) sum += op(transa, A, i, l) * op(transb, B, l, j);
        C(i, j) += alpha * sum;
      }
    }
  }
}

}  // namespace nuv::threading

#include "threading/level3/gemm.entries.inc"
