// Rank-2k updates inside the kernel library, where there are neither threads nor a pool: the packed product of level 3
// in blocks small enough for the stack.

#include <algorithm>

#include "frame/error_report.hpp"
#include "kernels/packed/rank_k.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

using namespace packed;

/// Steps of the product that are packed at once, and columns of C beside each other that they are packed for.
constexpr Int depth_of_block = 64;
template <Scalar T>
constexpr Int width_of_block() {
  constexpr Int fitting = 32 * 1024 / (depth_of_block * Int{sizeof(T)});
  return fitting - fitting % Tile<T>::columns;
}

/// Adds the term to a triangle of C, of order n; its operands are n by k and k by n, with n, k > 0.
template <Scalar T>
void product_on_stack(Region region, Int n, Int k, const Term<T>& term, Matrix<T> C) {
  constexpr int tile_rows = Tile<T>::rows, tile_columns = Tile<T>::columns;
  constexpr Int block_width = width_of_block<T>(), block_depth = depth_of_block;
  alignas(64) Real<T> rows_of_a[block_depth * tile_rows * Tile<T>::parts];
  alignas(64) Real<T> columns_of_b[block_depth * block_width * Tile<T>::parts];

  for (Int jc = 0; jc < n; jc += block_width) {
    const Int width = std::min(block_width, n - jc);
    for (Int pc = 0; pc < k; pc += block_depth) {
      const Int depth = std::min(block_depth, k - pc);
      const Update<T> update{term.alpha, pc == 0 ? term.beta : T(1), term.real};
      const auto sliver_of_b = [&](Int j) { return columns_of_b + std::ptrdiff_t{j} * depth * Tile<T>::parts; };
      for (Int j = 0; j < width; j += tile_columns) {
        const int columns = std::min<Int>(tile_columns, width - j);
        pack_sliver<Layout::pairs, tile_columns>(term.right, jc + j, columns, tile_columns, pc, depth, sliver_of_b(j));
      }
      for (Int i = 0; i < n; i += tile_rows) {
        const int rows = std::min<Int>(tile_rows, n - i);
        if (is_outside(region, i, jc, rows, width)) continue;
        pack_sliver<Layout::parts_apart, tile_rows>(term.left, i, rows, round_up(rows, lanes<Real<T>>), pc, depth,
                                                    rows_of_a);
        for (Int j = 0; j < width; j += tile_columns) {
          const int columns = std::min<Int>(tile_columns, width - j);
          if (is_outside(region, i, jc + j, rows, columns)) continue;
          if (crosses_diagonal(region, i, jc + j, rows, columns)) {
            multiply_tile_in_region(region, i, jc + j, depth, rows_of_a, sliver_of_b(j), update, C, rows, columns);
          } else {
            multiply_tile_of_height<T>(depth, rows_of_a, sliver_of_b(j), update, C.at(i + 1, jc + j + 1), C.ld, rows,
                                       columns);
          }
        }
      }
    }
  }
}

template <Scalar T>
void update(bool hermitian, char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, Matrix<const T> B, T beta,
            Matrix<T> C) {
  rank_2k_update(hermitian, uplo, trans, n, k, alpha, A, B, beta, C,
                 [&](Region region, const Term<T>& first, const Term<T>& second) {
                   product_on_stack(region, n, k, first, C);
                   product_on_stack(region, n, k, second, C);
                 });
}

}  // namespace

/// C := alpha A B^T + alpha B A^T + beta C (trans 'N', A and B n by k) or C := alpha A^T B + alpha B^T A + beta C
/// (trans 'T' or 'C', A and B k by n) on the triangle of the symmetric C that uplo names. The last argument, nb, a
/// block size that a caller may propose, is not needed: the blocks follow the registers.
template <RealScalar T>
void syr2k_nb(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta, T* c,
              Int ldc, Int) {
  const Int info = check_rank_2k(is_one_of(trans, 'N', 'T', 'C'), uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("SYR2K", info);
  update(false, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, beta, Matrix{c, ldc});
}

/// C := alpha A B^H + conj(alpha) B A^H + beta C (trans 'N') or C := alpha A^H B + conj(alpha) B^H A + beta C (trans
/// 'C') on a triangle of the Hermitian C, whose diagonal comes out real. The same holds of k and nb.
template <ComplexScalar T>
void her2k_nb(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, Real<T> beta,
              T* c, Int ldc, Int) {
  const Int info = check_rank_2k(is_one_of(trans, 'N', 'C'), uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("HER2K", info);
  update(true, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, T(beta), Matrix{c, ldc});
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/syr2k_nb.entries.inc"
