#include "frame/error_report.hpp"
#include "kernels/packed/rank_k.hpp"
#include "threading/level3/parallel.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// The two products of an update. Those of few steps go as one, [A B] [B A]', which reads and writes C once.
template <Scalar T>
void update(bool hermitian, char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, Matrix<const T> B, T beta,
            Matrix<T> C) {
  rank_2k_update(hermitian, uplo, trans, n, k, alpha, A, B, beta, C,
                 [&](Region region, const Term<T>& first, const Term<T>& second) {
                   split_triangle<T>(region, n, real_multiply_adds<T>(n, n, k), [&](Int from, Int until) {
                     if (first.alpha == second.alpha && k <= Block<T>::joined / 2) {
                       const Term<T> both{first.alpha, joined(first.left, k, second.left),
                                          joined(first.right, k, second.right), first.beta, first.real};
                       return product_in_triangle(region, n, from, until, 2 * k, both, C);
                     }
                     for (const Term<T>& term : {first, second}) {
                       product_in_triangle(region, n, from, until, k, term, C);
                     }
                   });
                 });
}

}  // namespace

/// C := alpha A B^T + alpha B A^T + beta C (trans 'N', A and B n by k) or C := alpha A^T B + alpha B^T A + beta C
/// (trans 'T', or 'C' in real precisions, A and B k by n) on the triangle of the symmetric C that uplo names.
template <Scalar T>
void syr2k(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta, T* c,
           Int ldc) {
  const bool known = is_one_of(trans, 'N', 'T') || (RealScalar<T> && same_letter(trans, 'C'));
  const Int info = check_rank_2k(known, uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("SYR2K", info);
  update(false, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, beta, Matrix{c, ldc});
}

/// C := alpha A B^H + conj(alpha) B A^H + beta C (trans 'N') or C := alpha A^H B + conj(alpha) B^H A + beta C (trans
/// 'C', A and B k by n) on a triangle of the Hermitian C, whose diagonal comes out real.
template <ComplexScalar T>
void her2k(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, Real<T> beta, T* c,
           Int ldc) {
  const Int info = check_rank_2k(is_one_of(trans, 'N', 'C'), uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("HER2K", info);
  update(true, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, T(beta), Matrix{c, ldc});
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/syr2k.entries.inc"
