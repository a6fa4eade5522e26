#include "eigen_residual.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "residual.hpp"

namespace nuv::tools {
namespace {

template <Scalar T>
using Wide = std::conditional_t<ComplexScalar<T>, std::complex<long double>, long double>;

/// A few columns, one behind another.
template <Scalar T>
using Columns = std::vector<std::vector<Wide<T>>>;

constexpr std::size_t combinations = 4;

template <Scalar T>
Wide<T> conjugate(T x) {
  if constexpr (ComplexScalar<T>) return std::conj(Wide<T>(x));
  else return x;
}

/// A X
template <Scalar T>
Columns<T> product(const DenseMatrix<T>& a, const Columns<T>& x) {
  Columns<T> y(x.size(), std::vector<Wide<T>>(std::size_t(a.rows)));
  for (Int j = 1; j <= a.columns; ++j) {
    const T* const column = a.column(j);
    for (std::size_t c = 0; c < x.size(); ++c) {
      const Wide<T> factor = x[c][std::size_t(j - 1)];
      for (std::size_t i = 0; i < y[c].size(); ++i) y[c][i] += Wide<T>(column[i]) * factor;
    }
  }
  return y;
}

/// A^H X
template <Scalar T>
Columns<T> adjoint_product(const DenseMatrix<T>& a, const Columns<T>& x) {
  Columns<T> y(x.size(), std::vector<Wide<T>>(std::size_t(a.columns)));
  for (Int j = 1; j <= a.columns; ++j) {
    const T* const column = a.column(j);
    for (std::size_t c = 0; c < x.size(); ++c) {
      for (std::size_t i = 0; i < x[c].size(); ++i) y[c][std::size_t(j - 1)] += conjugate(column[i]) * x[c][i];
    }
  }
  return y;
}

/// W X
template <Scalar T>
Columns<T> times_values(const std::vector<Real<T>>& values, Columns<T> x) {
  for (auto& column : x) {
    for (std::size_t k = 0; k < column.size(); ++k) column[k] *= static_cast<long double>(values[k]);
  }
  return x;
}

/// ||X - Y||
template <Scalar T>
long double distance(const Columns<T>& x, const Columns<T>& y) {
  long double largest = 0;
  for (std::size_t c = 0; c < x.size(); ++c) {
    long double sum = 0;
    for (std::size_t i = 0; i < x[c].size(); ++i) sum += std::abs(x[c][i] - y[c][i]);
    largest = std::max(largest, sum);
  }
  return largest;
}

template <Scalar T>
Columns<T> random_signs(std::size_t n) {
  std::mt19937 engine(5);
  Columns<T> v(combinations, std::vector<Wide<T>>(n));
  for (auto& column : v) {
    for (auto& x : column) x = engine() % 2 == 0 ? 1 : -1;
  }
  return v;
}

/// An error in units of scale n eps; zero where there is none.
template <Scalar T>
long double in_units(long double error, long double scale, Int n) {
  constexpr long double eps = std::numeric_limits<Real<T>>::epsilon() / 2;
  return error == 0 ? 0 : error / (scale * n * eps);
}

}  // namespace

template <Scalar T>
EigenResiduals residuals_of(const DenseMatrix<T>& a, const Eigenpairs<T>& pairs) {
  const DenseMatrix<T>& z = pairs.vectors;
  const auto v = random_signs<T>(pairs.values.size());
  const auto x = product(z, v);
  const long double residual = distance<T>(product(a, x), product(z, times_values<T>(pairs.values, v)));
  return {in_units<T>(residual, one_norm(a), a.rows), in_units<T>(distance<T>(adjoint_product(z, x), v), 1, a.rows)};
}

template <Scalar T>
EigenResiduals residuals_of(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const Eigenpairs<T>& pairs, Int type) {
  const DenseMatrix<T>& z = pairs.vectors;
  const Int n = a.rows;
  const long double a_norm = one_norm(a), b_norm = one_norm(b), z_norm = one_norm(z);
  const auto v = random_signs<T>(pairs.values.size()), wv = times_values<T>(pairs.values, v);
  const auto x = product(z, v), y = product(z, wv), ax = product(a, x), bx = product(b, x);
  EigenResiduals result;
  if (type == 1) {
    long double largest = 0;
    for (const auto w : pairs.values) largest = std::max(largest, std::abs(static_cast<long double>(w)));
    result.residual = in_units<T>(distance<T>(ax, product(b, y)), (a_norm + b_norm * largest) * z_norm, n);
  } else {
    const auto product_of_both = type == 2 ? product(a, bx) : product(b, ax);
    result.residual = in_units<T>(distance<T>(product_of_both, y), a_norm * b_norm * z_norm, n);
  }
  result.orthogonality = type == 3 ? in_units<T>(distance<T>(adjoint_product(z, ax), wv), a_norm * z_norm * z_norm, n)
                                   : in_units<T>(distance<T>(adjoint_product(z, bx), v), b_norm * z_norm * z_norm, n);
  return result;
}

#define NUV_INSTANTIATE(T)                                                           \
  template EigenResiduals residuals_of(const DenseMatrix<T>&, const Eigenpairs<T>&); \
  template EigenResiduals residuals_of(const DenseMatrix<T>&, const DenseMatrix<T>&, const Eigenpairs<T>&, Int);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
