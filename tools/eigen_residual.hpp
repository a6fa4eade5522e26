#pragma once

// How well eigenvalues and eigenvectors fit their matrices, accumulated in long double.

#include "dense_matrix.hpp"
#include "eigen_solvers.hpp"

namespace nuv::tools {

/// Measures in units of the rounding errors that can't be avoided. Each is taken for four combinations of all vectors
/// with random signs: the error of each vector is in each of them, and they take no more time than reading the
/// matrices.
struct EigenResiduals {
  long double residual = 0;
  long double orthogonality = 0;
};

/// ||A Z - Z W|| / (||A|| n eps) and ||Z^H Z - I|| / (n eps), in one-norms, with the unit roundoff eps.
template <Scalar T>
EigenResiduals residuals_of(const DenseMatrix<T>& a, const Eigenpairs<T>& pairs);

/// For the generalised problem of that type, with || || the one-norm:
///
///   type 1   ||A Z - B Z W|| / ((||A|| + ||B|| max |w|) ||Z|| n eps)   ||Z^H B Z - I|| / (||B|| ||Z||^2 n eps)
///   type 2   ||A B Z - Z W|| / (||A|| ||B|| ||Z|| n eps)               the same
///   type 3   ||B A Z - Z W|| / (||A|| ||B|| ||Z|| n eps)               ||Z^H A Z - W|| / (||A|| ||Z||^2 n eps), which
///   is
///            W itself where the vectors are orthonormal in the inner product of the inverse of B
template <Scalar T>
EigenResiduals residuals_of(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const Eigenpairs<T>& pairs, Int type);

}  // namespace nuv::tools
