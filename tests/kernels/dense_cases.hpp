#pragma once

// Sizes, factors and operands for the tests of the dense matrix-vector kernels.

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "kernels/vector_cases.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {

template <class T>
class DenseKernels : public ReportingTest {
 protected:
  Random random{31};
};
template <class T>
class ComplexDenseKernels : public DenseKernels<T> {};
TYPED_TEST_SUITE(DenseKernels, Precisions, PrecisionLetter);
TYPED_TEST_SUITE(ComplexDenseKernels, ComplexPrecisions, PrecisionLetter);

/// All orders up to several registers of the widest kind, and some larger ones.
inline std::vector<Int> dense_orders() {
  std::vector<Int> all;
  for (Int n = 0; n <= 70; ++n) all.push_back(n);
  if (!is_sanitized) all.insert(all.end(), {127, 130, 257});
  return all;
}

/// A fifth of the pairs of them: five has no divisor in common with the widths of vectors and groups of columns, so
/// that all pairs of remainders are there.
inline std::vector<std::pair<Int, Int>> dense_shapes() {
  std::vector<std::pair<Int, Int>> all;
  for (const Int m : dense_orders()) {
    for (const Int n : dense_orders()) {
      if ((m + 2 * n) % 5 == 0) all.emplace_back(m, n);
    }
  }
  return all;
}

/// Orders for which vectors with other increments than one take more room than the kernels set aside for copies.
template <Scalar T>
const Int order_of_several_pieces = is_sanitized ? 71 : 16384 / Int{sizeof(T)} + 37;

/// A matrix of that order, of numbers that are quickly made. Equations with either triangle of it can be solved.
template <Scalar T>
class LargeMatrix {
 public:
  static constexpr Int period = 127;

  explicit LargeMatrix(Random& random) : numbers_(std::size_t(n_) * n_) {
    const auto scale = static_cast<Real<T>>(0.125 / std::sqrt(n_));
    std::vector<T> run;
    for (Int i = 0; i < period; ++i) run.push_back(scale * random.scalar<T>());
    for (Int i = 0; i < n_; ++i) run.push_back(run[i]);
    const Matrix<T> A(*this);
    for (Int j = 1; j <= n_; ++j) {
      std::copy_n(&run[std::size_t(31 * j % period)], n_, A.at(1, j));
      A(j, j) = random.divisor<T>();
    }
  }

  operator Matrix<T>() { return {numbers_.data(), n_}; }
  operator Matrix<const T>() const { return {numbers_.data(), n_}; }

  /// The largest difference between elements, or a NaN.
  friend double difference(const LargeMatrix& A, const LargeMatrix& B) {
    double largest = 0;
    for (std::size_t k = 0; k < A.numbers_.size(); ++k) {
      const double here = size_of(A.numbers_[k] - B.numbers_[k]);
      if (!(here <= largest)) largest = here;
    }
    return largest;
  }

 private:
  Int n_ = order_of_several_pieces<T>;
  std::vector<T> numbers_;
};

/// Vectors of that order, contiguous ones and the same numbers with gaps.
template <Scalar T>
struct LargeVectors {
  struct Pair {
    GuardedVector<T> x, y;
  };
  Pair contiguous, with_gaps;

  explicit LargeVectors(Random& random)
      : contiguous{random_vector<T>(random, order_of_several_pieces<T>, 1),
                   random_vector<T>(random, order_of_several_pieces<T>, 1)},
        with_gaps{spread(contiguous.x, -2), spread(contiguous.y, 3)} {}

  /// The largest difference between elements of the one y and the other, or a NaN.
  double difference() const {
    EXPECT_FALSE(contiguous.y.unchanged());
    EXPECT_TRUE(with_gaps.y.guards_unchanged());
    double largest = 0;
    for (Int i = 1; i <= contiguous.y.size(); ++i) {
      const double here = size_of(contiguous.y(i) - with_gaps.y(i));
      if (!(here <= largest)) largest = here;
    }
    return largest;
  }

 private:
  static GuardedVector<T> spread(const GuardedVector<T>& x, Int inc) {
    GuardedVector<T> copy(x.size(), inc);
    for (Int i = 1; i <= x.size(); ++i) copy(i) = x(i);
    copy.seal();
    return copy;
  }
};

/// What elements of a few units may differ by when the order of their terms does: rounding errors rarely add up to the
/// square root of their number.
template <Scalar T>
const double order_of_work = 4 * std::sqrt(order_of_several_pieces<T>) * epsilon<T>;

/// Contiguous vectors longer than what the kernels work on at a time.
template <Scalar T>
constexpr Int length_of_several_pieces = 2 * 131072 / Int{sizeof(T)} + 37;

/// Most calls have contiguous vectors.
inline Int random_increment(Random& random) {
  constexpr Int increments[] = {1, 1, 1, 1, -1, 2, -3, 101};
  return random.pick(increments);
}

template <Scalar T>
T random_alpha(Random& random) {
  const T alphas[] = {number<T>(0.75, -0.5), number<T>(0.75, -0.5), T(1), T(-1), T(0)};
  return random.pick(alphas);
}

template <Scalar T>
T random_beta(Random& random) {
  const T betas[] = {T(0), number<T>(-0.5, 1.25), T(1), T(-1)};
  return random.pick(betas);
}

/// Threshold for the errors of sums, in units of the bound for any order of summation.
inline constexpr double dense_threshold = 8;

/// A vector of n random elements at a random distance from an aligned address.
template <Scalar T>
Operand<T> random_operand(Random& random, Int n, Int inc) {
  return Operand<T>(random, n, inc, random.integer(0, 15));
}

/// One that holds guards instead of numbers.
template <Scalar T>
Operand<T> unset_operand(Random& random, Int n, Int inc) {
  Operand<T> x = random_operand<T>(random, n, inc);
  for (Int i = 0; i < n; ++i) x[i] = guard<T>();
  x.seal();
  return x;
}

/// The first n elements as a column.
template <Scalar T>
WideMatrix<T> wide(const Operand<T>& x) {
  WideMatrix<T> column(x.stored(), 1);
  for (Int i = 0; i < x.stored(); ++i) column(i, 0) = wide(x[i]);
  return column;
}

/// A leading dimension for m rows.
inline Int random_ld(Random& random, Int m) {
  return std::max(1, m) + random.integer(0, 5);
}

/// A triangle of a symmetric or Hermitian matrix; guards elsewhere, and as the imaginary parts of a Hermitian diagonal.
template <Scalar T>
GuardedMatrix<T> random_stored_triangle(Random& random, char uplo, Int n, Int ld) {
  GuardedMatrix<T> A(n, n, ld);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j)) A(i, j) = random.scalar<T>();
    }
    if constexpr (ComplexScalar<T>) A(j, j) = {std::real(A(j, j)), guard<Real<T>>()};
  }
  A.seal();
  return A;
}

/// That triangle with a real diagonal and zeros elsewhere.
template <Scalar T>
WideMatrix<T> wide_stored_triangle(const GuardedMatrix<T>& A, char uplo) {
  WideMatrix<T> result = WideMatrix<T>::Zero(A.rows(), A.rows());
  for (Int j = 1; j <= A.rows(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      if (is_in_triangle(uplo, i, j)) result(i - 1, j - 1) = i == j ? wide(T(std::real(A(i, j)))) : wide(A(i, j));
    }
  }
  return result;
}

/// The symmetric or Hermitian matrix that it stands for.
template <Scalar T>
WideMatrix<T> wide_symmetric(const GuardedMatrix<T>& A, char uplo) {
  WideMatrix<T> result = wide_stored_triangle(A, uplo);
  result += WideMatrix<T>(result.adjoint());
  result.diagonal() /= Wide<T>(2);
  return result;
}

}  // namespace nuv::test
