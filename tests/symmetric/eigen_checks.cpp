#include "symmetric/eigen_checks.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "support/norms.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
WideMatrix<T> signs(Eigen::Index n) {
  std::mt19937 engine(23);
  return WideMatrix<T>::NullaryExpr(n, 4, [&] { return Wide<T>(engine() % 2 == 0 ? 1 : -1); });
}

template <Scalar T>
WideMatrix<T> columns(const GuardedMatrix<T>& Z, Int m) {
  return wide(Z).leftCols(m);
}

/// W V
template <Scalar T>
WideMatrix<T> times_values(const GuardedVector<Real<T>>& w, WideMatrix<T> V) {
  for (Eigen::Index k = 0; k < V.rows(); ++k) V.row(k) *= Wide<T>(w(Int(k) + 1));
  return V;
}

}  // namespace

template <Scalar T>
double eigen_residual(const WideMatrix<T>& A, const GuardedMatrix<T>& Z, const GuardedVector<Real<T>>& w, Int m) {
  const WideMatrix<T> X = columns(Z, m), V = signs<T>(m);
  const WideMatrix<T> rest = product<T>(A, product<T>(X, V)) - product<T>(X, times_values<T>(w, V));
  return ratio(norm(rest), norm(A) * A.cols() * epsilon<T>);
}

template <Scalar T>
double generalised_residual(const WideMatrix<T>& A, const WideMatrix<T>& B, const GuardedMatrix<T>& Z,
                            const GuardedVector<Real<T>>& w, Int m) {
  const WideMatrix<T> X = columns(Z, m), V = signs<T>(m);
  const WideMatrix<T> rest = product<T>(A, product<T>(X, V)) - product<T>(B, product<T>(X, times_values<T>(w, V)));
  WideReal<T> largest = 0;
  for (Int k = 1; k <= m; ++k) largest = std::max(largest, std::abs(WideReal<T>(w(k))));
  return ratio(norm(rest), (norm(A) + norm(B) * largest) * norm(X) * A.cols() * epsilon<T>);
}

template <Scalar T>
double orthogonality(const GuardedMatrix<T>& Z, Int m) {
  const WideMatrix<T> X = columns(Z, m), V = signs<T>(m);
  const WideMatrix<T> rest = product<T>(X.adjoint(), product<T>(X, V)) - V;
  return ratio(norm(rest), WideReal<T>(Z.rows()) * epsilon<T>);
}

template <Scalar T>
double orthogonality_in(const WideMatrix<T>& B, const GuardedMatrix<T>& Z, Int m) {
  const WideMatrix<T> X = columns(Z, m), V = signs<T>(m);
  const WideMatrix<T> rest = product<T>(X.adjoint(), product<T>(B, product<T>(X, V))) - V;
  return ratio(norm(rest), norm(B) * norm(X) * norm(X) * WideReal<T>(Z.rows()) * epsilon<T>);
}

template <Scalar T>
double reduction_residual(const WideMatrix<T>& A, const GuardedMatrix<T>& Q, const Tridiagonal<Real<T>>& tridiagonal) {
  const WideMatrix<T> X = wide(Q), V = signs<T>(A.cols());
  const WideMatrix<T> rest = product<T>(A, product<T>(X, V)) - product<T>(X, product<T>(wide_dense<T>(tridiagonal), V));
  return ratio(norm(rest), norm(A) * A.cols() * epsilon<T>);
}

// The signs of the pivots of T - x I tell (W. Givens, "Numerical computation of the characteristic values of a real
// symmetric matrix", Oak Ridge National Laboratory report 1574, 1954).
template <RealScalar R>
Int wide_count(const Tridiagonal<R>& matrix, WideReal<R> x) {
  using W = WideReal<R>;
  constexpr W least = std::numeric_limits<W>::min();
  Int count = 0;
  W pivot = 1;
  for (std::size_t i = 0; i < matrix.d.size(); ++i) {
    const W beside = i == 0 ? W(0) : W(matrix.e[i - 1]);
    pivot = W(matrix.d[i]) - x - beside * (beside / pivot);
    if (std::abs(pivot) < least) pivot = -least;
    count += pivot < 0;
  }
  return count;
}

namespace {

/// The values of which first lie below low and last below high, by halving.
template <RealScalar R>
void bisect(const Tridiagonal<R>& matrix, WideReal<R> low, Int first, WideReal<R> high, Int last,
            std::vector<WideReal<R>>& values) {
  if (first == last) return;
  const WideReal<R> middle = low + (high - low) / 2;
  const WideReal<R> width = std::numeric_limits<WideReal<R>>::epsilon() * std::max(std::abs(low), std::abs(high));
  if (middle == low || middle == high || high - low <= 2 * width) {
    values.insert(values.end(), std::size_t(last - first), middle);
    return;
  }
  const Int count = std::clamp(wide_count(matrix, middle), first, last);
  bisect(matrix, low, first, middle, count, values);
  bisect(matrix, middle, count, high, last, values);
}

}  // namespace

template <RealScalar R>
std::vector<WideReal<R>> wide_values(const Tridiagonal<R>& matrix) {
  using W = WideReal<R>;
  W bound = 0;
  for (std::size_t i = 0; i < matrix.d.size(); ++i) {
    const W left = i == 0 ? W(0) : std::abs(W(matrix.e[i - 1]));
    const W right = i + 1 == matrix.d.size() ? W(0) : std::abs(W(matrix.e[i]));
    bound = std::max(bound, std::abs(W(matrix.d[i])) + left + right);
  }
  bound = bound * W(1.001) + std::numeric_limits<R>::min() * W(1e-3);
  std::vector<W> values;
  bisect<R>(matrix, -bound, 0, bound, matrix.order(), values);
  return values;
}

template <RealScalar R>
double value_error(const GuardedVector<R>& w, Int m, const std::vector<WideReal<R>>& exact, Int first) {
  WideReal<R> largest = std::numeric_limits<R>::min(), error = 0;  // bisection never ends at zero
  for (const WideReal<R>& value : exact) largest = std::max(largest, std::abs(value));
  for (Int k = 1; k <= m; ++k) {
    const WideReal<R> difference = std::abs(WideReal<R>(w(k)) - exact[std::size_t(first + k - 2)]);
    if (std::isnan(difference)) return double(difference);
    error = std::max(error, difference);
  }
  return ratio(error, largest * WideReal<R>(exact.size()) * epsilon<R>);
}

#define NUV_INSTANTIATE_REAL(R)                                            \
  template Int wide_count<R>(const Tridiagonal<R>&, WideReal<R>);          \
  template std::vector<WideReal<R>> wide_values<R>(const Tridiagonal<R>&); \
  template double value_error<R>(const GuardedVector<R>&, Int, const std::vector<WideReal<R>>&, Int);

#define NUV_INSTANTIATE(T)                                                                                        \
  template double eigen_residual<T>(const WideMatrix<T>&, const GuardedMatrix<T>&, const GuardedVector<Real<T>>&, \
                                    Int);                                                                         \
  template double generalised_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const GuardedMatrix<T>&,    \
                                          const GuardedVector<Real<T>>&, Int);                                    \
  template double orthogonality<T>(const GuardedMatrix<T>&, Int);                                                 \
  template double orthogonality_in<T>(const WideMatrix<T>&, const GuardedMatrix<T>&, Int);                        \
  template double reduction_residual<T>(const WideMatrix<T>&, const GuardedMatrix<T>&, const Tridiagonal<Real<T>>&);

NUV_INSTANTIATE_REAL(float)
NUV_INSTANTIATE_REAL(double)
NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
