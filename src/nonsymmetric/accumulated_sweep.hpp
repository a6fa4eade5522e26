#pragma once

// Products with the reflectors of a part of a small-bulge sweep, which were accumulated in one unitary matrix.

#include <algorithm>

#include "blas.hpp"
#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"

namespace nuv {

/// The product U of the reflectors. If they came from the whole length of a chain of bulges, U has zeros in two
/// corners:
///
///     U11 U12     U12 lower triangular; of U21, the last knz columns are upper triangular and the others zero
///     U21 U22
template <Scalar T>
class AccumulatedSweep {
 public:
  /// U without structure.
  AccumulatedSweep(Matrix<T> U, Int order) : U_(U), order_(order) {}

  /// U of a chain of ns / 2 bulges, ns > 2, of order 3 ns - 3.
  static AccumulatedSweep of_whole_chain(Matrix<T> U, Int ns) {
    AccumulatedSweep product(U, 3 * ns - 3);
    product.has_corners_ = true;
    product.left_ = (product.order_ + 1) / 2;
    product.top_ = product.order_ - product.left_;
    product.knz_ = ns + 1;
    return product;
  }

  /// A := U^H A for so many columns, nh at a time.
  ///
  /// W       as many rows as U, nh columns
  void multiply_from_left(Matrix<T> A, Int columns, Int nh, Matrix<T> W) const {
    for (Int j = 1; j <= columns; j += nh) {
      const Int count = std::min(nh, columns - j + 1);
      const Matrix<T> strip = block(A, 1, j);
      if (has_corners_) {
        form_from_left_by_blocks(strip, count, W);
      } else {
        blas::gemm(adjoint<T>, 'N', order_, count, order_, T(1), U_, strip, T(0), W);
      }
      copy(order_, count, W, strip);
    }
  }

  /// A := A U for so many rows, nv at a time.
  ///
  /// W       nv rows, as many columns as U
  void multiply_from_right(Matrix<T> A, Int rows, Int nv, Matrix<T> W) const {
    for (Int i = 1; i <= rows; i += nv) {
      const Int count = std::min(nv, rows - i + 1);
      const Matrix<T> strip = block(A, i, 1);
      if (has_corners_) {
        form_from_right_by_blocks(strip, count, W);
      } else {
        blas::gemm('N', 'N', count, order_, order_, T(1), strip, U_, T(0), W);
      }
      copy(count, order_, W, strip);
    }
  }

 private:
  Matrix<T> U_;
  Int order_;
  bool has_corners_ = false;
  /// Columns of U11 and rows of U11; as many rows are in U21 as columns in U11, and the other way round.
  Int left_ = 0, top_ = 0;
  Int knz_ = 0;

  Matrix<T> u12() const { return block(U_, 1, left_ + 1); }
  Matrix<T> u21() const { return block(U_, top_ + 1, left_ - knz_ + 1); }
  Matrix<T> u22() const { return block(U_, top_ + 1, left_ + 1); }

  static void copy(Int m, Int n, Matrix<T> from, Matrix<T> to) { lacpy('A', m, n, from.data, from.ld, to.data, to.ld); }

  /// W := U^H A, for A1 the first rows of A, as many as U11 has, and A2 the others.
  void form_from_left_by_blocks(Matrix<T> A, Int n, Matrix<T> W) const {
    const Matrix<T> A1 = A, A2 = block(A, top_ + 1, 1);
    const Int zeros = left_ - knz_;
    const Matrix<T> W1 = W, W1_of_corner = block(W, zeros + 1, 1), W2 = block(W, left_ + 1, 1);
    copy(knz_, n, A2, W1_of_corner);
    laset('A', zeros, n, T(0), T(0), W.data, W.ld);
    blas::trmm('L', 'U', adjoint<T>, 'N', knz_, n, T(1), u21(), W1_of_corner);
    blas::gemm(adjoint<T>, 'N', left_, n, top_, T(1), U_, A1, T(1), W1);
    copy(top_, n, A1, W2);
    blas::trmm('L', 'L', adjoint<T>, 'N', top_, n, T(1), u12(), W2);
    blas::gemm(adjoint<T>, 'N', top_, n, left_, T(1), u22(), A2, T(1), W2);
  }

  /// W := A U, for A1 the first columns of A, as many as U11 has rows, and A2 the others.
  void form_from_right_by_blocks(Matrix<T> A, Int m, Matrix<T> W) const {
    const Matrix<T> A1 = A, A2 = block(A, 1, top_ + 1);
    const Int zeros = left_ - knz_;
    const Matrix<T> W1 = W, W1_of_corner = block(W, 1, zeros + 1), W2 = block(W, 1, left_ + 1);
    copy(m, knz_, A2, W1_of_corner);
    laset('A', m, zeros, T(0), T(0), W.data, W.ld);
    blas::trmm('R', 'U', 'N', 'N', m, knz_, T(1), u21(), W1_of_corner);
    blas::gemm('N', 'N', m, left_, top_, T(1), A1, U_, T(1), W1);
    copy(m, top_, A1, W2);
    blas::trmm('R', 'L', 'N', 'N', m, top_, T(1), u12(), W2);
    blas::gemm('N', 'N', m, top_, left_, T(1), A2, u22(), T(1), W2);
  }
};

}  // namespace nuv
