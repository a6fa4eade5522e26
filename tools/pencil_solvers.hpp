#pragma once

// Eigenvalues and eigenvectors of pairs of general matrices, A v = w B v, by the library's drivers.

#include <complex>
#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"
#include "general_eigen_solvers.hpp"

namespace nuv::tools {

/// Eigenvalues w = alpha / beta, those of a conjugate pair of real matrices next to one another, the one with the
/// positive imaginary part first. In vectors the largest |re| + |im| of a component is one; those of real matrices for
/// a pair x + iy, x - iy stand as two columns x, y.
template <Scalar T>
struct PencilPairs {
  GeneralValues<T> alpha;
  std::vector<Real<T>> beta;               ///< not negative
  DenseMatrix<T> right{0, 0}, left{0, 0};  ///< a column for each value, if wanted
  std::vector<Real<T>> chords;  ///< |(y^H A x, y^H B x)| / (|x| |y|) of each value, zero of indefinite ones, if wanted
  std::vector<Real<T>> separations;  ///< of each value from the others, as Dif tells it, if wanted
  std::string_view driver;           ///< without its precision letter
  Int info = 0;                      ///< as the driver gave it

  std::size_t size() const { return beta.size(); }

  /// Whether both parts of a value are zero: any number is an eigenvalue.
  bool is_indefinite(std::size_t k) const { return beta[k] == 0 && alpha[k] == std::complex<Real<T>>(0); }

  bool any_indefinite() const;

  /// The eigenvalues: infinite where beta is zero or the quotient overflows, NaN where one is indefinite.
  GeneralValues<T> values() const;
};

template <Scalar T>
PencilPairs<T> pencil_pairs(DenseMatrix<T> a, DenseMatrix<T> b, const GeneralEigenRequest& request);

}  // namespace nuv::tools
