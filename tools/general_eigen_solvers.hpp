#pragma once

// Eigenvalues, eigenvectors and Schur forms by the library's drivers for general matrices.

#include <complex>
#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// What is wanted beside the eigenvalues.
struct GeneralEigenRequest {
  bool right = false, left = false;  ///< vectors
  bool conditions = false;
};

/// Eigenvalues, those of a conjugate pair of a real matrix next to one another, the one with the positive imaginary
/// part first.
template <Scalar T>
using GeneralValues = std::vector<std::complex<Real<T>>>;

/// Vectors have Euclidean length one, with a real component of largest modulus. Those of a real matrix for a pair x +
/// iy, x - iy stand as two columns x, y.
template <Scalar T>
struct GeneralEigenpairs {
  GeneralValues<T> values;
  DenseMatrix<T> right{0, 0}, left{0, 0};  ///< a column for each value, if wanted
  std::vector<Real<T>> cosines;            ///< |y^H x| of the left and the right vector of each value, if wanted
  std::vector<Real<T>> separations;        ///< of each value from the others, as sep tells it, if wanted
  std::string_view driver;                 ///< without its precision letter
  Int info = 0;                            ///< as the driver gave it
};

template <Scalar T>
GeneralEigenpairs<T> general_eigenpairs(DenseMatrix<T> a, const GeneralEigenRequest& request);

/// A = Z T Z^H with orthonormal columns in Z, and with a triangular T; for a real A it has 2 by 2 blocks on the
/// diagonal where values are complex.
template <Scalar T>
struct SchurForm {
  GeneralValues<T> values;
  DenseMatrix<T> t{0, 0}, z{0, 0};  ///< z if wanted
  std::string_view driver;
  Int info = 0;
};

template <Scalar T>
SchurForm<T> schur_form(DenseMatrix<T> a, bool vectors);

/// Whether a value is not real.
template <Scalar T>
bool any_complex(const GeneralValues<T>& values);

/// The eigenvectors themselves, in complex numbers.
template <Scalar T>
DenseMatrix<std::complex<Real<T>>> complex_vectors(const GeneralValues<T>& values, const DenseMatrix<T>& vectors);

}  // namespace nuv::tools
