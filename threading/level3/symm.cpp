#include <algorithm>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "kernels/packed/scale.hpp"
#include "threading/level3/parallel.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

Int check(char side, char uplo, Int m, Int n, Int lda, Int ldb, Int ldc) {
  if (!is_one_of(side, 'L', 'R')) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (m < 0) return -3;
  if (n < 0) return -4;
  if (lda < std::max(1, same_letter(side, 'L') ? m : n)) return -7;
  if (ldb < std::max(1, m)) return -9;
  if (ldc < std::max(1, m)) return -12;
  return 0;
}

/// C := alpha A B + beta C for a symmetric or Hermitian A of order m and a narrow B, by strips of rows:
///
///     A10 | A11 | A21'      C1 := A10 B0 + A11 B1 + A21' B2, the mirrored part where the upper triangle is stored,
///
/// where ' transposes, or conjugates as well. Where B is narrow most of the time is spent on reading A: parts without
/// structure are read as they stand or while the one before them is at work, and strips can be shared by threads.
/// Where they are cut depends on m alone.
template <Scalar T>
void multiply_narrow(bool hermitian, bool lower, Int m, Int n, T alpha, Matrix<const T> A, Matrix<const T> B, T beta,
                     Matrix<T> C) {
  constexpr Int strip_rows = 10 * Tile<T>::rows;
  const char mirrored = hermitian ? 'C' : 'T';
  const auto rows_of_b = [&](Int from) { return right_operand('N', block(B, from + 1, 1)); };
  split((m - 1) / strip_rows + 1, {1, 1}, real_multiply_adds<T>(m, n, m), [&](Int strip, Int behind) {
    for (; strip < behind; ++strip) {
      const Int from = strip * strip_rows, until = std::min(m, from + strip_rows), rows = until - from;
      const Matrix<T> C1 = block(C, from + 1, 1);
      Operand<T> diagonal = left_operand('N', block(A, from + 1, from + 1));
      diagonal.structure = lower ? Structure::lower_stored : Structure::upper_stored;
      diagonal.hermitian = hermitian;
      product(rows, n, rows, alpha, diagonal, rows_of_b(from), beta, C1);
      if (from > 0) {
        const Operand<T> before =
            lower ? left_operand('N', block(A, from + 1, 1)) : left_operand(mirrored, block(A, 1, from + 1));
        product(rows, n, from, alpha, before, rows_of_b(0), T(1), C1);
      }
      if (until < m) {
        const Operand<T> after = lower ? left_operand(mirrored, block(A, until + 1, from + 1))
                                       : left_operand('N', block(A, from + 1, until + 1));
        product(rows, n, m - until, alpha, after, rows_of_b(until), T(1), C1);
      }
    }
  });
}

template <Scalar T>
void multiply_by_symmetric(bool hermitian, char side, char uplo, Int m, Int n, T alpha, Matrix<const T> A,
                           Matrix<const T> B, T beta, Matrix<T> C) {
  if (m == 0 || n == 0) return;
  if (alpha == T(0)) return scale(m, n, beta, C);
  const bool left = same_letter(side, 'L');
  if (left && n <= wide_part && m >= 4 * wide_part) {
    return multiply_narrow(hermitian, same_letter(uplo, 'L'), m, n, alpha, A, B, beta, C);
  }
  Operand<T> symmetric = left ? left_operand('N', A) : right_operand('N', A);
  // Seen from the right, the index along C is the column of A.
  symmetric.structure = same_letter(uplo, 'L') == left ? Structure::lower_stored : Structure::upper_stored;
  symmetric.hermitian = hermitian;

  // Only the operand without structure can be cut, so threads share the work along its side of C.
  const double multiply_adds = real_multiply_adds<T>(m, n, left ? m : n);
  if (left) {
    split(n, {Tile<T>::columns, wide_part}, multiply_adds, [&](Int from, Int until) {
      product(m, until - from, m, alpha, symmetric, right_operand('N', block(B, 1, from + 1)), beta,
              block(C, 1, from + 1));
    });
  } else {
    split(m, {Tile<T>::rows, wide_part}, multiply_adds, [&](Int from, Int until) {
      product(until - from, n, n, alpha, left_operand('N', block(B, from + 1, 1)), symmetric, beta,
              block(C, from + 1, 1));
    });
  }
}

}  // namespace

/// C := alpha A B + beta C (side 'L', A of order m) or C := alpha B A + beta C (side 'R', A of order n), A symmetric, B
/// and C m by n. Only the triangle of A that uplo names is read; beta zero writes C without reading it.
template <Scalar T>
void symm(char side, char uplo, Int m, Int n, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta, T* c,
          Int ldc) {
  const Int info = check(side, uplo, m, n, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("SYMM", info);
  multiply_by_symmetric(false, side, uplo, m, n, alpha, {a, lda}, {b, ldb}, beta, Matrix{c, ldc});
}

/// The same for a Hermitian A, whose diagonal counts as real.
template <ComplexScalar T>
void hemm(char side, char uplo, Int m, Int n, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta, T* c,
          Int ldc) {
  const Int info = check(side, uplo, m, n, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("HEMM", info);
  multiply_by_symmetric(true, side, uplo, m, n, alpha, {a, lda}, {b, ldb}, beta, Matrix{c, ldc});
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/symm.entries.inc"
