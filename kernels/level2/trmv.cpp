#include "base/triangular_operator.hpp"
#include "frame/error_report.hpp"
#include "kernels/level2/triangular.hpp"
#include "kernels/strided.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// x := op(A) x for a triangular A of order n, lda >= max(1, n), incx not zero. The triangle that uplo does not name,
/// and the diagonal when diag is 'U', are not read.
template <Scalar T>
void trmv(char uplo, char trans, char diag, Int n, const T* a, Int lda, T* x, Int incx) {
  const Int info = check_triangular_vector(uplo, trans, diag, n, lda, incx);
  if (info != 0) return report_bad_argument<T>("TRMV", info);

  const TriangularOperator A(uplo, trans, diag, a, lda);
  T* const first = first_element(x, n, incx);
  const auto X = [&](Int i) -> T& { return element(first, i - 1, incx); };
  // Each entry of the product needs those entries of x that are not overwritten yet.
  const auto row_times_x = [&](Int i, Int from, Int to) {
    T sum = A.unit_diagonal() ? X(i) : A(i, i) * X(i);
    for (Int j = from; j <= to; ++j) sum += A(i, j) * X(j);
    X(i) = sum;
  };
  if (A.upper()) {
    for (Int i = 1; i <= n; ++i) row_times_x(i, i + 1, n);
  } else {
    for (Int i = n; i >= 1; --i) row_times_x(i, 1, i - 1);
  }
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/level2/trmv.entries.inc"
