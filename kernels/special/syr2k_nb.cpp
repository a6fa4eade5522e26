// Rank-2k updates inside the kernel library, where there are neither threads nor a pool: the packed product of level 3
// in blocks small enough for the stack.

#include <algorithm>

#include "frame/error_report.hpp"
#include "threading/level3/rank_k.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

using namespace threading;
using namespace threading::product_detail;

/// Steps of the product that are packed at once, and columns of C beside each other that they are packed for.
constexpr Int depth_of_block = 64;
template <Scalar T>
inline constexpr Int width_of_block = 32 * 1024 /
                                      (depth_of_block * Int{sizeof(T)}) / Tile<T>::columns* Tile<T>::columns;

/// C := alpha A B + beta C on a triangle of C, of order n, with A n by k and B k by n; n, k > 0.
template <Scalar T>
void product_on_stack(Region region, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta,
                      Matrix<T> C) {
  constexpr int tile_rows = Tile<T>::rows, tile_columns = Tile<T>::columns;
  constexpr Int block_width = width_of_block<T>, block_depth = depth_of_block;
  alignas(alignment) Real<T> rows_of_a[block_depth * tile_rows * Tile<T>::parts];
  alignas(alignment) Real<T> columns_of_b[block_depth * block_width * Tile<T>::parts];

  for (Int jc = 0; jc < n; jc += block_width) {
    const Int width = std::min(block_width, n - jc);
    for (Int pc = 0; pc < k; pc += block_depth) {
      const Int depth = std::min(block_depth, k - pc);
      const Update<T> update{alpha, pc == 0 ? beta : T(1)};
      const auto sliver_of_b = [&](Int j) { return columns_of_b + std::ptrdiff_t{j} * depth * Tile<T>::parts; };
      for (Int j = 0; j < width; j += tile_columns) {
        const int columns = std::min<Int>(tile_columns, width - j);
        pack_sliver<Layout::pairs, tile_columns>(B, jc + j, columns, tile_columns, pc, depth, sliver_of_b(j));
      }
      for (Int i = 0; i < n; i += tile_rows) {
        const int rows = std::min<Int>(tile_rows, n - i);
        if (is_outside(region, i, jc, rows, width)) continue;
        pack_sliver<Layout::parts_apart, tile_rows>(A, i, rows, round_up(rows, lanes<Real<T>>), pc, depth, rows_of_a);
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
void update_triangle(bool hermitian, char uplo, char trans, Int n, Int k, T alpha, Matrix<const T> A, Matrix<const T> B,
                     T beta, Matrix<T> C) {
  if (n == 0 || ((alpha == T(0) || k == 0) && beta == T(1))) return;
  const Region region = region_of(uplo);
  // What C holds as imaginary parts of its diagonal doesn't count.
  if (hermitian) make_diagonal_real(n, C);
  if (alpha == T(0) || k == 0) {
    scale(n, n, beta, C, region);
  } else {
    // In A^H B + B^H A the two terms are conjugates of each other, and so are their factors.
    const T other_alpha = hermitian ? conjugate(alpha) : alpha;
    product_on_stack(region, n, k, alpha, rank_k_left(hermitian, trans, A), rank_k_right(hermitian, trans, B), beta, C);
    product_on_stack(region, n, k, other_alpha, rank_k_left(hermitian, trans, B), rank_k_right(hermitian, trans, A),
                     T(1), C);
  }
  if (hermitian) make_diagonal_real(n, C);
}

}  // namespace

/// C := alpha A B^T + alpha B A^T + beta C (trans 'N', A and B n by k) or C := alpha A^T B + alpha B^T A + beta C
/// (trans 'T' or 'C', A and B k by n) on the triangle of the symmetric C that uplo names. The last argument, a block
/// size that a caller may propose, is not needed: the blocks follow the registers.
template <RealScalar T>
void syr2k_nb(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta, T* c,
              Int ldc, Int) {
  const Int info = check(is_one_of(trans, 'N', 'T', 'C'), uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("SYR2K", info);
  update_triangle(false, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, beta, Matrix{c, ldc});
}

/// C := alpha A B^H + conj(alpha) B A^H + beta C (trans 'N') or C := alpha A^H B + conj(alpha) B^H A + beta C (trans
/// 'C') on a triangle of the Hermitian C, whose diagonal comes out real.
template <ComplexScalar T>
void her2k_nb(char uplo, char trans, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, Real<T> beta,
              T* c, Int ldc, Int) {
  const Int info = check(is_one_of(trans, 'N', 'C'), uplo, trans, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("HER2K", info);
  update_triangle(true, uplo, trans, n, k, alpha, {a, lda}, {b, ldb}, T(beta), Matrix{c, ldc});
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/syr2k_nb.entries.inc"
