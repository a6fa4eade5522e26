#include "frame/error_report.hpp"
#include "kernels/level2/stored_triangular.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// x := op(A) x for a triangular matrix in packed storage.
///
/// uplo    the triangle that A is, 'U' or 'L'
/// trans   'N': A, 'T': A^T, 'C': A^H
/// diag    'U': the diagonal counts as ones and is not read, 'N': it is stored
/// ap      order n, n (n + 1) / 2 elements;  incx not zero
template <Scalar T>
void tpmv(char uplo, char trans, char diag, Int n, const T* ap, T* x, Int incx) {
  const Int info = check_packed_triangle(uplo, trans, diag, n, incx);
  if (info != 0) return report_bad_argument<T>("TPMV", info);
  if (n == 0) return;
  with_packed_triangle(uplo, n, ap, [&](auto A) {
    with_vector(x, n, incx, [&](auto X) { multiply_in_place(A, TriangularOptions(trans, diag), X); });
  });
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/tpmv.entries.inc"
