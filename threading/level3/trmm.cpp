#include "frame/error_report.hpp"
#include "kernels/packed/triangular.hpp"
#include "threading/level3/parallel.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Y := alpha M Y on rows i0 to i0 + size. Rows are overwritten from the far end of the triangle, so that those a row
/// needs are still there:
///
///     M00 |  .     Y0        lower: Y1 := alpha M11 Y1 + alpha M10 Y0, then Y0 := alpha M00 Y0;
///     M10 | M11    Y1        upper: the other way round.
///
/// At the bottom the product packs all that it reads of Y before it writes.
template <Scalar T>
void multiply_in_place(const TriangularProblem<T>& p, Int i0, Int size, T alpha) {
  constexpr Int leaf = Block<T>::leaf;
  if (size <= leaf) return p.multiply(i0, size, i0, size, alpha, T(0));
  const Int s = p.half(size, leaf);
  const Int first = p.lower ? i0 + s : i0, first_size = p.lower ? size - s : s;
  const Int second = p.lower ? i0 : i0 + s, second_size = size - first_size;
  multiply_in_place(p, first, first_size, alpha);
  p.multiply(first, first_size, second, second_size, alpha, T(1));
  multiply_in_place(p, second, second_size, alpha);
}

}  // namespace

/// B := alpha op(A) B (side 'L', A of order m) or B := alpha B op(A) (side 'R', A of order n), A triangular, B m by n.
/// The triangle that uplo does not name, and the diagonal when diag is 'U', are not read.
template <Scalar T>
void trmm(char side, char uplo, char transa, char diag, Int m, Int n, T alpha, const T* a, Int lda, T* b, Int ldb) {
  const Int info = check_triangular_matrix(side, uplo, transa, diag, m, n, lda, ldb);
  if (info != 0) return report_bad_argument<T>("TRMM", info);
  if (m == 0 || n == 0) return;
  const Matrix B{b, ldb};
  if (alpha == T(0)) return scale(m, n, alpha, B);
  const TriangularProblem<T> problem(side, uplo, transa, diag, m, n, {a, lda}, B);
  split_right_hand_sides(problem,
                         [&](const TriangularProblem<T>& part) { multiply_in_place(part, 0, part.order, alpha); });
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/trmm.entries.inc"
