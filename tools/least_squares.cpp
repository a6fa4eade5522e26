#include "least_squares.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "numerical_rank.hpp"
#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

template <RealScalar R>
R scaled(R x, int exponent) {
  return std::ldexp(x, exponent);
}
template <RealScalar R>
std::complex<R> scaled(std::complex<R> x, int exponent) {
  return {std::ldexp(x.real(), exponent), std::ldexp(x.imag(), exponent)};
}

/// Multiplies elements by a power of two, which it returns the exponent of, so that sums of squares stay far from the
/// ends of the range; most matrices are left alone.
template <Scalar T>
int scale_into_range(T* first, T* last) {
  using R = Real<T>;
  R largest = 0;
  for (const T* element = first; element != last; ++element) {
    largest = std::max({largest, std::abs(std::real(*element)), std::abs(std::imag(*element))});
  }
  const int exponent = largest == 0 ? 0 : std::ilogb(largest);
  if (std::abs(exponent) <= std::numeric_limits<R>::max_exponent / 2) return 0;
  std::transform(first, last, first, [&](T x) { return scaled(x, -exponent); });
  return -exponent;
}

/// A P = Q R of an m by n matrix with m >= n. To be solved with, R must have been seen to have full rank.
template <Scalar T>
class PivotedQr {
 public:
  explicit PivotedQr(DenseMatrix<T> a)
      : factors_(std::move(a)), origin_(size()), tau_(size()), norms_(ComplexScalar<T> ? 2 * size() + 1 : 0) {
    const Int m = factors_.rows, n = factors_.columns, lda = factors_.ld();
    with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
      if constexpr (ComplexScalar<T>) {
        Routines<T>::geqp3(&m, &n, factors_.elements.data(), &lda, origin_.data(), tau_.data(), work, lwork,
                           norms_.data(), info);
      } else {
        Routines<T>::geqp3(&m, &n, factors_.elements.data(), &lda, origin_.data(), tau_.data(), work, lwork, info);
      }
    });
  }

  Int rank(double tolerance) const {
    return numerical_rank(factors_.columns, tolerance, [&](Int k) { return std::abs(factors_(k, k)); });
  }

  /// B := Q^H B
  void apply_adjoint(DenseMatrix<T>& b) { apply(ComplexScalar<T> ? 'C' : 'T', b); }

  /// B := Q B
  void apply(DenseMatrix<T>& b) { apply('N', b); }

  /// The first n rows of B := R^-1 B
  void solve(DenseMatrix<T>& b) const { solve('N', b); }

  /// The first n rows of B := R^-H B
  void solve_adjoint(DenseMatrix<T>& b) const { solve('C', b); }

  /// P B
  DenseMatrix<T> unpivoted(const DenseMatrix<T>& b) const {
    DenseMatrix<T> result(factors_.columns, b.columns);
    for_each_row([&](Int k, Int origin, Int j) { result(origin, j) = b(k, j); }, b.columns);
    return result;
  }

  /// P^T B, and zeros below it down to the m-th row.
  DenseMatrix<T> pivoted(const DenseMatrix<T>& b) const {
    DenseMatrix<T> result(factors_.rows, b.columns);
    for_each_row([&](Int k, Int origin, Int j) { result(k, j) = b(origin, j); }, b.columns);
    return result;
  }

 private:
  std::size_t size() const { return static_cast<std::size_t>(factors_.columns); }

  template <class Visit>
  void for_each_row(Visit visit, Int columns) const {
    for (Int j = 1; j <= columns; ++j) {
      for (Int k = 1; k <= factors_.columns; ++k) visit(k, origin_[std::size_t(k - 1)], j);
    }
  }

  void apply(char trans, DenseMatrix<T>& b) {
    const Int m = b.rows, nrhs = b.columns, k = factors_.columns, lda = factors_.ld(), ldb = b.ld();
    with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
      Routines<T>::unmqr("L", &trans, &m, &nrhs, &k, factors_.elements.data(), &lda, tau_.data(), b.elements.data(),
                         &ldb, work, lwork, info, 1, 1);
    });
  }

  void solve(char trans, DenseMatrix<T>& b) const {
    const Int n = factors_.columns, nrhs = b.columns, lda = factors_.ld(), ldb = b.ld();
    Int info = 0;
    Routines<T>::trtrs("U", &trans, "N", &n, &nrhs, factors_.elements.data(), &lda, b.elements.data(), &ldb, &info, 1,
                       1, 1);
    require_accepted(info);
  }

  DenseMatrix<T> factors_;
  std::vector<Int> origin_;  ///< of each column of A P, from one; zeros let all columns be pivoted
  std::vector<T> tau_;
  std::vector<Real<T>> norms_;
};

/// With A P = Q R: X = P R^-1 Q^H B.
template <Scalar T>
DenseMatrix<T> nearest(PivotedQr<T>& qr, DenseMatrix<T> b) {
  qr.apply_adjoint(b);
  qr.solve(b);
  return qr.unpivoted(b);
}

/// With A^H P = Q R: X = Q R^-H P^T B.
template <Scalar T>
DenseMatrix<T> least(PivotedQr<T>& qr, const DenseMatrix<T>& b) {
  DenseMatrix<T> x = qr.pivoted(b);
  qr.solve_adjoint(x);
  qr.apply(x);
  return x;
}

/// Calls work(first, last, j) for each column.
template <Scalar T, class Work>
void for_each_column(DenseMatrix<T>& x, Work work) {
  for (Int j = 1; j <= x.columns; ++j) work(x.column(j), x.column(j) + x.rows, static_cast<std::size_t>(j - 1));
}

/// Right-hand sides with room for solutions of n rows, each scaled into range by the power of two that is noted.
template <Scalar T>
struct ScaledColumns {
  DenseMatrix<T> columns;
  std::vector<int> exponents;

  ScaledColumns(const DenseMatrix<T>& b, Int rows) : columns(rows, b.columns), exponents(std::size_t(b.columns)) {
    for_each_column(columns, [&](T* first, T*, std::size_t j) {
      std::copy_n(b.column(Int(j) + 1), b.rows, first);
      exponents[j] = scale_into_range(first, first + b.rows);
    });
  }

  /// Their solution x with a matrix that was scaled as well.
  void take_back(DenseMatrix<T>& x, int of_matrix) const {
    for_each_column(x, [&](T* first, T* last, std::size_t j) {
      std::transform(first, last, first, [&](T element) { return scaled(element, of_matrix - exponents[j]); });
    });
  }
};

template <Scalar T>
int scale_into_range(DenseMatrix<T>& a) {
  return scale_into_range(a.elements.data(), a.elements.data() + a.elements.size());
}

/// The first rows of a matrix.
template <Scalar T>
DenseMatrix<T> top_of(const DenseMatrix<T>& a, Int rows) {
  DenseMatrix<T> result(rows, a.columns);
  for_each_column(result, [&](T* first, T*, std::size_t j) { std::copy_n(a.column(Int(j) + 1), rows, first); });
  return result;
}

}  // namespace

template <Scalar T>
LeastSquares<T> least_squares(const DenseMatrix<T>& a, const DenseMatrix<T>& b, double tolerance) {
  const bool tall = a.rows >= a.columns;
  DenseMatrix<T> factored = tall ? a : adjoint(a);
  const int of_a = scale_into_range(factored);
  LeastSquares<T> result{.driver = "geqp3"};
  PivotedQr<T> qr(std::move(factored));
  result.rank = qr.rank(tolerance);
  if (result.rank < std::min(a.rows, a.columns)) return result;

  ScaledColumns<T> right(b, b.rows);
  result.x = tall ? nearest(qr, std::move(right.columns)) : least(qr, right.columns);
  right.take_back(result.x, of_a);
  return result;
}

template <Scalar T>
LeastSquares<T> least_norm(const DenseMatrix<T>& a, const DenseMatrix<T>& b, Real<T> rcond) {
  DenseMatrix<T> factored = a;
  const int of_a = scale_into_range(factored);
  ScaledColumns<T> right(b, std::max(a.rows, a.columns));
  // Without right-hand sides it would find no rank.
  DenseMatrix<T> none(right.columns.rows, 1);
  DenseMatrix<T>& solved = b.columns == 0 ? none : right.columns;

  LeastSquares<T> result{.driver = "gelsy"};
  const auto n = static_cast<std::size_t>(a.columns);
  std::vector<Int> origin(n);
  std::vector<Real<T>> norms(ComplexScalar<T> ? 2 * n + 1 : 0);
  const Int lda = factored.ld(), ldb = solved.ld();
  with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
    const auto call = [&](auto... more) {
      Routines<T>::gelsy(&a.rows, &a.columns, &solved.columns, factored.elements.data(), &lda, solved.elements.data(),
                         &ldb, origin.data(), &rcond, &result.rank, work, lwork, more..., info);
    };
    if constexpr (ComplexScalar<T>) call(norms.data());
    else call();
  });
  result.x = top_of(right.columns, a.columns);
  right.take_back(result.x, of_a);
  return result;
}

template <Scalar T>
Int rank_of(const DenseMatrix<T>& a, double tolerance) {
  DenseMatrix<T> factored = a.rows >= a.columns ? a : adjoint(a);
  scale_into_range(factored);
  return PivotedQr<T>(std::move(factored)).rank(tolerance);
}

#define NUV_INSTANTIATE(T)                                                                      \
  template LeastSquares<T> least_squares(const DenseMatrix<T>&, const DenseMatrix<T>&, double); \
  template LeastSquares<T> least_norm(const DenseMatrix<T>&, const DenseMatrix<T>&, Real<T>);   \
  template Int rank_of(const DenseMatrix<T>&, double);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
