#include "support/wide_spectrum.hpp"

#include <Eigen/Eigenvalues>
#include <Eigen/SVD>

namespace nuv::test {

template <Scalar T>
WideVector<T> wide_singular_values(const WideMatrix<T>& A) {
  return Eigen::JacobiSVD<WideMatrix<T>>(A).singularValues();
}

template <Scalar T>
WideVector<T> wide_eigenvalues(const WideMatrix<T>& A) {
  return Eigen::SelfAdjointEigenSolver<WideMatrix<T>>(A, Eigen::EigenvaluesOnly).eigenvalues();
}

#define NUV_INSTANTIATE(T)                                              \
  template WideVector<T> wide_singular_values<T>(const WideMatrix<T>&); \
  template WideVector<T> wide_eigenvalues<T>(const WideMatrix<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
