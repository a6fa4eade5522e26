#include "dense_matrix.hpp"

#include <fmt/format.h>

#include <cmath>
#include <iterator>
#include <string>

#include "error.hpp"

namespace nuv::tools {
namespace {

bool is_finite(double x) {
  return std::isfinite(x);
}
bool is_finite(std::complex<double> x) {
  return std::isfinite(x.real()) && std::isfinite(x.imag());
}

template <RealScalar R>
void append(std::string& text, R value) {
  fmt::format_to(std::back_inserter(text), "{}\n", value);
}

template <RealScalar R>
void append(std::string& text, std::complex<R> value) {
  fmt::format_to(std::back_inserter(text), "{} {}\n", value.real(), value.imag());
}

/// Calls visit(i, j, value) for the elements that a file with that symmetry holds, down the columns.
template <Scalar T, class Visit>
void for_each_stored(const DenseMatrix<T>& a, Symmetry symmetry, Visit visit) {
  for (Int j = 1; j <= a.columns; ++j) {
    for (auto i = static_cast<Int>(first_stored_row(symmetry, j)); i <= a.rows; ++i) visit(i, j, a(i, j));
  }
}

}  // namespace

template <Scalar T>
DenseMatrix<T> to_dense(MatrixMarket file) {
  DenseMatrix<T> a(file.rows, file.columns);
  for_each_element(file, [&](Int i, Int j, std::complex<double> value) { a(i, j) += narrowed<T>(value); });
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

template <Scalar T>
void write_matrix_market(const DenseMatrix<T>& a, const std::function<void(std::string_view)>& sink,
                         const WrittenForm& form) {
  constexpr std::size_t piece = 32768;
  const bool is_array = form.layout == Layout::Array;
  std::string text = fmt::format("%%MatrixMarket matrix {} {} {}\n", is_array ? "array" : "coordinate",
                                 ComplexScalar<T> ? "complex" : "real", name_of(form.symmetry));
  if (!form.comment.empty()) text += fmt::format("% {}\n", form.comment);
  text += fmt::format("{} {}", a.rows, a.columns);
  text += is_array ? "\n" : fmt::format(" {}\n", count_stored(a, form.symmetry).nonzeros);
  for_each_stored(a, form.symmetry, [&](Int i, Int j, T value) {
    if (!is_array) {
      if (value == T(0)) return;
      fmt::format_to(std::back_inserter(text), "{} {} ", i, j);
    }
    append(text, value);
    if (text.size() < piece) return;
    sink(text);
    text.clear();
  });
  sink(text);
}

#define NUV_INSTANTIATE(T)                                                                               \
  template DenseMatrix<T> to_dense(MatrixMarket);                                                        \
  template DenseMatrix<T> adjoint(const DenseMatrix<T>&);                                                \
  template bool all_finite(const std::vector<T>&);                                                       \
  template void require_finite_sums(const std::vector<T>&, const std::string&);                          \
  template T narrowed(std::complex<double>);                                                             \
  template StoredCount count_stored(const DenseMatrix<T>&, Symmetry);                                    \
  template void write_matrix_market(const DenseMatrix<T>&, const std::function<void(std::string_view)>&, \
                                    const WrittenForm&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
