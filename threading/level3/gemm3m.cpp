#include <nuv/nuv_services.h>

#include <algorithm>

#include "frame/error_report.hpp"
#include "kernels/packed/scale.hpp"
#include "threading/level3/gemm_arguments.hpp"
#include "threading/level3/parallel.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real matrices of a block of a complex one: its real parts, its imaginary parts, and their sums.
template <RealScalar R>
struct Parts {
  R *re, *im, *sum;
  Int ld;

  Parts(R* room, Int rows, Int columns)
      : re(room), im(room + std::ptrdiff_t{rows} * columns), sum(room + 2 * std::ptrdiff_t{rows} * columns), ld(rows) {}

  /// Takes apart op(X) with the element (i, j) at X[i * down + j * across].
  void take(Int rows, Int columns, const std::complex<R>* x, std::ptrdiff_t down, std::ptrdiff_t across,
            bool conjugated) const {
    for (Int j = 0; j < columns; ++j) {
      const std::ptrdiff_t column = std::ptrdiff_t{j} * ld;
      for (Int i = 0; i < rows; ++i) {
        const std::complex<R> value = x[i * down + j * across];
        const R imaginary = conjugated ? R(0) - value.imag() : value.imag();
        re[column + i] = value.real();
        im[column + i] = imaginary;
        sum[column + i] = value.real() + imaginary;
      }
    }
  }
};

constexpr Int block_rows = 512, block_columns = 256, block_depth = 256;

/// With A = Ar + i Ai and B likewise, P = Ar Br, Q = Ai Bi and S = (Ar + Ai)(Br + Bi):
/// A B = (P - Q) + i (S - P - Q). False if there is no memory for the parts.
template <RealScalar R>
bool product_by_parts(Int m, Int n, Int k, std::complex<R> alpha, const Operand<std::complex<R>>& A,
                      const Operand<std::complex<R>>& B, std::complex<R> beta, Matrix<std::complex<R>> C) {
  const Update<std::complex<R>> update{alpha, beta};
  const std::ptrdiff_t mb = std::min(m, block_rows), nb = std::min(n, block_columns), kb = std::min(k, block_depth);
  const std::size_t numbers = 3 * (mb * kb + kb * nb + mb * nb);
  R* const room = static_cast<R*>(nuv_serv_allocate(static_cast<unsigned>(numbers * sizeof(R)), 128));
  if (room == nullptr) return false;
  for (Int jc = 0; jc < n; jc += block_columns) {
    const Int columns = std::min(block_columns, n - jc);
    for (Int ic = 0; ic < m; ic += block_rows) {
      const Int rows = std::min(block_rows, m - ic);
      const Parts<R> P(room + 3 * (mb * kb + kb * nb), rows, columns);
      for (Int pc = 0; pc < k; pc += block_depth) {
        const Int depth = std::min(block_depth, k - pc);
        const Parts<R> a(room, rows, depth), b(room + 3 * mb * kb, depth, columns);
        a.take(rows, depth, A.at(ic, pc), A.along, A.deep, A.conjugated);
        b.take(depth, columns, B.at(jc, pc), B.deep, B.along, B.conjugated);
        const auto multiply = [&](const R* x, const R* y, R* p) {
          product(rows, columns, depth, R(1), Operand<R>{x, 1, a.ld}, Operand<R>{y, b.ld, 1}, pc == 0 ? R(0) : R(1),
                  Matrix<R>{p, P.ld});
        };
        multiply(a.re, b.re, P.re);
        multiply(a.im, b.im, P.im);
        multiply(a.sum, b.sum, P.sum);
      }
      for (Int j = 0; j < columns; ++j) {
        std::complex<R>* const c = C.at(ic + 1, jc + j + 1);
        const std::ptrdiff_t column = std::ptrdiff_t{j} * P.ld;
        for (Int i = 0; i < rows; ++i) {
          const R p = P.re[column + i], q = P.im[column + i], s = P.sum[column + i];
          update.apply({p - q, s - p - q}, c[i]);
        }
      }
    }
  }
  nuv_serv_deallocate(room);
  return true;
}

}  // namespace

/// The complex product of gemm, op(A) m by k and op(B) k by n, by three real products instead of four. Its error is
/// bounded like that of gemm for the matrix as a whole, but not part by part: an imaginary part that is small beside
/// the real one may lose its digits (N. J. Higham, "Stability of a method for multiplying complex matrices with three
/// real matrix multiplications", SIAM J. Matrix Anal. Appl. 13, 1992).
template <ComplexScalar T>
void gemm3m(char transa, char transb, Int m, Int n, Int k, T alpha, const T* a, Int lda, const T* b, Int ldb, T beta,
            T* c, Int ldc) {
  const Int info = check_gemm(transa, transb, m, n, k, lda, ldb, ldc);
  if (info != 0) return report_bad_argument<T>("GEMM3M", info);
  if (m == 0 || n == 0) return;

  const Matrix C{c, ldc};
  if (k == 0 || alpha == T(0)) return scale(m, n, beta, C);
  const Operand<T> A = left_operand(transa, Matrix{a, lda}), B = right_operand(transb, Matrix{b, ldb});
  split(n, {block_columns, block_columns}, real_multiply_adds<T>(m, n, k), [&](Int from, Int until) {
    const Operand<T> B_part = shifted(B, from);
    const Matrix<T> C_part = block(C, 1, from + 1);
    if (!product_by_parts(m, until - from, k, alpha, A, B_part, beta, C_part)) {
      product(m, until - from, k, alpha, A, B_part, beta, C_part);
    }
  });
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/level3/gemm3m.entries.inc"
