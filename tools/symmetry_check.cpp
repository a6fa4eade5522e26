#include "symmetry_check.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

namespace nuv::tools {
namespace {

// Sums over the elements of a mesh, taken in another order for either half, differ by an epsilon or two.
template <Scalar T>
constexpr double tolerance = 4 * std::numeric_limits<Real<T>>::epsilon();

template <Scalar T>
T stored(const DenseMatrix<T>& a, Int i, Int j) {
  return a(i, j);
}
template <Scalar T>
T stored(const BandMatrix<T>& a, Int i, Int j) {
  return i >= a.first_row(j) && i <= a.last_row(j) ? a(i, j) : T(0);
}

/// The last row of the lower part of a column that holds something, or whose mirror image does.
template <Scalar T>
Int last_row(const DenseMatrix<T>& a, Int) {
  return a.rows;
}
template <Scalar T>
Int last_row(const BandMatrix<T>& a, Int j) {
  return static_cast<Int>(std::min<std::int64_t>(a.rows, std::int64_t{j} + std::max(a.lower, a.upper)));
}

}  // namespace

template <class Matrix>
Asymmetry asymmetry_of(const Matrix& a, bool conjugated) {
  using T = typename Matrix::Element;
  std::vector<double> roots(static_cast<std::size_t>(a.columns));
  for (Int j = 1; j <= a.columns; ++j) roots[static_cast<std::size_t>(j - 1)] = std::sqrt(double{std::abs(a(j, j))});

  Asymmetry result;
  result.conjugated = conjugated;
  for (Int j = 1; j <= a.columns; ++j) {
    for (Int i = j; i <= last_row(a, j); ++i) {
      const T below = stored(a, i, j), above = conjugated ? conjugate(stored(a, j, i)) : stored(a, j, i);
      if (below == above) continue;
      const double difference = std::abs(std::complex<double>(below) - std::complex<double>(above));
      const double relative =
          difference / roots[static_cast<std::size_t>(i - 1)] / roots[static_cast<std::size_t>(j - 1)];
      if (relative <= tolerance<T>) {
        result.largest = std::max(result.largest, relative);
      } else {
        result.row = i;
        result.column = j;
        return result;
      }
    }
  }
  return result;
}

std::string words_of(const Asymmetry& asymmetry, bool is_complex) {
  const auto [row, column] = std::pair(asymmetry.row, asymmetry.column);
  const std::string reason = row == column ? fmt::format("A({0},{0}) is not real", row)
                             : asymmetry.conjugated && is_complex
                                 ? fmt::format("A({0},{1}) is not the conjugate of A({1},{0})", row, column)
                                 : fmt::format("A({0},{1}) is not A({1},{0})", row, column);
  return fmt::format("the matrix is not {}: {}", asymmetry.conjugated && is_complex ? "Hermitian" : "symmetric",
                     reason);
}

#define NUV_INSTANTIATE(T)                                      \
  template Asymmetry asymmetry_of(const DenseMatrix<T>&, bool); \
  template Asymmetry asymmetry_of(const BandMatrix<T>&, bool);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
