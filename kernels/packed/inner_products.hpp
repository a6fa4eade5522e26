#pragma once

// Products whose elements are inner products of vectors that lie side by side in memory, the transpose of a matrix by a
// matrix. Where C is narrow or flat, to pack the operands would take as long as to multiply them; here nothing is
// copied. Sums are formed lane by lane along the vectors, so that rounding differs from that of the packed product.

#include <algorithm>

#include "base/matrix.hpp"
#include "kernels/packed/blocking.hpp"
#include "kernels/packed/pack.hpp"

namespace nuv::packed::inline NUV_ISA {

/// True if inner products are faster than the packed product of these operands, which have no structure.
template <Scalar T>
bool inner_products_pay(Int m, Int n, Int k, const Operand<T>& A, const Operand<T>& B) {
  constexpr Int few = InnerTile<T>::few;
  if (A.deep != 1 || B.deep != 1 || k < InnerTile<T>::least_depth) return false;
  // With few rows the packed product of real numbers copies the left operand alone.
  return n <= few || (ComplexScalar<T> && m <= few) || std::max(m, n) < 2 * few;
}

/// C := alpha A B + beta C with operands whose steps lie side by side, m, n, k > 0: from + 1 to until of the rows or of
/// the columns of C, whichever are more. They do not depend on each other.
template <Scalar T>
void inner_products(Int m, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta, Matrix<T> C,
                    Int from, Int until);

}  // namespace nuv::packed::inline NUV_ISA
