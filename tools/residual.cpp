#include "residual.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>
#include <type_traits>

namespace nuv::tools {
namespace {

template <Scalar T>
using Wide = std::conditional_t<ComplexScalar<T>, std::complex<long double>, long double>;

template <Scalar T>
Wide<T> widen(T x) {
  return Wide<T>(x);
}

long double product(long double x, long double y) {
  return x * y;
}

// The operator of std::complex looks after infinite operands, at the price of a function call for each product.
std::complex<long double> product(std::complex<long double> x, std::complex<long double> y) {
  return {x.real() * y.real() - x.imag() * y.imag(), x.real() * y.imag() + x.imag() * y.real()};
}

/// Calls visit(k, value) for the stored elements of a column, k counting all rows from zero.
template <class Matrix, class Visit>
void for_each_in_column(const Matrix& a, Int j, Visit visit) {
  const Int first = a.first_row(j), last = a.last_row(j);
  if (first > last) return;
  const auto* const elements = &a(first, j);
  for (Int i = first; i <= last; ++i) visit(static_cast<std::size_t>(i - 1), widen(elements[i - first]));
}

/// r := A x - b for one column.
template <class Matrix, Scalar T>
void residual_column(const Matrix& a, const T* x, const T* b, std::vector<Wide<T>>& r) {
  std::transform(b, b + a.rows, r.begin(), [](T value) { return -widen(value); });
  for (Int j = 1; j <= a.columns; ++j) {
    const Wide<T> factor = widen(x[j - 1]);
    for_each_in_column(a, j, [&](std::size_t k, Wide<T> value) { r[k] += product(value, factor); });
  }
}

template <class Number>
long double euclidean_norm(const std::vector<Number>& x) {
  return std::sqrt(std::accumulate(x.begin(), x.end(), 0.0L,
                                   [](long double sum, const Number& value) { return sum + std::norm(value); }));
}

long double conjugate(long double x) {
  return x;
}
std::complex<long double> conjugate(std::complex<long double> x) {
  return std::conj(x);
}

long double largest_of(const std::vector<long double>& sums) {
  return sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
}

}  // namespace

template <class Matrix>
long double one_norm(const Matrix& a) {
  std::vector<long double> sums(static_cast<std::size_t>(a.columns));
  for (Int j = 1; j <= a.columns; ++j) {
    for_each_in_column(a, j,
                       [&](std::size_t, auto value) { sums[static_cast<std::size_t>(j - 1)] += std::abs(value); });
  }
  return largest_of(sums);
}

template <class Matrix>
long double infinity_norm(const Matrix& a) {
  std::vector<long double> sums(static_cast<std::size_t>(a.rows));
  for (Int j = 1; j <= a.columns; ++j) {
    for_each_in_column(a, j, [&](std::size_t k, auto value) { sums[k] += std::abs(value); });
  }
  return largest_of(sums);
}

template <class Matrix>
long double frobenius_norm(const Matrix& a) {
  long double sum = 0;
  for (Int j = 1; j <= a.columns; ++j) {
    for_each_in_column(a, j, [&](std::size_t, auto value) { sum += std::norm(value); });
  }
  return std::sqrt(sum);
}

template <class Matrix>
long double largest_element(const Matrix& a) {
  long double largest = 0;
  for (Int j = 1; j <= a.columns; ++j) {
    for_each_in_column(a, j, [&](std::size_t, auto value) { largest = std::max(largest, std::abs(value)); });
  }
  return largest;
}

template <class Matrix>
long double scaled_residual(const Matrix& a, const DenseMatrix<typename Matrix::Element>& x,
                            const DenseMatrix<typename Matrix::Element>& b) {
  using T = typename Matrix::Element;
  constexpr long double unit_roundoff = std::numeric_limits<Real<T>>::epsilon() / 2;
  std::vector<long double> sums(static_cast<std::size_t>(a.rows));
  std::vector<Wide<T>> r(sums.size());
  for (Int k = 1; k <= b.columns; ++k) {
    residual_column(a, x.column(k), b.column(k), r);
    std::transform(sums.begin(), sums.end(), r.begin(), sums.begin(),
                   [](long double sum, Wide<T> value) { return sum + std::abs(value); });
  }
  const long double largest = largest_of(sums);
  return largest == 0 ? 0 : largest / (infinity_norm(a) * infinity_norm(x) * a.rows * unit_roundoff);
}

template <class Matrix>
std::vector<long double> residual_norms(const Matrix& a, const DenseMatrix<typename Matrix::Element>& x,
                                        const DenseMatrix<typename Matrix::Element>& b) {
  std::vector<long double> norms;
  std::vector<Wide<typename Matrix::Element>> r(static_cast<std::size_t>(a.rows));
  for (Int k = 1; k <= b.columns; ++k) {
    residual_column(a, x.column(k), b.column(k), r);
    norms.push_back(euclidean_norm(r));
  }
  return norms;
}

template <class Matrix>
long double scaled_optimality(const Matrix& a, const DenseMatrix<typename Matrix::Element>& x,
                              const DenseMatrix<typename Matrix::Element>& b) {
  using T = typename Matrix::Element;
  constexpr long double unit_roundoff = std::numeric_limits<Real<T>>::epsilon() / 2;
  const long double norm = frobenius_norm(a);
  std::vector<Wide<T>> r(static_cast<std::size_t>(a.rows)), gradient(static_cast<std::size_t>(a.columns));
  long double largest = 0;
  for (Int k = 1; k <= b.columns; ++k) {
    residual_column(a, x.column(k), b.column(k), r);
    for (Int j = 1; j <= a.columns; ++j) {
      Wide<T> sum = 0;
      for_each_in_column(a, j, [&](std::size_t i, Wide<T> value) { sum += product(conjugate(value), r[i]); });
      gradient[static_cast<std::size_t>(j - 1)] = sum;
    }
    const std::vector<Wide<T>> solution(x.column(k), x.column(k) + x.rows);
    const long double size = euclidean_norm(gradient);
    const long double scale = norm * (euclidean_norm(r) + norm * euclidean_norm(solution)) * a.rows * unit_roundoff;
    if (size != 0) largest = std::max(largest, size / scale);
  }
  return largest;
}

#define NUV_INSTANTIATE_FOR(Matrix, T)                                                                              \
  template long double one_norm(const Matrix<T>&);                                                                  \
  template long double infinity_norm(const Matrix<T>&);                                                             \
  template long double frobenius_norm(const Matrix<T>&);                                                            \
  template long double largest_element(const Matrix<T>&);                                                           \
  template long double scaled_optimality(const Matrix<T>&, const DenseMatrix<T>&, const DenseMatrix<T>&);           \
  template std::vector<long double> residual_norms(const Matrix<T>&, const DenseMatrix<T>&, const DenseMatrix<T>&); \
  template long double scaled_residual(const Matrix<T>&, const DenseMatrix<T>&, const DenseMatrix<T>&);
#define NUV_INSTANTIATE(T)            \
  NUV_INSTANTIATE_FOR(DenseMatrix, T) \
  NUV_INSTANTIATE_FOR(BandMatrix, T)

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE
#undef NUV_INSTANTIATE_FOR

}  // namespace nuv::tools
