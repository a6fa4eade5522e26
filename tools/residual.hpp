#pragma once

// Norms and residuals, accumulated in long double. Matrix is a DenseMatrix or a BandMatrix, and no more of it is read
// than it stores.

#include <vector>

#include "band_matrix.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// max over j of the sum over i of |a(i, j)|.
template <class Matrix>
long double one_norm(const Matrix& a);

/// max over i of the sum over j of |a(i, j)|.
template <class Matrix>
long double infinity_norm(const Matrix& a);

/// ||A X - B|| / (||A|| ||X|| n eps) in infinity norms. eps is the unit roundoff of the elements, half the distance
/// from one to the next number; 0 when A X = B exactly, whatever the norms are.
template <class Matrix>
long double scaled_residual(const Matrix& a, const DenseMatrix<typename Matrix::Element>& x,
                            const DenseMatrix<typename Matrix::Element>& b);

/// The Euclidean norms of the columns of A X - B.
template <Scalar T>
std::vector<long double> residual_norms(const DenseMatrix<T>& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b);

}  // namespace nuv::tools
