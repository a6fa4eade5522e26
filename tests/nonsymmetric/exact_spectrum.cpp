// Apart from the rest: Eigen's solver takes the compiler long.

#include <Eigen/Eigenvalues>

#include "nonsymmetric/general_calls.hpp"

namespace nuv::test {

ExactSpectrum spectrum_of(const WideMatrix<std::complex<double>>& A) {
  using C = std::complex<double>;
  ExactSpectrum exact{{}, {}, one_norm<C>(A)};
  if (A.rows() == 0) return exact;
  const Eigen::ComplexEigenSolver<WideMatrix<C>> solver(A);
  const WideMatrix<C> V = solver.eigenvectors(), left = inverse<C>(V);
  for (Eigen::Index i = 0; i < A.rows(); ++i) {
    exact.values.emplace_back(solver.eigenvalues()(i));
    exact.conditions.push_back(double(V.col(i).norm() * left.row(i).norm()));
  }
  return exact;
}

}  // namespace nuv::test
