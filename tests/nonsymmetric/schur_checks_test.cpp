// The measures of Schur forms notice what is wrong, and the forms to try methods on are what they say.

#include <cmath>
#include <limits>

#include "nonsymmetric/schur_checks.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

template <class T>
class SchurChecks : public testing::Test {
 protected:
  Random random{107};
};
TYPED_TEST_SUITE(SchurChecks, Precisions, PrecisionLetter);

TYPED_TEST(SchurChecks, KnowSchurForms) {
  using T = TypeParam;
  for (int round = 0; round < 10; ++round) {
    GuardedMatrix<T> S = random_schur_form<T>(this->random, 7, 9);
    EXPECT_TRUE(is_schur_form(S));
    EXPECT_TRUE(is_finite(S));
    GuardedMatrix<T> below = S, beside = S;
    below(5, 2) = T(1);
    EXPECT_FALSE(is_schur_form(below));
    // Whatever stands there, blocks meet, or the diagonal or the signs are wrong.
    for (const Int j : {3, 4, 5}) beside(j + 1, j) = T(1);
    EXPECT_FALSE(is_schur_form(beside));
    beside(2, 2) = T(std::numeric_limits<Real<T>>::infinity());
    EXPECT_FALSE(is_finite(beside));
  }
  GuardedMatrix<T> pair = random_schur_form<T>(this->random, {2}, 2);
  EXPECT_EQ(pair(2, 1) != T(0), RealScalar<T>);
  pair(2, 2) += T(Real<T>(0.5));
  EXPECT_EQ(bool(is_schur_form(pair)), ComplexScalar<T>);
}

TYPED_TEST(SchurChecks, MeasureSimilarity) {
  using T = TypeParam;
  const Int n = 12;
  const GuardedMatrix<T> S = random_schur_form<T>(this->random, n, n), Z = random_unitary<T>(this->random, n, n + 1);
  EXPECT_LT(orthonormality<T>(wide(Z)), 1);
  WideMatrix<T> A = product<T>(wide(Z), product<T>(wide(S), wide(Z).adjoint()));
  EXPECT_LT(schur_residual<T>(A, wide(Z), wide(S)), 1);
  A(3, 5) += WideReal<T>(1000 * n * epsilon<T>);
  EXPECT_GT(schur_residual<T>(A, wide(Z), wide(S)), schur_threshold);
  GuardedMatrix<T> other = Z;
  other(2, 7) += T(Real<T>(1000 * n * epsilon<T>));
  EXPECT_GT(orthonormality<T>(wide(other)), schur_threshold);
}

/// The trace, the order, and conjugates.
TYPED_TEST(SchurChecks, ReadEigenvalues) {
  using T = TypeParam;
  const GuardedMatrix<T> S = random_schur_form<T>(this->random, {1, 2, 2, 1}, 6);
  const std::vector<std::complex<double>> values = eigenvalues_of(S);
  ASSERT_EQ(Int(values.size()), S.rows());
  std::complex<double> sum = 0, squares = 0;
  for (const auto& value : values) {
    sum += value;
    squares += value * value;
  }
  const WideMatrix<T> square = product<T>(wide(S), wide(S));
  EXPECT_NEAR(std::abs(sum - std::complex<double>(wide(S).trace())), 0, 1e-12);
  EXPECT_NEAR(std::abs(squares - std::complex<double>(square.trace())), 0, 1e-12);
  if (RealScalar<T>) {
    EXPECT_GT(values[1].imag(), 0);
    EXPECT_EQ(values[2], std::conj(values[1]));
  }
  std::vector<std::complex<double>> turned(values.rbegin(), values.rend());
  EXPECT_EQ(spectrum_distance(values, turned), 0);
  turned[2] += 0.01;
  EXPECT_NEAR(spectrum_distance(values, turned), 0.01, 1e-12);
  turned.pop_back();
  EXPECT_GT(spectrum_distance(values, turned), 1e300);
}

TYPED_TEST(SchurChecks, MakeTheMatrixOfAnEquation) {
  using T = TypeParam;
  const WideMatrix<T> A = wide(random_matrix<T>(this->random, 3, 3, 3)),
                      B = wide(random_matrix<T>(this->random, 2, 2, 2)),
                      X = wide(random_matrix<T>(this->random, 3, 2, 3));
  for (const Int isgn : {1, -1}) {
    const WideMatrix<T> image = product<T>(A, X) + WideReal<T>(isgn) * product<T>(X, B);
    const WideMatrix<T> x = X.reshaped(), expected = image.reshaped();
    const WideMatrix<T> difference = product<T>(sylvester_operator<T>(A, B, isgn), x) - expected;
    EXPECT_LT(one_norm<T>(difference), epsilon<T>);
  }
}

TYPED_TEST(SchurChecks, MakeHessenbergMatrices) {
  using T = TypeParam;
  const GuardedMatrix<T> H = random_hessenberg<T>(this->random, 6, 7);
  for (Int j = 1; j <= 6; ++j) {
    for (Int i = 1; i <= 6; ++i) EXPECT_EQ(H(i, j) == T(0), i > j + 1) << i << ", " << j;
  }
}

}  // namespace
}  // namespace nuv::test
