#include "support/wide.hpp"

#include <algorithm>
#include <cmath>
#include <random>

#include "frame/option_matching.hpp"
#include "support/norms.hpp"

namespace nuv::test {
namespace {

/// |x|. The wide type's range makes up for squaring; hypot would be the larger part of many tests' time.
template <class Number>
auto magnitude(const Number& x) {
  return std::sqrt(std::norm(x));
}

template <class Matrix>
Matrix multiply(const Matrix& A, const Matrix& B) {
  if (A.size() == 0 || B.size() == 0) return Matrix::Zero(A.rows(), B.cols());
  return A * B;
}

template <Scalar T>
WideMatrix<Real<T>> magnitudes(const WideMatrix<T>& A) {
  if constexpr (RealScalar<T>) return A.cwiseAbs();
  else return A.cwiseAbs2().cwiseSqrt();
}

/// Whether products of these numbers stay in the range of double, far from its ends.
template <class Matrix>
bool suits_double(const Matrix& A) {
  return std::all_of(A.data(), A.data() + A.size(), [](auto x) { return x == 0 || (x > 1e-100L && x < 1e100L); });
}

/// |A| |B|, in double where that will do: it is several times faster than long double, and tells how large an error may
/// be as well.
template <Scalar T>
WideMatrix<Real<T>> product_of_magnitudes(const WideMatrix<T>& A, const WideMatrix<T>& B) {
  const WideMatrix<Real<T>> a = magnitudes<T>(A), b = magnitudes<T>(B);
  if (!suits_double(a) || !suits_double(b)) return multiply(a, b);
  return multiply<Eigen::MatrixXd>(a.template cast<double>(), b.template cast<double>()).template cast<WideReal<T>>();
}

template <Scalar T>
WideMatrix<T> random_signs(Eigen::Index n) {
  std::mt19937 engine(11);
  return WideMatrix<T>::NullaryExpr(n, 4, [&] { return Wide<T>(engine() % 2 == 0 ? 1 : -1); });
}

/// The triangle of A that uplo names, with zeros elsewhere; on the diagonal ones, or what A has.
template <class Matrix>
Matrix triangle(const Matrix& A, bool upper, bool unit_diagonal) {
  Matrix result = Matrix::Identity(A.rows(), A.cols());
  for (Eigen::Index j = 0; j < A.cols(); ++j) {
    for (Eigen::Index i = 0; i < A.rows(); ++i) {
      if (i == j ? !unit_diagonal : (upper ? i < j : i > j)) result(i, j) = A(i, j);
    }
  }
  return result;
}

}  // namespace

template <Scalar T>
WideMatrix<T> wide(const GuardedMatrix<T>& A) {
  WideMatrix<T> copy(A.rows(), A.columns());
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) copy(i - 1, j - 1) = wide(A(i, j));
  }
  return copy;
}

template <Scalar T>
WideMatrix<T> wide(const GuardedVector<T>& x) {
  WideMatrix<T> column(x.size(), 1);
  for (Int i = 1; i <= x.size(); ++i) column(i - 1, 0) = wide(x(i));
  return column;
}

template <Scalar T>
WideMatrix<T> wide_triangle(const GuardedMatrix<T>& A, bool upper, bool unit_diagonal) {
  return triangle(wide(A), upper, unit_diagonal);
}

template <Scalar T>
WideMatrix<T> wide_hermitian(const GuardedMatrix<T>& A, bool upper) {
  const WideMatrix<T> stored = wide_triangle(A, upper, false);
  WideMatrix<T> result = stored + stored.adjoint();
  for (Eigen::Index i = 0; i < result.rows(); ++i) result(i, i) = std::real(stored(i, i));
  return result;
}

template <Scalar T>
WideMatrix<T> op(char trans, const WideMatrix<T>& A) {
  if (same_letter(trans, 'N')) return A;
  if (same_letter(trans, 'T')) return A.transpose();
  return A.adjoint();
}

template <Scalar T>
WideMatrix<T> product(const WideMatrix<T>& A, const WideMatrix<T>& B) {
  return multiply(A, B);
}

template <Scalar T>
double solution_residual(const WideMatrix<T>& A, const WideMatrix<T>& X, const WideMatrix<T>& B) {
  const WideMatrix<T> rest = B - multiply(A, X);
  return ratio(norm(rest), norm(A) * norm(X) * A.cols() * epsilon<T>);
}

template <Scalar T>
double inverse_residual(const WideMatrix<T>& A, const WideMatrix<T>& X) {
  const WideMatrix<T> V = random_signs<T>(A.cols());
  const WideMatrix<T> rest = V - multiply(X, multiply(A, V));
  return ratio(norm(rest), norm(A) * norm(X) * A.cols() * epsilon<T>);
}

template <Scalar T>
double factor_residual(const WideMatrix<T>& A, const GuardedMatrix<T>& factors, const GuardedVector<Int>& ipiv) {
  const Eigen::Index k = std::min(A.rows(), A.cols());
  const WideMatrix<T> LU = wide(factors), V = random_signs<T>(A.cols());
  const WideMatrix<T> L = triangle<WideMatrix<T>>(LU.leftCols(k), false, true);
  const WideMatrix<T> U = triangle<WideMatrix<T>>(LU.topRows(k), true, false);
  WideMatrix<T> rest = multiply(A, V);
  for (Int i = 1; i <= ipiv.size(); ++i) rest.row(i - 1).swap(rest.row(ipiv(i) - 1));
  rest -= multiply(L, multiply(U, V));
  return ratio(norm(rest), norm(A) * std::max(A.rows(), A.cols()) * epsilon<T>);
}

template <Scalar T>
double product_residual(const WideMatrix<T>& A, const WideMatrix<T>& F, const WideMatrix<T>& G) {
  const WideMatrix<T> V = random_signs<T>(A.cols());
  const WideMatrix<T> rest = multiply(A, V) - multiply(F, multiply(G, V));
  return ratio(norm(rest), norm(A) * A.cols() * epsilon<T>);
}

template <Scalar T>
std::vector<Int> wide_pivots(WideMatrix<T> A) {
  const auto size = [](const Wide<T>& x) { return std::abs(std::real(x)) + std::abs(std::imag(x)); };
  std::vector<Int> pivots;
  for (Eigen::Index j = 0; j < std::min(A.rows(), A.cols()); ++j) {
    Eigen::Index jp = j;
    for (Eigen::Index i = j + 1; i < A.rows(); ++i) {
      if (size(A(i, j)) > size(A(jp, j))) jp = i;
    }
    pivots.push_back(Int(jp + 1));
    A.row(j).swap(A.row(jp));
    for (Eigen::Index i = j + 1; i < A.rows(); ++i) A(i, j) /= A(j, j);
    for (Eigen::Index c = j + 1; c < A.cols(); ++c) {
      for (Eigen::Index i = j + 1; i < A.rows(); ++i) A(i, c) -= A(i, j) * A(j, c);
    }
  }
  return pivots;
}

/// By Gauss and Jordan.
template <Scalar T>
WideMatrix<T> inverse(WideMatrix<T> A) {
  const Eigen::Index n = A.rows();
  WideMatrix<T> X = WideMatrix<T>::Identity(n, n);
  for (Eigen::Index j = 0; j < n; ++j) {
    Eigen::Index jp = j;
    for (Eigen::Index i = j + 1; i < n; ++i) {
      if (magnitude(A(i, j)) > magnitude(A(jp, j))) jp = i;
    }
    A.row(j).swap(A.row(jp));
    X.row(j).swap(X.row(jp));
    const Wide<T> pivot = A(j, j);
    A.row(j) /= pivot;
    X.row(j) /= pivot;
    for (Eigen::Index i = 0; i < n; ++i) {
      const Wide<T> multiplier = A(i, j);
      if (i == j || multiplier == Wide<T>(0)) continue;
      A.row(i) -= multiplier * A.row(j);
      X.row(i) -= multiplier * X.row(j);
    }
  }
  return X;
}

template <Scalar T>
double one_norm(const WideMatrix<T>& A) {
  return double(norm(A));
}

template <Scalar T>
Sum<T>::Sum(Int rows, Int columns)
    : value_(WideMatrix<T>::Zero(rows, columns)), magnitude_(WideMatrix<Real<T>>::Zero(rows, columns)) {}

template <Scalar T>
Sum<T>& Sum<T>::add(T factor, const WideMatrix<T>& A) {
  value_ += wide(factor) * A;
  magnitude_ += magnitude(wide(factor)) * magnitudes<T>(A);
  terms_ += 1;
  return *this;
}

template <Scalar T>
Sum<T>& Sum<T>::add(T factor, const WideMatrix<T>& A, const WideMatrix<T>& B) {
  value_ += wide(factor) * multiply(A, B);
  magnitude_ += magnitude(wide(factor)) * product_of_magnitudes<T>(A, B);
  terms_ += A.cols() + 1;
  return *this;
}

template <Scalar T>
double Sum<T>::error_of(const WideMatrix<T>& X) const {
  double largest = 0;
  for (Eigen::Index j = 0; j < X.cols(); ++j) {
    for (Eigen::Index i = 0; i < X.rows(); ++i) {
      const double error = ratio(magnitude(X(i, j) - value_(i, j)), magnitude_(i, j) * terms_ * epsilon<T>);
      if (std::isnan(error)) return error;
      largest = std::max(largest, error);
    }
  }
  return largest;
}

template <Scalar T>
double Sum<T>::distance_from_zero() const {
  return error_of(WideMatrix<T>::Zero(value_.rows(), value_.cols()));
}

namespace {

/// Takes the parts in the directions of some columns, which are of length one, from another column; twice, for what
/// rounding leaves at the first time.
template <Scalar T>
void take_parts(const WideMatrix<T>& directions, Eigen::Index count, WideMatrix<T>& X, Eigen::Index column) {
  for (const int repeat : {1, 2}) {
    static_cast<void>(repeat);
    for (Eigen::Index k = 0; k < count; ++k) {
      const Wide<T> part = directions.col(k).dot(X.col(column));
      X.col(column) -= part * directions.col(k);
    }
  }
}

}  // namespace

template <Scalar T>
WideMatrix<T> outside_of_span(WideMatrix<T> A, WideMatrix<T> X) {
  for (Eigen::Index j = 0; j < A.cols(); ++j) {
    A.col(j) /= A.col(j).norm();
    take_parts<T>(A, j, A, j);
    A.col(j) /= A.col(j).norm();
  }
  for (Eigen::Index j = 0; j < X.cols(); ++j) take_parts<T>(A, A.cols(), X, j);
  return X;
}

#define NUV_INSTANTIATE(T)                                                                                      \
  template WideMatrix<T> wide(const GuardedMatrix<T>&);                                                         \
  template WideMatrix<T> wide(const GuardedVector<T>&);                                                         \
  template WideMatrix<T> wide_triangle(const GuardedMatrix<T>&, bool, bool);                                    \
  template WideMatrix<T> wide_hermitian(const GuardedMatrix<T>&, bool);                                         \
  template WideMatrix<T> op<T>(char, const WideMatrix<T>&);                                                     \
  template WideMatrix<T> product<T>(const WideMatrix<T>&, const WideMatrix<T>&);                                \
  template WideMatrix<T> outside_of_span<T>(WideMatrix<T>, WideMatrix<T>);                                      \
  template double solution_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const WideMatrix<T>&);       \
  template double inverse_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&);                              \
  template double factor_residual<T>(const WideMatrix<T>&, const GuardedMatrix<T>&, const GuardedVector<Int>&); \
  template double product_residual<T>(const WideMatrix<T>&, const WideMatrix<T>&, const WideMatrix<T>&);        \
  template std::vector<Int> wide_pivots<T>(WideMatrix<T>);                                                      \
  template WideMatrix<T> inverse<T>(WideMatrix<T>);                                                             \
  template double one_norm<T>(const WideMatrix<T>&);                                                            \
  template class Sum<T>;

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
