#pragma once

// How well eigenvalues and eigenvectors fit a pair of general matrices, accumulated in long double, in units of the
// rounding errors that can't be avoided (see eigen_residual.hpp), with one-norms and the unit roundoff eps. Each vector
// counts alike, whatever the size of its eigenvalue: alpha and beta are multiplied by what makes
// |beta| ||A|| + |alpha| ||B|| one.

#include "dense_matrix.hpp"
#include "pencil_solvers.hpp"

namespace nuv::tools {

/// ||A V b - B V a|| / (||V|| n eps) for the right vectors, with the diagonal matrices a of alpha and b of beta.
template <Scalar T>
long double right_residual(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const PencilPairs<T>& pairs);

/// ||A^H U b - B^H U a^H|| / (||U|| n eps) for the left vectors.
template <Scalar T>
long double left_residual(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const PencilPairs<T>& pairs);

}  // namespace nuv::tools
