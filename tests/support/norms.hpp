#pragma once

// What measures of results are made of. For sources of support: it brings Eigen with it.

#include <Eigen/Core>

namespace nuv::test {

/// The one-norm; zero for an empty matrix. A NaN stays one.
template <class Matrix>
auto norm(const Matrix& A) {
  using Norm = typename Matrix::RealScalar;
  return A.size() == 0 ? Norm(0) : A.cwiseAbs().colwise().sum().template maxCoeff<Eigen::PropagateNaN>();
}

/// numerator / denominator, where nothing over nothing is nothing.
inline double ratio(long double numerator, long double denominator) {
  return numerator == 0 ? 0 : double(numerator / denominator);
}

}  // namespace nuv::test
