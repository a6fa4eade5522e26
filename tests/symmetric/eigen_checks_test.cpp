// The judges of eigenvalues and eigenvectors, on matrices of known values.

#include "symmetric/eigen_checks.hpp"
#include "support/real_precisions.hpp"

#include <cmath>
#include <numbers>

namespace nuv::test {
namespace {

template <class R>
class EigenChecksTest : public testing::Test {};

TYPED_TEST_SUITE(EigenChecksTest, RealPrecisions, PrecisionLetter);

TYPED_TEST(EigenChecksTest, BisectionFindsKnownValues) {
  using R = TypeParam;
  using W = WideReal<R>;
  const Int n = 30;
  const std::vector<W> values = wide_values(one_two_one<R>(n));
  ASSERT_EQ(values.size(), std::size_t(n));
  for (Int k = 1; k <= n; ++k) {
    const W sine = std::sin(W(k) * std::numbers::pi_v<W> / W(2 * n + 2));
    EXPECT_NEAR(double(values[std::size_t(k - 1)] / (4 * sine * sine)), 1, 1e-3 * epsilon<R>) << k;
  }
}

TYPED_TEST(EigenChecksTest, MatricesHaveTheValuesTheyAreMadeOf) {
  using R = TypeParam;
  using W = WideReal<R>;
  std::vector<W> wanted;
  for (Int k = 0; k < 40; ++k) wanted.push_back(W(k * k - 300));
  const std::vector<W> values = wide_values(tridiagonal_with_values<R>(wanted));
  for (std::size_t k = 0; k < wanted.size(); ++k) {
    EXPECT_NEAR(double(values[k] - wanted[k]), 0, 10 * 1221 * double(epsilon<R>)) << k;
  }
}

TYPED_TEST(EigenChecksTest, DescribedMatricesAreFiniteAndCountTheirValues) {
  using R = TypeParam;
  for (const auto& [name, matrix] : described_tridiagonals<R>(45)) {
    for (const auto& part : {matrix.d, matrix.e}) {
      for (const R& x : part) EXPECT_TRUE(std::isfinite(x)) << name;
    }
    const auto values = wide_values(matrix);
    ASSERT_EQ(values.size(), 45u) << name;
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end())) << name;
  }
}

TYPED_TEST(EigenChecksTest, WrongVectorsAndValuesAreSeen) {
  using R = TypeParam;
  const Tridiagonal<R> matrix{{1, 2, 3}, {0, 0}};
  GuardedMatrix<R> Z(3, 3, 4);
  GuardedVector<R> w(3);
  for (Int j = 1; j <= 3; ++j) {
    w(j) = R(j);
    for (Int i = 1; i <= 3; ++i) Z(i, j) = R(i == j);
  }
  const WideMatrix<R> A = wide_dense<R>(matrix);
  EXPECT_EQ(eigen_residual<R>(A, Z, w, 3), 0);
  EXPECT_EQ(orthogonality(Z, 3), 0);
  EXPECT_LT(value_error(w, 3, wide_values(matrix)), 1);
  w(2) += 100 * epsilon<R>;
  EXPECT_GT(eigen_residual<R>(A, Z, w, 3), 5);
  EXPECT_GT(value_error(w, 3, wide_values(matrix)), 5);
  Z(3, 1) = 100 * epsilon<R>;
  EXPECT_GT(orthogonality(Z, 3), 5);
}

}  // namespace
}  // namespace nuv::test
