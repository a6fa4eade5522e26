#pragma once

// What the rank-k updates of a symmetric or Hermitian matrix have in common.

#include <algorithm>

#include "frame/option_matching.hpp"
#include "kernels/packed/product.hpp"
#include "kernels/packed/scale.hpp"

namespace nuv::packed::inline NUV_ISA {

inline Region region_of(char uplo) {
  return same_letter(uplo, 'L') ? Region::lower : Region::upper;
}

/// op(A) as the left operand of op(A) op(B)', where ' transposes, or conjugates as well for a Hermitian update.
template <Scalar T>
Operand<T> rank_k_left(bool hermitian, char trans, Matrix<const T> A) {
  Operand<T> x = left_operand(same_letter(trans, 'N') ? 'N' : 'T', A);
  x.conjugated = hermitian && !same_letter(trans, 'N');
  return x;
}

/// op(B)' as the right one.
template <Scalar T>
Operand<T> rank_k_right(bool hermitian, char trans, Matrix<const T> B) {
  Operand<T> x = right_operand(same_letter(trans, 'N') ? 'T' : 'N', B);
  x.conjugated = hermitian && same_letter(trans, 'N');
  return x;
}

/// A Hermitian matrix has a real diagonal: imaginary parts are not looked at before an update, and zero after it.
template <Scalar T>
void make_diagonal_real(Int n, Matrix<T> C) {
  for (Int j = 1; j <= n; ++j) C(j, j) = T(std::real(C(j, j)));
}

/// C := beta C on a triangle; the beta of a Hermitian update is real.
template <Scalar T>
void scale_triangle(bool hermitian, Region region, Int n, T beta, Matrix<T> C) {
  hermitian ? scale(n, n, std::real(beta), C, region) : scale(n, n, beta, C, region);
}

/// One of the products of an update of a triangle: C := alpha left right + beta C.
template <Scalar T>
struct Term {
  T alpha;
  Operand<T> left, right;
  T beta;
  RealFactors real;
};

/// C := alpha A B' + alpha' B A' + beta C (trans 'N') or alpha A' B + alpha' B' A + beta C on the triangle that uplo
/// names, where ' transposes, and conjugates as well for a Hermitian C. add(region, first, second) adds the two
/// products, the second of which finds the first in C.
template <Scalar T, class Add>
void rank_2k_update(bool hermitian, char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, Matrix<const T> B,
                    T beta, Matrix<T> C, Add add) {
  if (n == 0 || ((alpha == T(0) || k == 0) && beta == T(1))) return;
  const Region region = region_of(uplo);
  if (hermitian && beta != T(0)) make_diagonal_real(n, C);
  if (alpha == T(0) || k == 0) {
    scale_triangle(hermitian, region, n, beta, C);
  } else {
    const RealFactors real = hermitian ? RealFactors::beta : RealFactors::none;
    add(region, Term<T>{alpha, rank_k_left(hermitian, trans, A), rank_k_right(hermitian, trans, B), beta, real},
        Term<T>{hermitian ? conjugate(alpha) : alpha, rank_k_left(hermitian, trans, B),
                rank_k_right(hermitian, trans, A), T(1), real});
  }
  if (hermitian) make_diagonal_real(n, C);
}

/// 0, or minus the position of the first bad argument of uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc.
inline Int check_rank_2k(bool trans_is_known, char uplo, char trans, Int n, Int k, Int lda, Int ldb, Int ldc) {
  const Int rows = same_letter(trans, 'N') ? n : k;
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!trans_is_known) return -2;
  if (n < 0) return -3;
  if (k < 0) return -4;
  if (lda < std::max(1, rows)) return -7;
  if (ldb < std::max(1, rows)) return -9;
  if (ldc < std::max(1, n)) return -12;
  return 0;
}

/// Does this to a triangle of C, of which the columns from + 1 to until are touched.
template <Scalar T>
void product_in_triangle(Region region, Int n, Int from, Int until, Int k, const Term<T>& term, Matrix<T> C) {
  const auto& [alpha, A, B, beta, real] = term;
  const Int columns = until - from;
  if (region == Region::lower) {
    product(n - from, columns, k, alpha, shifted(A, from), shifted(B, from), beta, block(C, from + 1, from + 1), region,
            real);
    return;
  }
  // Above the diagonal block the whole rectangle belongs to the triangle.
  if (from > 0) product(from, columns, k, alpha, A, shifted(B, from), beta, block(C, 1, from + 1), Region::all, real);
  product(columns, columns, k, alpha, shifted(A, from), shifted(B, from), beta, block(C, from + 1, from + 1), region,
          real);
}

}  // namespace nuv::packed::inline NUV_ISA
