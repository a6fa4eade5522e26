#pragma once

// What `nuv eig` tells and writes alike of a general matrix and of a pair of them.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "equations.hpp"
#include "general_eigen_solvers.hpp"
#include "report.hpp"

namespace nuv::tools {

/// How many of the most sensitive eigenvalues the account for people shows.
inline constexpr std::size_t shown_conditions = 5;

/// Numbers in ascending order of their sizes, by their places.
template <class Number>
std::vector<std::size_t> ascending_places(const std::vector<Number>& sizes) {
  std::vector<std::size_t> order(sizes.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) { return sizes[i] < sizes[j]; });
  return order;
}

inline std::string words_of(std::complex<double> value) {
  if (value.imag() == 0) return fmt::format("{:.4g}", value.real());
  return fmt::format("{:.4g} {} {:.4g} i", value.real(), value.imag() < 0 ? '-' : '+', std::abs(value.imag()));
}

/// In real numbers where all values are real.
template <Scalar T>
void write_values(const GeneralValues<T>& values, Output& output) {
  if (any_complex<T>(values)) {
    DenseMatrix<std::complex<Real<T>>> column(static_cast<Int>(values.size()), 1);
    column.elements = values;
    return write_result(column, output);
  }
  std::vector<Real<T>> reals(values.size());
  std::transform(values.begin(), values.end(), reals.begin(), [](auto value) { return value.real(); });
  write_result(reals, output);
}

/// In real numbers where the matrix and all values are real.
template <Scalar T>
void write_vectors(const GeneralValues<T>& values, const DenseMatrix<T>& vectors, Output& output) {
  if (RealScalar<T> && !any_complex<T>(values)) write_result(vectors, output);
  else write_result(complex_vectors<T>(values, vectors), output);
}

inline void tell_residual(std::string_view label, std::string key, long double residual, std::string_view formula,
                          Report& report) {
  report.line(label, fmt::format("{:.3g}   {}", residual, formula)).fact(std::move(key), residual);
}

}  // namespace nuv::tools
