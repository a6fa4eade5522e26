#pragma once

// How well singular values and vectors fit their matrix, accumulated in long double.

#include "dense_matrix.hpp"
#include "singular_solver.hpp"

namespace nuv::tools {

/// Measures in units of the rounding errors that can't be avoided, taken for four combinations of columns with random
/// signs, in one-norms, with the unit roundoff eps and n the larger of the matrix's two sizes.
struct SingularResiduals {
  long double residual = 0;       ///< ||A - U S V^H|| / (||A|| n eps)
  long double orthogonality = 0;  ///< the larger of ||U^H U - I|| and ||V^H V - I||, over n eps
};

/// Of a decomposition with vectors.
template <Scalar T>
SingularResiduals residuals_of(const DenseMatrix<T>& a, const SingularDecomposition<T>& decomposition);

}  // namespace nuv::tools
