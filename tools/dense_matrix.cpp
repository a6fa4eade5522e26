#include "dense_matrix.hpp"

#include <fmt/format.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <string>
#include <type_traits>

#include "error.hpp"

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

bool is_finite(double x) {
  return std::isfinite(x);
}
bool is_finite(std::complex<double> x) {
  return std::isfinite(x.real()) && std::isfinite(x.imag());
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

std::complex<double> mirrored(Symmetry symmetry, std::complex<double> value) {
  switch (symmetry) {
    case Symmetry::SkewSymmetric:
      return -value;
    case Symmetry::Hermitian:
      return std::conj(value);
    default:
      return value;
  }
}

/// r := A x - b for one column.
template <Scalar T>
void residual_column(const DenseMatrix<T>& a, const T* x, const T* b, std::vector<Wide<T>>& r) {
  std::transform(b, b + a.rows, r.begin(), [](T value) { return -widen(value); });
  for (Int j = 1; j <= a.columns; ++j) {
    const Wide<T> factor = widen(x[j - 1]);
    const T* column = a.column(j);
    for (Int i = 0; i < a.rows; ++i) r[static_cast<std::size_t>(i)] += product(widen(column[i]), factor);
  }
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

constexpr std::string_view name_of(Symmetry symmetry) {
  switch (symmetry) {
    case Symmetry::Symmetric:
      return "symmetric";
    case Symmetry::SkewSymmetric:
      return "skew-symmetric";
    case Symmetry::Hermitian:
      return "hermitian";
    default:
      return "general";
  }
}

}  // namespace

template <Scalar T>
DenseMatrix<T> to_dense(MatrixMarket file) {
  DenseMatrix<T> a(file.rows, file.columns);
  for_each_stored(file, [&](Int i, Int j, std::complex<double> value) {
    a(i, j) += narrowed<T>(value);
    if (file.symmetry != Symmetry::General && i != j) a(j, i) += narrowed<T>(mirrored(file.symmetry, value));
  });
  if (!all_finite(a)) throw FileError(file.file, "the sum of duplicate entries overflows the precision");
  return a;
}

template <Scalar T>
bool all_finite(const DenseMatrix<T>& a) {
  return std::all_of(a.elements.begin(), a.elements.end(), [](T x) { return is_finite(x); });
}

template <Scalar T>
long double infinity_norm(const DenseMatrix<T>& a) {
  std::vector<long double> sums(static_cast<std::size_t>(a.rows));
  for (Int j = 1; j <= a.columns; ++j) {
    const T* column = a.column(j);
    for (Int i = 0; i < a.rows; ++i) sums[static_cast<std::size_t>(i)] += std::abs(widen(column[i]));
  }
  return sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
}

template <Scalar T>
long double scaled_residual(const DenseMatrix<T>& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b) {
  constexpr long double unit_roundoff = std::numeric_limits<Real<T>>::epsilon() / 2;
  std::vector<long double> sums(static_cast<std::size_t>(a.rows));
  std::vector<Wide<T>> r(sums.size());
  for (Int k = 1; k <= b.columns; ++k) {
    residual_column(a, x.column(k), b.column(k), r);
    std::transform(sums.begin(), sums.end(), r.begin(), sums.begin(),
                   [](long double sum, Wide<T> value) { return sum + std::abs(value); });
  }
  const long double largest = sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
  return largest == 0 ? 0 : largest / (infinity_norm(a) * infinity_norm(x) * a.rows * unit_roundoff);
}

template <Scalar T>
std::vector<long double> residual_norms(const DenseMatrix<T>& a, const DenseMatrix<T>& x, const DenseMatrix<T>& b) {
  std::vector<long double> norms;
  std::vector<Wide<T>> r(static_cast<std::size_t>(a.rows));
  for (Int k = 1; k <= b.columns; ++k) {
    residual_column(a, x.column(k), b.column(k), r);
    norms.push_back(std::sqrt(std::accumulate(r.begin(), r.end(), 0.0L,
                                              [](long double sum, Wide<T> value) { return sum + std::norm(value); })));
  }
  return norms;
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

#define NUV_INSTANTIATE(T)                                                                                   \
  template DenseMatrix<T> to_dense(MatrixMarket);                                                            \
  template bool all_finite(const DenseMatrix<T>&);                                                           \
  template long double infinity_norm(const DenseMatrix<T>&);                                                 \
  template long double scaled_residual(const DenseMatrix<T>&, const DenseMatrix<T>&, const DenseMatrix<T>&); \
  template std::vector<long double> residual_norms(const DenseMatrix<T>&, const DenseMatrix<T>&,             \
                                                   const DenseMatrix<T>&);                                   \
  template StoredCount count_stored(const DenseMatrix<T>&, Symmetry);                                        \
  template void write_matrix_market(const DenseMatrix<T>&, const std::function<void(std::string_view)>&,     \
                                    const WrittenForm&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
