#include "frame/error_report.hpp"
#include "kernels/level2/stored_triangular.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Solves op(A) x = b for a triangular matrix in packed storage; b in, x out. No test for singularity is made.
///
/// uplo    the triangle that A is, 'U' or 'L'
/// trans   'N': A, 'T': A^T, 'C': A^H
/// diag    'U': the diagonal counts as ones and is not read, 'N': it is stored
/// ap      order n, n (n + 1) / 2 elements;  incx not zero
template <Scalar T>
void tpsv(char uplo, char trans, char diag, Int n, const T* ap, T* x, Int incx) {
  const Int info = check_packed_triangle(uplo, trans, diag, n, incx);
  if (info != 0) return report_bad_argument<T>("TPSV", info);
  if (n == 0) return;
  with_packed_triangle(uplo, n, ap, [&](auto A) {
    with_vector(x, n, incx, [&](auto X) { solve_in_place(A, TriangularOptions(trans, diag), X); });
  });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/tpsv.entries.inc"
