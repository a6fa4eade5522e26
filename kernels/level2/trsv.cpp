#include "base/quotient.hpp"
#include "base/triangular_operator.hpp"
#include "frame/error_report.hpp"
#include "kernels/level2/triangular.hpp"
#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// Solves op(A) x = b for a triangular A of order n, lda >= max(1, n), incx not zero; b in, x out. No test for
/// singularity is made. The triangle that uplo does not name, and the diagonal when diag is 'U', are not read.
template <Scalar T>
void trsv(char uplo, char trans, char diag, Int n, const T* a, Int lda, T* x, Int incx) {
  const Int info = check_triangular_vector(uplo, trans, diag, n, lda, incx);
  if (info != 0) return report_bad_argument<T>("TRSV", info);

  const TriangularOperator A(uplo, trans, diag, a, lda);
  T* const first = first_element(x, n, incx);
  const auto X = [&](Int i) -> T& { return element(first, i - 1, incx); };
  const auto solve_row = [&](Int i, Int from, Int to) {
    T rest = X(i);
    for (Int j = from; j <= to; ++j) rest -= A(i, j) * X(j);
    X(i) = A.unit_diagonal() ? rest : quotient(rest, A(i, i));
  };
  if (A.upper()) {
    for (Int i = n; i >= 1; --i) solve_row(i, i + 1, n);
  } else {
    for (Int i = 1; i <= n; ++i) solve_row(i, 1, i - 1);
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/trsv.entries.inc"
