#pragma once

// How well eigenvalues, eigenvectors and Schur forms fit their matrices, accumulated in long double, in units of the
// rounding errors that can't be avoided (see eigen_residual.hpp), with one-norms and the unit roundoff eps.

#include "dense_matrix.hpp"
#include "general_eigen_solvers.hpp"

namespace nuv::tools {

/// ||A V - V W|| / (||A|| ||V|| n eps) for the right vectors.
template <Scalar T>
long double right_residual(const DenseMatrix<T>& a, const GeneralEigenpairs<T>& pairs);

/// ||A^H U - U W^H|| / (||A|| ||U|| n eps) for the left vectors.
template <Scalar T>
long double left_residual(const DenseMatrix<T>& a, const GeneralEigenpairs<T>& pairs);

/// ||A Z - Z T|| / (||A|| n eps)
template <Scalar T>
long double schur_residual(const DenseMatrix<T>& a, const SchurForm<T>& form);

}  // namespace nuv::tools
