#include "support/wide_spectrum.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

namespace nuv::test {
namespace {

/// Turns two columns in their plane until they are orthogonal; false if they are.
template <Scalar T>
bool make_orthogonal(WideMatrix<T>& A, Eigen::Index p, Eigen::Index q) {
  using R = WideReal<T>;
  R pp = 0, qq = 0;
  Wide<T> pq = 0;
  for (Eigen::Index i = 0; i < A.rows(); ++i) {
    pp += std::norm(A(i, p));
    qq += std::norm(A(i, q));
    pq += Eigen::numext::conj(A(i, p)) * A(i, q);
  }
  const R product = std::abs(pq);
  if (product <= std::numeric_limits<R>::epsilon() * std::sqrt(pp) * std::sqrt(qq)) return false;
  const R zeta = (qq - pp) / (2 * product);
  const R t = std::copysign(1 / (std::abs(zeta) + std::sqrt(1 + zeta * zeta)), zeta), c = 1 / std::sqrt(1 + t * t);
  const Wide<T> phase = Eigen::numext::conj(pq) / product;
  for (Eigen::Index i = 0; i < A.rows(); ++i) {
    const Wide<T> x = A(i, p), y = A(i, q) * phase;
    A(i, p) = c * (x - t * y);
    A(i, q) = c * (t * x + y);
  }
  return true;
}

}  // namespace

// By one-sided Jacobi rotations (M. R. Hestenes, "Inversion of matrices by biorthogonalization and related results", J.
// SIAM 6, 1958): a few lines, while a header library's methods take most of a minute to compile.
template <Scalar T>
WideVector<T> wide_singular_values(const WideMatrix<T>& A) {
  WideMatrix<T> columns = A.rows() < A.cols() ? WideMatrix<T>(A.adjoint()) : A;
  const Eigen::Index n = columns.cols();
  constexpr int most_sweeps = 60;
  bool turned = true;
  for (int sweep = 0; turned && sweep < most_sweeps; ++sweep) {
    turned = false;
    for (Eigen::Index p = 0; p < n; ++p) {
      for (Eigen::Index q = p + 1; q < n; ++q) turned |= make_orthogonal<T>(columns, p, q);
    }
  }
  WideVector<T> values = columns.colwise().norm().transpose();
  std::sort(values.data(), values.data() + n, std::greater<>());
  return values;
}

// The singular values of a matrix that a shift has made positive definite, without the shift.
template <Scalar T>
WideVector<T> wide_eigenvalues(const WideMatrix<T>& A) {
  const WideReal<T> shift = A.norm();
  WideMatrix<T> shifted = A;
  shifted.diagonal().array() += Wide<T>(shift);
  WideVector<T> values = wide_singular_values<T>(shifted).array() - shift;
  return values.reverse();
}

#define NUV_INSTANTIATE(T)                                              \
  template WideVector<T> wide_singular_values<T>(const WideMatrix<T>&); \
  template WideVector<T> wide_eigenvalues<T>(const WideMatrix<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
