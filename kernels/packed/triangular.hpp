#pragma once

// What the triangular products and solves have in common. Both sides are treated alike: with Y the transpose of B for
// side 'R', B op(A) is the transpose of M Y where M = op(A)^T.

#include <algorithm>

#include "frame/option_matching.hpp"
#include "kernels/packed/product.hpp"
#include "kernels/packed/scale.hpp"

namespace nuv::packed::inline NUV_ISA {

/// 0, or minus the position of the first bad argument of side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb.
inline Int check_triangular_matrix(char side, char uplo, char transa, char diag, Int m, Int n, Int lda, Int ldb) {
  if (!is_one_of(side, 'L', 'R')) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (!is_one_of(transa, 'N', 'T', 'C')) return -3;
  if (!is_one_of(diag, 'U', 'N')) return -4;
  if (m < 0) return -5;
  if (n < 0) return -6;
  if (lda < std::max(1, same_letter(side, 'L') ? m : n)) return -9;
  if (ldb < std::max(1, m)) return -11;
  return 0;
}

/// The triangular M beside Y: rows of Y are rows of B (side 'L') or columns of B (side 'R'); its columns, the
/// right-hand sides, are independent of each other.
template <Scalar T>
struct TriangularProblem {
  Operand<T> M;  ///< as a left operand: M(i, l), lower or upper triangular
  bool left, lower;
  Int order, columns;
  Matrix<T> B;

  TriangularProblem(char side, char uplo, char transa, char diag, Int m, Int n, Matrix<const T> A, Matrix<T> B_)
      : M(left_operand(transa, A)),
        left(same_letter(side, 'L')),
        lower((same_letter(uplo, 'L') == same_letter(transa, 'N')) == left),
        order(left ? m : n),
        columns(left ? n : m),
        B(B_) {
    if (!left) std::swap(M.along, M.deep);
    M.structure = lower ? Structure::lower_triangular : Structure::upper_triangular;
    M.unit_diagonal = same_letter(diag, 'U');
  }

  /// The same problem for some of the columns of Y.
  TriangularProblem restricted_to(Int from, Int until) const {
    TriangularProblem part = *this;
    part.columns = until - from;
    part.B = left ? block(B, 1, from + 1) : block(B, from + 1, 1);
    return part;
  }

  /// Address of Y(i, j), counted from zero.
  T* y(Int i, Int j) const { return left ? B.at(i + 1, j + 1) : B.at(j + 1, i + 1); }

  /// Y(i0 ...) := alpha M(i0 ..., l0 ...) Y(l0 ...) + beta Y(i0 ...), with `rows` by `depth` elements of M.
  void multiply(Int i0, Int rows, Int l0, Int depth, T alpha, T beta, RealFactors real = RealFactors::none) const {
    Operand<T> m = M;
    m.data = M.at(i0, l0);
    if (i0 != l0) m.structure = Structure::full;
    const Operand<T> y_side{y(l0, 0), left ? std::ptrdiff_t{B.ld} : 1, left ? 1 : std::ptrdiff_t{B.ld}};
    const Matrix<T> target{y(i0, 0), B.ld};
    if (left) {
      product(rows, columns, depth, alpha, m, y_side, beta, target, Region::all, real);
    } else {
      product(columns, rows, depth, alpha, y_side, m, beta, target, Region::all, real);
    }
  }

  /// Where to cut a range of `size` rows: about the middle, at a multiple of `leaf`.
  static Int half(Int size, Int leaf) { return (size / leaf + 1) / 2 * leaf; }
};

}  // namespace nuv::packed::inline NUV_ISA
