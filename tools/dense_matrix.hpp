#pragma once

#include <algorithm>
#include <complex>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "matrix_market.hpp"

namespace nuv::tools {

template <class T>
inline constexpr bool is_complex = false;
template <class R>
inline constexpr bool is_complex<std::complex<R>> = true;

namespace detail {
template <class T>
struct RealOf {
  using type = T;
};
template <class R>
struct RealOf<std::complex<R>> {
  using type = R;
};
}  // namespace detail

template <class T>
using Real = typename detail::RealOf<T>::type;

/// A matrix stored by columns without gaps, addressed from one. T is float, double or the complex of one of them.
template <class T>
struct DenseMatrix {
  std::int32_t rows = 0;
  std::int32_t columns = 0;
  std::vector<T> elements;

  DenseMatrix(std::int32_t rows_, std::int32_t columns_)
      : rows(rows_),
        columns(columns_),
        elements(static_cast<std::size_t>(rows_) * static_cast<std::size_t>(columns_)) {}

  T* column(std::int32_t j) { return elements.data() + static_cast<std::ptrdiff_t>(j - 1) * rows; }
  const T* column(std::int32_t j) const { return elements.data() + static_cast<std::ptrdiff_t>(j - 1) * rows; }

  T& operator()(std::int32_t i, std::int32_t j) { return column(j)[i - 1]; }
  const T& operator()(std::int32_t i, std::int32_t j) const { return column(j)[i - 1]; }

  /// Leading dimension as a solver wants it.
  std::int32_t ld() const { return std::max(1, rows); }
};

/// Expands a file into all elements of its matrix, and lets go of it. A complex file needs a complex T. Throws
/// FileError if a sum of duplicate entries overflows.
template <class T>
DenseMatrix<T> to_dense(MatrixMarket file);

template <class T>
bool all_finite(const DenseMatrix<T>& a);

/// max over i of the sum over j of |a(i, j)|, accumulated in long double.
template <class T>
long double infinity_norm(const DenseMatrix<T>& a);

/// ||A X - B|| / (||A|| ||X|| n eps) in infinity norms, accumulated in long double. eps is the unit roundoff of T,
/// half the distance from one to the next number; 0 when A X = B exactly, whatever the norms are.
template <class T>
long double scaled_residual(const DenseMatrix<T>& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b);

/// Writes a matrix as a Matrix Market array, each number by the fewest digits that read back as the same bits. The
/// text is handed to the sink in pieces of some ten thousand characters.
template <class T>
void write_matrix_market(const DenseMatrix<T>& a, const std::function<void(std::string_view)>& sink);

}  // namespace nuv::tools
