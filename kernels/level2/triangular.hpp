#pragma once

// What the products and the solutions with a triangular matrix share.
//
// Both go over the blocks on the diagonal of A. Such a block acts on its own part of x, and the rectangle above or
// below it, in the triangle that is stored, ties that part to the rest of x:
//
//     upper   D R R      lower   D . .
//             . D R              R D .
//             . . D              R R D

#include "frame/option_matching.hpp"
#include "kernels/level2/panel.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// 0, or minus the position of the first bad argument of uplo, trans, diag, n, a, lda, x, incx.
inline Int check_triangular_vector(char uplo, char trans, char diag, Int n, Int lda, Int incx) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!is_one_of(trans, 'N', 'T', 'C')) return -2;
  if (!is_one_of(diag, 'U', 'N')) return -3;
  if (n < 0) return -4;
  if (lda < std::max(1, n)) return -6;
  if (incx == 0) return -8;
  return 0;
}

/// A block on the diagonal of op(A) as a lower triangle: of an upper one, rows and columns are counted from the last.
template <Scalar T>
struct LowerBlock {
  const T* first;
  std::ptrdiff_t row_step, column_step;
  bool conjugated, unit_diagonal;
  T* x;  ///< the part of x beside the block
  int x_step;

  T operator()(Int i, Int j) const {
    const T entry = first[i * row_step + j * column_step];
    return ComplexScalar<T> && conjugated ? conjugate(entry) : entry;
  }
};

/// op(A) for a triangular matrix.
template <Scalar T>
struct TriangularMatrix {
  Matrix<const T> A;
  bool upper;  ///< of A, not of op(A)
  bool transposed, conjugated, unit_diagonal;

  TriangularMatrix(char uplo, char trans, char diag, const T* a, Int lda)
      : A(a, lda),
        upper(same_letter(uplo, 'U')),
        transposed(!same_letter(trans, 'N')),
        conjugated(same_letter(trans, 'C')),
        unit_diagonal(same_letter(diag, 'U')) {}

  /// The same with A from (i, i) on, i from zero.
  TriangularMatrix from(Int i) const {
    TriangularMatrix part = *this;
    part.A = block(A, i + 1, i + 1);
    return part;
  }

  bool is_upper() const { return upper != transposed; }

  LowerBlock<T> diagonal_block(Int j, Int k, T* x) const {
    const std::ptrdiff_t row_step = transposed ? A.ld : 1, column_step = transposed ? 1 : A.ld;
    if (is_upper()) {
      const Int last = j + k - 1;
      return {A.at(last + 1, last + 1), -row_step, -column_step, conjugated, unit_diagonal, x + last, -1};
    }
    return {A.at(j + 1, j + 1), row_step, column_step, conjugated, unit_diagonal, x + j, 1};
  }
};

}  // namespace nuv::kernels::inline NUV_ISA
