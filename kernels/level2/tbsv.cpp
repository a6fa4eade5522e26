#include "frame/error_report.hpp"
#include "kernels/level2/stored_triangular.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Solves op(A) x = b for a triangular band matrix; b in, x out. No test for singularity is made.
///
/// uplo    the triangle that A is, 'U' or 'L'
/// trans   'N': A, 'T': A^T, 'C': A^H
/// diag    'U': the diagonal counts as ones and is not read, 'N': it is stored
/// a       order n, k diagonals beside the main one, lda > k;  incx not zero
template <Scalar T>
void tbsv(char uplo, char trans, char diag, Int n, Int k, const T* a, Int lda, T* x, Int incx) {
  const Int info = check_band_triangle(uplo, trans, diag, n, k, lda, incx);
  if (info != 0) return report_bad_argument<T>("TBSV", info);
  if (n == 0) return;
  with_band_triangle(uplo, n, k, a, lda, [&](auto A) {
    with_vector(x, n, incx, [&](auto X) { solve_in_place(A, TriangularOptions(trans, diag), X); });
  });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/tbsv.entries.inc"
