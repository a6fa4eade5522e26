#include <algorithm>

#include "frame/error_report.hpp"
#include "kernels/packed/rank_k.hpp"
#include "threading/level3/parallel.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// 0, or minus the position of the first bad argument of uplo, trans, n, k, alpha, a, lda, beta, c, ldc.
Int check(bool trans_is_known, char uplo, char trans, Int n, Int k, Int lda, Int ldc) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!trans_is_known) return -2;
  if (n < 0) return -3;
  if (k < 0) return -4;
  if (lda < std::max(1, same_letter(trans, 'N') ? n : k)) return -7;
  if (ldc < std::max(1, n)) return -10;
  return 0;
}

template <Scalar T>
void update(bool hermitian, char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, T beta, Matrix<T> C) {
  if (n == 0 || ((alpha == T(0) || k == 0) && beta == T(1))) return;
  const Region region = region_of(uplo);
  if (hermitian && beta != T(0)) make_diagonal_real(n, C);
  if (alpha == T(0) || k == 0) {
    scale_triangle(hermitian, region, n, beta, C);
  } else {
    const Term<T> term{alpha, rank_k_left(hermitian, trans, A), rank_k_right(hermitian, trans, A), beta,
                       hermitian ? RealFactors::both : RealFactors::none};
    split_triangle<T>(region, n, real_multiply_adds<T>(n, n, k) / 2,
                      [&](Int from, Int until) { product_in_triangle(region, n, from, until, k, term, C); });
  }
  if (hermitian) make_diagonal_real(n, C);
}

}  // namespace

/// C := alpha A A^T + beta C (trans 'N', A n by k) or C := alpha A^T A + beta C (trans 'T', or 'C' in real precisions,
/// A k by n) on the triangle of the symmetric C that uplo names.
template <Scalar T>
void syrk(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, T beta, T* c, Int ldc) {
  const bool known = is_one_of(trans, 'N', 'T') || (RealScalar<T> && same_letter(trans, 'C'));
  const Int info = check(known, uplo, trans, n, k, lda, ldc);
  if (info != 0) return report_bad_argument<T>("SYRK", info);
  update(false, uplo, trans, n, k, alpha, {a, lda}, beta, Matrix{c, ldc});
}

/// C := alpha A A^H + beta C (trans 'N', A n by k) or C := alpha A^H A + beta C (trans 'C', A k by n) on a triangle of
/// the Hermitian C, whose diagonal comes out real.
template <ComplexScalar T>
void herk(char uplo, char trans, Int n, Int k, Real<T> alpha, const T* a, Int lda, Real<T> beta, T* c, Int ldc) {
  const Int info = check(is_one_of(trans, 'N', 'C'), uplo, trans, n, k, lda, ldc);
  if (info != 0) return report_bad_argument<T>("HERK", info);
  update(true, uplo, trans, n, k, T(alpha), {a, lda}, T(beta), Matrix{c, ldc});
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/syrk.entries.inc"
