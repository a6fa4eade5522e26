#pragma once

// Products with a few columns in long double, to judge vectors by. An equation between matrices is tested on four
// combinations of their columns with random signs: the error of each column is in each of them, and they take no more
// time than reading the matrices.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "dense_matrix.hpp"

namespace nuv::tools {

template <Scalar T>
using Wide = std::conditional_t<ComplexScalar<T>, std::complex<long double>, long double>;

/// A few columns, one behind another.
template <Scalar T>
using Columns = std::vector<std::vector<Wide<T>>>;

inline constexpr std::size_t combinations = 4;

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

/// D X, for a diagonal D whose element k, counted from zero, is value(k). Real columns that belong to conjugates p + q
/// i, p - q i are multiplied by the block (p q; -q p).
template <Scalar T>
Columns<T> diagonal_product(auto value, Columns<T> x) {
  for (auto& column : x) {
    for (std::size_t k = 0; k < column.size(); ++k) {
      const std::complex<long double> factor = value(k);
      if constexpr (ComplexScalar<T>) {
        column[k] *= factor;
      } else if (factor.imag() == 0) {
        column[k] *= factor.real();
      } else {
        const long double first = column[k], second = column[k + 1];
        column[k] = factor.real() * first + factor.imag() * second;
        column[k + 1] = factor.real() * second - factor.imag() * first;
        ++k;
      }
    }
  }
  return x;
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

}  // namespace nuv::tools
