#include <algorithm>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "threading/level3/parallel.hpp"
#include "threading/level3/scale.hpp"

namespace nuv::threading::inline NUV_ISA {
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
void gemm(char transa, char transb, Int m, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta, T* c,
          Int ldc) {
  const Int info = check(transa, transb, m, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("GEMM", info);
  if (m == 0 || n == 0) return;

  const Matrix C{c, ldc};
  if (k == 0 || alpha == T(0)) return scale(m, n, beta, C);
  parallel_product(m, n, k, alpha, left_operand(transa, Matrix{a, lda}), right_operand(transb, Matrix{b, ldb}), beta, C);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/gemm.entries.inc"
