#include "svd/decomposition_checks.hpp"

#include <algorithm>
#include <cmath>
#include <random>

#include "support/norms.hpp"

namespace nuv::test {
namespace {

/// Four columns of random signs with halves for ones, so that the norm of E X is about that of E.
template <Scalar T>
WideMatrix<T> signs(Eigen::Index n) {
  std::mt19937 engine(29);
  return WideMatrix<T>::NullaryExpr(n, 4, [&] { return Wide<T>(engine() % 2 == 0 ? 0.5 : -0.5); });
}

/// S X, S with the values on its diagonal and zeros behind them.
template <Scalar T>
WideMatrix<T> times_values(const GuardedVector<Real<T>>& s, WideMatrix<T> X, int power = 1) {
  for (Eigen::Index k = 0; k < X.rows(); ++k) {
    const WideReal<T> value = k < s.size() ? WideReal<T>(s(Int(k) + 1)) : WideReal<T>(0);
    X.row(k) *= Wide<T>(power == 2 ? value * value : value);
  }
  return X;
}

template <Scalar T>
WideReal<T> unit(const WideMatrix<T>& A) {
  return WideReal<T>(std::max(A.rows(), A.cols())) * epsilon<T>;
}

}  // namespace

template <Scalar T>
double decomposition_residual(const WideMatrix<T>& A, const WideMatrix<T>& U, const GuardedVector<Real<T>>& s,
                              const WideMatrix<T>& VT) {
  const Int k = s.size();
  const WideMatrix<T> X = signs<T>(A.cols()), left = U.leftCols(k), right = VT.topRows(k);
  const WideMatrix<T> rest = product<T>(A, X) - product<T>(left, times_values<T>(s, product<T>(right, X)));
  return ratio(norm(rest), norm(A) * unit<T>(A));
}

template <Scalar T>
double one_sided_residual(const WideMatrix<T>& A, const WideMatrix<T>& U, const GuardedVector<Real<T>>& s) {
  const WideMatrix<T> X = signs<T>(U.cols()), B = A / Wide<T>(norm(A));
  const WideReal<T> size = norm(A);
  const WideMatrix<T> image = product<T>(B, product<T>(WideMatrix<T>(B.adjoint()), product<T>(U, X)));
  const WideMatrix<T> rest = product<T>(WideMatrix<T>(U.adjoint()), image) -
                             times_values<T>(s, times_values<T>(s, X) / Wide<T>(size)) / Wide<T>(size);
  return ratio(norm(rest), unit<T>(A));
}

template <Scalar T>
double orthonormality(const WideMatrix<T>& U) {
  const WideMatrix<T> X = signs<T>(U.cols());
  const WideMatrix<T> rest = product<T>(WideMatrix<T>(U.adjoint()), product<T>(U, X)) - X;
  return ratio(norm(rest), WideReal<T>(U.rows()) * epsilon<T>);
}

template <Scalar T>
double singular_value_error(const GuardedVector<Real<T>>& s, const WideVector<T>& exact) {
  double worst = 0;
  for (Int k = 1; k <= s.size(); ++k) {
    const WideReal<T> error = std::abs(WideReal<T>(s(k)) - exact(k - 1));
    const double measure = ratio(error, exact(0) * WideReal<T>(s.size()) * epsilon<T>);
    if (!(measure <= worst)) worst = measure;
    if (std::isnan(worst)) return worst;
  }
  return worst;
}

#define NUV_INSTANTIATE(T)                                                                                             \
  template double decomposition_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const GuardedVector<Real<T>>&, \
                                            const WideMatrix<T>&);                                                     \
  template double one_sided_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const GuardedVector<Real<T>>&);    \
  template double orthonormality<T>(const WideMatrix<T>&);                                                             \
  template double singular_value_error<T>(const GuardedVector<Real<T>>&, const WideVector<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
