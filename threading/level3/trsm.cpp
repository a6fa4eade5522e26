#include "frame/error_report.hpp"
#include "kernels/packed/solve_block.hpp"
#include "kernels/packed/triangular.hpp"
#include "threading/level3/parallel.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Solves M Y = Y on rows i0 to i0 + size, from the corner of the triangle on:
///
///     M00 |  .     Y0        lower: Y0 := M00^-1 Y0, Y1 := Y1 - M10 Y0, Y1 := M11^-1 Y1;
///     M10 | M11    Y1        upper: the other way round.
template <Scalar T>
void solve_in_place(const TriangularProblem<T>& p, Int i0, Int size) {
  constexpr Int leaf = Block<T>::leaf;
  if (size <= leaf) return solve_block(p, i0, size);
  const Int s = p.half(size, leaf);
  const Int first = p.lower ? i0 : i0 + s, first_size = p.lower ? s : size - s;
  const Int second = p.lower ? i0 + s : i0, second_size = size - first_size;
  solve_in_place(p, first, first_size);
  p.multiply(second, second_size, first, first_size, T(-1), T(1), RealFactors::both);
  solve_in_place(p, second, second_size);
}

}  // namespace

/// Solves op(A) X = alpha B (side 'L', A of order m) or X op(A) = alpha B (side 'R', A of order n), A triangular, B m
/// by n; B in, X out. No test for singularity is made. The triangle that uplo does not name, and the diagonal when diag
/// is 'U', are not read.
template <Scalar T>
void trsm(char side, char uplo, char transa, char diag, Int m, Int n, T alpha, const T* a, Int lda, T* b, Int ldb) {
  const Int info = check_triangular_matrix(side, uplo, transa, diag, m, n, lda, ldb);
  if (info != 0) return report_bad_argument<T>("TRSM", info);
  if (m == 0 || n == 0) return;
  const Matrix B{b, ldb};
  scale(m, n, alpha, B);
  if (alpha == T(0)) return;
  const TriangularProblem<T> problem(side, uplo, transa, diag, m, n, {a, lda}, B);
  split_right_hand_sides(problem, [](const TriangularProblem<T>& part) { solve_in_place(part, 0, part.order); });
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/trsm.entries.inc"
