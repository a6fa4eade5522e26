#include <algorithm>

#include "frame/error_report.hpp"
#include "threading/level3/rank_k.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, trans, n, k, alpha, a, lda, b, ldb, beta, c, ldc.
Int check(bool trans_is_known, char uplo, char trans, Int n, Int k, Int lda, Int ldb, Int ldc) {
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

template <Scalar T>
void update(bool hermitian, char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, Matrix<const T> B, T beta,
            Matrix<T> C) {
  if (n == 0 || ((alpha == T(0) || k == 0) && beta == T(1))) return;
  const Region region = region_of(uplo);
  if (hermitian && beta != T(0)) make_diagonal_real(n, C);
  if (alpha == T(0) || k == 0) {
    scale(n, n, beta, C, region);
  } else {
    const Operand<T> left_a = rank_k_left(hermitian, trans, A), right_a = rank_k_right(hermitian, trans, A);
    const Operand<T> left_b = rank_k_left(hermitian, trans, B), right_b = rank_k_right(hermitian, trans, B);
    // In A^H B + B^H A the two terms are conjugates of each other, and so are their factors.
    const T other_alpha = hermitian ? conjugate(alpha) : alpha;
    split_triangle<T>(region, n, double(n) * n * k, [&](Int from, Int until) {
      product_in_triangle(region, n, from, until, k, alpha, left_a, right_b, beta, C);
      product_in_triangle(region, n, from, until, k, other_alpha, left_b, right_a, T(1), C);
    });
  }
  if (hermitian) make_diagonal_real(n, C);
}

}  // namespace

/// C := alpha A B^T + alpha B A^T + beta C (trans 'N', A and B n by k) or C := alpha A^T B + alpha B^T A + beta C
/// (trans 'T', or 'C' in real precisions, A and B k by n) on the triangle of the symmetric C that uplo names.
template <Scalar T>
void syr2k(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta, T* c,
           Int ldc) {
  const bool known = is_one_of(trans, 'N', 'T') || (RealScalar<T> && same_letter(trans, 'C'));
  const Int info = check(known, uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("SYR2K", info);
  update(false, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, beta, Matrix{c, ldc});
}

/// C := alpha A B^H + conj(alpha) B A^H + beta C (trans 'N') or C := alpha A^H B + conj(alpha) B^H A + beta C (trans
/// 'C') on a triangle of the Hermitian C, whose diagonal comes out real.
template <ComplexScalar T>
void her2k(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, Real<T> beta, T* c,
           Int ldc) {
  const Int info = check(is_one_of(trans, 'N', 'C'), uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("HER2K", info);
  update(true, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, T(beta), Matrix{c, ldc});
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/syr2k.entries.inc"
