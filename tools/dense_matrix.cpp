#include "dense_matrix.hpp"

#include <cmath>
#include <concepts>
#include <utility>

#include "error.hpp"

namespace nuv::tools {
namespace {

bool is_finite(double x) {
  return std::isfinite(x);
}
bool is_finite(std::complex<double> x) {
  return std::isfinite(x.real()) && std::isfinite(x.imag());
}

/// Whether the values of a file are all elements of a real matrix, down the columns.
bool is_whole(const StoredMatrix& file) {
  return file.layout == Layout::Array && file.symmetry == Symmetry::General && !file.is_complex();
}

}  // namespace

template <Scalar T>
DenseMatrix<T> to_dense(StoredMatrix file) {
  if constexpr (std::same_as<T, double>) {
    if (is_whole(file)) return {file.rows, file.columns, std::move(file.values)};
  }
  DenseMatrix<T> a(file.rows, file.columns);
  const bool has_sums = file.layout == Layout::Coordinate;
  for_each_element(file, [&](Int i, Int j, std::complex<double> value) {
    a(i, j) = has_sums ? a(i, j) + narrowed<T>(value) : narrowed<T>(value);
  });
  require_finite_sums(a.elements, file.file);
  return a;
}

template <Scalar T>
DenseMatrix<T> adjoint(const DenseMatrix<T>& a) {
  DenseMatrix<T> result(a.columns, a.rows);
  for (Int j = 1; j <= a.columns; ++j) {
    for (Int i = 1; i <= a.rows; ++i) {
      if constexpr (ComplexScalar<T>) result(j, i) = std::conj(a(i, j));
      else result(j, i) = a(i, j);
    }
  }
  return result;
}

template <Scalar T>
bool all_finite(const std::vector<T>& elements) {
  return std::all_of(elements.begin(), elements.end(), [](T x) { return is_finite(x); });
}

template <Scalar T>
void require_finite_sums(const std::vector<T>& elements, const std::string& file) {
  if (!all_finite(elements)) throw FileError(file, "the sum of duplicate entries overflows the precision");
}

template <Scalar T>
T narrowed(std::complex<double> x) {
  using R = Real<T>;
  if constexpr (ComplexScalar<T>) {
    return {static_cast<R>(x.real()), static_cast<R>(x.imag())};
  } else {
    return static_cast<R>(x.real());
  }
}

template <Scalar T>
StoredCount count_stored(const DenseMatrix<T>& a, Symmetry symmetry) {
  StoredCount count;
  for_each_stored(a, symmetry, [&](Int, Int, T value) {
    ++count.elements;
    if (value != T(0)) ++count.nonzeros;
  });
  return count;
}

#define NUV_INSTANTIATE(T)                                                      \
  template DenseMatrix<T> to_dense(StoredMatrix);                               \
  template DenseMatrix<T> adjoint(const DenseMatrix<T>&);                       \
  template bool all_finite(const std::vector<T>&);                              \
  template void require_finite_sums(const std::vector<T>&, const std::string&); \
  template T narrowed(std::complex<double>);                                    \
  template StoredCount count_stored(const DenseMatrix<T>&, Symmetry);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
