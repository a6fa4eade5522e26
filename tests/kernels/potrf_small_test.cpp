// The kernels ?potrf_u_small and ?potrf_l_small.

#include <cmath>

#include "blas.hpp"
#include "solvers/definite.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

template <class T>
class PotrfSmall : public testing::Test {
 protected:
  Random random{21};
};
TYPED_TEST_SUITE(PotrfSmall, Precisions, PrecisionLetter);

std::vector<Int> orders() {
  std::vector<Int> all;
  for (Int n = 0; n <= 70; ++n) all.push_back(n);
  all.insert(all.end(), {127, 128, 129, 130});
  if (!is_sanitized) all.insert(all.end(), {255, 256});
  return all;
}

template <Scalar T>
Int run_kernel(char uplo, char letter, Int n, GuardedMatrix<T>& A) {
  Int info = 12345;
  if (is_upper(uplo)) {
    blas::potrf_u_small(letter, n, A, info);
  } else {
    blas::potrf_l_small(letter, n, A, info);
  }
  return info;
}

/// L of a lower triangle, by the definition; of an upper triangle U^H.
template <Scalar T>
WideMatrix<T> wide_factor(GuardedMatrix<T> A, char uplo) {
  const Int n = A.columns();
  WideMatrix<T> L = WideMatrix<T>::Zero(n, n);
  for (Int j = 0; j < n; ++j) {
    for (Int i = j; i < n; ++i) {
      const T stored = lower_element(A, uplo, i + 1, j + 1);
      Wide<T> rest = wide(is_upper(uplo) ? conjugate(stored) : stored);
      if (i == j) rest = std::real(rest);
      for (Int l = 0; l < j; ++l) {
        if constexpr (ComplexScalar<T>) {
          rest -= L(i, l) * std::conj(L(j, l));
        } else {
          rest -= L(i, l) * L(j, l);
        }
      }
      L(i, j) = i == j ? Wide<T>(std::sqrt(std::real(rest))) : rest / std::real(L(j, j));
    }
  }
  return L;
}

/// Error of the first `columns` columns of the factor, in eps n times the largest element.
template <Scalar T>
double error_of_factor(GuardedMatrix<T>& A, char uplo, const WideMatrix<T>& L, Int columns) {
  const Int n = A.columns();
  double worst = 0, largest = 1;
  for (Int j = 1; j <= columns; ++j) {
    for (Int i = j; i <= n; ++i) {
      const T computed = lower_element(A, uplo, i, j);
      const double error = double(std::abs(wide(is_upper(uplo) ? conjugate(computed) : computed) - L(i - 1, j - 1)));
      if (std::isnan(error)) return error;
      worst = std::max(worst, error);
      largest = std::max(largest, double(std::abs(L(i - 1, j - 1))));
    }
  }
  return worst / (double(std::max(n, 1)) * epsilon<T> * largest);
}

TYPED_TEST(PotrfSmall, FactorsDefiniteMatrices) {
  using T = TypeParam;
  for (const Int n : orders()) {
    for (const char uplo : uplos) {
      for (const Int padding : {0, 5}) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", padding " << padding);
        GuardedMatrix<T> A = random_definite<T>(this->random, uplo, n, std::max(1, n + padding));
        const WideMatrix<T> L = wide_factor(A, uplo);
        EXPECT_EQ(run_kernel(uplo, uplo, n, A), 0);
        EXPECT_LT(error_of_factor(A, uplo, L, n), 1);
        EXPECT_TRUE(has_positive_diagonal(A, n));
        EXPECT_TRUE(stayed_in_triangle(uplo, A));
      }
    }
  }
}

// The kernels set themselves no largest order; 256 columns are packed at a time.
TYPED_TEST(PotrfSmall, FactorsOrdersBeyondSmall) {
  using T = TypeParam;
  const Int n = 275;
  for (const char uplo : uplos) {
    SCOPED_TRACE(uplo);
    GuardedMatrix<T> A = random_definite<T>(this->random, uplo, n, n + 1);
    const WideMatrix<T> L = wide_factor(A, uplo);
    EXPECT_EQ(run_kernel(uplo, uplo, n, A), 0);
    EXPECT_LT(error_of_factor(A, uplo, L, n), 1);
    EXPECT_TRUE(stayed_in_triangle(uplo, A));

    GuardedMatrix<T> bad = random_definite<T>(this->random, uplo, n, n);
    bad(n - 3, n - 3) = T(-1);
    EXPECT_EQ(run_kernel(uplo, uplo, n, bad), n - 3);
  }
}

/// Runs a kernel on a matrix whose pivot k is bad, and expects the columns before it to be factored, or the rows of U,
/// and all behind it as it was.
template <Scalar T>
void expect_stop(char uplo, GuardedMatrix<T> A, Int k, const WideMatrix<T>& L) {
  const Int n = A.columns();
  A.seal();
  ASSERT_EQ(run_kernel(uplo, uplo, n, A), k);
  EXPECT_LT(error_of_factor(A, uplo, L, k - 1), 1);
  EXPECT_TRUE(has_positive_diagonal(A, k - 1));
  EXPECT_TRUE(A.unchanged_except(
      [&](Int i, Int j) { return is_in_triangle(uplo, i, j) && (std::min(i, j) < k || (i == k && j == k)); }));
}

TYPED_TEST(PotrfSmall, StopsAtTheFirstPivotThatIsNotPositive) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {1, 2, 3, 7, 8, 9, 16, 17, 31, 40, 67}) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = random_definite<T>(this->random, uplo, n, n + 1);
      const WideMatrix<T> L = wide_factor(A, uplo);
      for (Int k = 1; k <= n; ++k) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", pivot " << k);
        const double norm = double(L.row(k - 1).head(k - 1).squaredNorm());
        GuardedMatrix<T> negative = A;
        negative(k, k) = T(R(norm - 2));
        expect_stop(uplo, negative, k, L);
        run_kernel(uplo, uplo, n, negative);
        EXPECT_NEAR(std::real(negative(k, k)), -2, 100 * n * epsilon<T>);
        EXPECT_EQ(std::imag(negative(k, k)), 0);

        GuardedMatrix<T> not_a_number = A;
        not_a_number(k, k) = T(std::numeric_limits<R>::quiet_NaN());
        expect_stop(uplo, not_a_number, k, L);
        run_kernel(uplo, uplo, n, not_a_number);
        EXPECT_TRUE(std::isnan(std::real(not_a_number(k, k))));
      }
    }
  }
}

TYPED_TEST(PotrfSmall, StopsAtAZeroPivot) {
  using T = TypeParam;
  for (const Int n : {1, 5, 8, 20}) {
    for (const char uplo : uplos) {
      for (Int k = 1; k <= n; ++k) {
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", pivot " << k);
        GuardedMatrix<T> A(n, n, n);
        for (Int j = 1; j <= n; ++j) {
          for (Int i = j; i <= n; ++i) lower_element(A, uplo, i, j) = T(i == j && i != k ? 4 : 0);
        }
        EXPECT_EQ(run_kernel(uplo, uplo, n, A), k);
        for (Int j = 1; j < k; ++j) EXPECT_EQ(A(j, j), T(2));
        EXPECT_EQ(A(k, k), T(0));
        for (Int j = k + 1; j <= n; ++j) EXPECT_EQ(A(j, j), T(4));
      }
    }
  }
}

// A NaN off the diagonal spoils its own row of L alone, until that row's pivot.
TYPED_TEST(PotrfSmall, StopsWhereANaNReachesTheDiagonal) {
  using T = TypeParam;
  const Int n = 37;
  for (const char uplo : uplos) {
    for (const Int row : {2, 9, 24, 37}) {
      GuardedMatrix<T> A = random_definite<T>(this->random, uplo, n, n);
      lower_element(A, uplo, row, row / 2) = guard<T>();
      EXPECT_EQ(run_kernel(uplo, uplo, n, A), row);
    }
  }
}

TYPED_TEST(PotrfSmall, TakesTheTriangleFromItsNameAlone) {
  using T = TypeParam;
  const Int n = 19;
  for (const char uplo : uplos) {
    const GuardedMatrix<T> A = random_definite<T>(this->random, uplo, n, n + 2);
    GuardedMatrix<T> expected = A;
    run_kernel(uplo, uplo, n, expected);
    for (const char letter : {'u', 'l', 'U', 'L'}) {
      GuardedMatrix<T> other = A;
      EXPECT_EQ(run_kernel(uplo, letter, n, other), 0);
      EXPECT_TRUE(other.same_as(expected));
    }
  }
}

TYPED_TEST(PotrfSmall, DoesNothingForEmptyMatrices) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    for (const Int n : {0, -1}) {
      GuardedMatrix<T> A(3, 3, 3);
      EXPECT_EQ(run_kernel(uplo, uplo, n, A), 0);
      EXPECT_TRUE(A.unchanged());
    }
  }
}

}  // namespace
}  // namespace nuv::test
