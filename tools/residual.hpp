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

/// The root of the sum of |a(i, j)|^2.
template <class Matrix>
long double frobenius_norm(const Matrix& a);

/// max |a(i, j)|
template <class Matrix>
long double largest_element(const Matrix& a);

/// ||A X - B|| / (||A|| ||X|| n eps) in infinity norms. eps is the unit roundoff of the elements, half the distance
/// from one to the next number; 0 when A X = B exactly, whatever the norms are.
template <class Matrix>
long double scaled_residual(const Matrix& a, const DenseMatrix<typename Matrix::Element>& x,
                            const DenseMatrix<typename Matrix::Element>& b);

/// The Euclidean norms of the columns of A X - B.
template <class Matrix>
std::vector<long double> residual_norms(const Matrix& a, const DenseMatrix<typename Matrix::Element>& x,
                                        const DenseMatrix<typename Matrix::Element>& b);

/// The largest ||A^H r|| / (||A|| (||r|| + ||A|| ||x||) m eps) of the columns x of X, with r = A x - b and Frobenius
/// norms: how far x is from the one that makes ||r|| least. eps as above; 0 when A^H r is zero.
template <class Matrix>
long double scaled_optimality(const Matrix& a, const DenseMatrix<typename Matrix::Element>& x,
                              const DenseMatrix<typename Matrix::Element>& b);

}  // namespace nuv::tools
