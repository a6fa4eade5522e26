#pragma once

// How well generalised singular values and vectors fit their two matrices, accumulated in long double.

#include "dense_matrix.hpp"
#include "pair_solver.hpp"
#include "singular_residual.hpp"

namespace nuv::tools {

/// Of a decomposition with vectors: `residual` is the larger of ||A - U C X^H|| / (||A|| n eps) and the same for B,
/// `orthogonality` that of U and V.
template <Scalar T>
SingularResiduals residuals_of(const DenseMatrix<T>& a, const DenseMatrix<T>& b,
                               const PairDecomposition<T>& decomposition);

}  // namespace nuv::tools
