#pragma once

// The packed product behind all of level 3 (K. Goto and R. van de Geijn, "Anatomy of high-performance matrix
// multiplication", ACM TOMS 34, 2008; F. Van Zee and R. van de Geijn, "BLIS: a framework for rapidly instantiating BLAS
// functionality", ACM TOMS 41, 2015).

#include "kernels/packed/pack.hpp"
#include "kernels/packed/region.hpp"
#include "kernels/packed/tile.hpp"

namespace nuv::packed::inline NUV_ISA {

/// C := alpha A B + beta C on a region of C, m by n, with A m by k and B k by n; m, n, k > 0.
///
/// With a triangular operand, and n and k at most Block::leaf, all that the product reads of a row or column is packed
/// before that row or column of C is written: C may then be one of the operands.
template <Scalar T>
void product(Int m, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta, Matrix<T> C,
             Region region = Region::all, RealFactors real = RealFactors::none);

/// op(X), by its option letter, as the left operand of a product ...
template <Scalar T>
Operand<T> left_operand(char trans, Matrix<const T> X) {
  const bool plain = trans == 'N' || trans == 'n';
  return {X.data, plain ? 1 : X.ld, plain ? X.ld : 1, trans == 'C' || trans == 'c'};
}

/// ... and as the right one.
template <Scalar T>
Operand<T> right_operand(char trans, Matrix<const T> X) {
  const bool plain = trans == 'N' || trans == 'n';
  return {X.data, plain ? X.ld : 1, plain ? 1 : X.ld, trans == 'C' || trans == 'c'};
}

}  // namespace nuv::packed::inline NUV_ISA
