#include "frame/error_report.hpp"
#include "kernels/packed/scale.hpp"
#include "threading/level3/gemm_arguments.hpp"
#include "threading/level3/parallel.hpp"

namespace nuv::threading::inline NUV_ISA {

/// C := alpha op(A) op(B) + beta C, with op(A) m by k, op(B) k by n.
///
/// transa, transb   'N': the matrix, 'T': its transpose, 'C': its conjugate transpose
/// beta             zero writes C without reading it
template <Scalar T>
void gemm(char transa, char transb, Int m, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta,
          T* c, Int ldc) {
  const Int info = check_gemm(transa, transb, m, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("GEMM", info);
  if (m == 0 || n == 0) return;

  const Matrix C{c, ldc};
  if (k == 0 || alpha == T(0)) return scale(m, n, beta, C);
  parallel_product(m, n, k, alpha, left_operand(transa, Matrix{a, lda}), right_operand(transb, Matrix{b, ldb}), beta,
                   C);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/gemm.entries.inc"
