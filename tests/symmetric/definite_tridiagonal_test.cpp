// Positive definite tridiagonal matrices by the SVD of their Cholesky factors: ?pteqr.

#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class DefiniteTridiagonal : public ReportingTest {
 protected:
  Random random{7};
};
TYPED_TEST_SUITE(DefiniteTridiagonal, Precisions, PrecisionLetter);

template <Scalar T>
struct Problem {
  using R = Real<T>;

  Int n, info = -77;
  GuardedVector<R> d, e, work;
  GuardedMatrix<T> Z;

  explicit Problem(const Tridiagonal<R>& matrix)
      : n(matrix.order()), d(guarded(matrix.d)), e(guarded(matrix.e)), work(4 * n), Z(n, n, n + 2) {
    Z.seal();
  }

  Int run(char compz) {
    routine_call::pteqr(compz, n, d.data(), e.data(), Z, work.data(), info);
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && work.guards_unchanged() && Z.guards_unchanged());
    return info;
  }
};

/// Diagonally dominant with a positive diagonal.
template <RealScalar R>
Tridiagonal<R> definite_tridiagonal(Int n) {
  Tridiagonal<R> matrix = random_tridiagonal<R>(n);
  for (R& x : matrix.d) x = std::abs(x) + R(2.5);
  return matrix;
}

/// Smallest first, as the oracle has them.
template <RealScalar R>
GuardedVector<R> reversed(const GuardedVector<R>& d) {
  GuardedVector<R> ascending = d;
  std::reverse(ascending.data(), ascending.data() + ascending.size());
  return ascending;
}

TYPED_TEST(DefiniteTridiagonal, HasValuesAndVectors) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 10, 40}) {
    const auto matrix = definite_tridiagonal<Real<T>>(n);
    const auto exact = wide_values(matrix);
    for (const char compz : {'N', 'n', 'I', 'i'}) {
      Problem<T> problem(matrix);
      ASSERT_EQ(problem.run(compz), 0);
      EXPECT_LT(value_error(reversed(problem.d), n, exact), threshold);
      if (std::tolower(compz) == 'n') {
        EXPECT_TRUE(problem.Z.unchanged());
        continue;
      }
      EXPECT_LT(eigen_residual(wide_dense<T>(matrix), problem.Z, problem.d, n), threshold);
      EXPECT_LT(orthogonality(problem.Z, n), threshold);
    }
  }
}

/// Graded along its diagonal, and well conditioned once it is scaled to a diagonal of ones: all eigenvalues have almost
/// all digits.
TYPED_TEST(DefiniteTridiagonal, HasSmallValuesToAllDigits) {
  using R = Real<TypeParam>;
  Tridiagonal<R> matrix;
  for (Int i = 0; i < 12; ++i) matrix.d.push_back(std::ldexp(R(1), -5 * i));
  for (Int i = 0; i < 11; ++i) matrix.e.push_back(R(0.1) * std::sqrt(matrix.d[i] * matrix.d[i + 1]));
  Problem<TypeParam> problem(matrix);
  ASSERT_EQ(problem.run('I'), 0);
  for (Int k = 1; k <= 12; ++k) {
    const WideReal<R> value = problem.d(k), slack = 20 * std::numeric_limits<R>::epsilon();
    EXPECT_LE(wide_count<R>(matrix, value * (1 - slack)), 12 - k);
    EXPECT_GT(wide_count<R>(matrix, value * (1 + slack)), 12 - k);
  }
}

TYPED_TEST(DefiniteTridiagonal, MultipliesAMatrixByTheVectors) {
  using T = TypeParam;
  constexpr Int n = 9;
  const auto matrix = definite_tridiagonal<Real<T>>(n);
  Problem<T> alone(matrix), multiplied(matrix);
  ASSERT_EQ(alone.run('I'), 0);
  multiplied.Z = random_matrix<T>(this->random, n, n, n + 2);
  const WideMatrix<T> product = wide(multiplied.Z) * wide(alone.Z);
  ASSERT_EQ(multiplied.run('V'), 0);
  for (Int j = 1; j <= n; ++j) {
    EXPECT_EQ(multiplied.d(j), alone.d(j));
    for (Int i = 1; i <= n; ++i) {
      EXPECT_LT(std::abs(std::complex<double>(std::complex<WideReal<Real<T>>>(product(i - 1, j - 1))) -
                         std::complex<double>(multiplied.Z(i, j))),
                threshold * n * epsilon<T>);
    }
  }
}

TYPED_TEST(DefiniteTridiagonal, TellsWhereItIsNotDefinite) {
  using R = Real<TypeParam>;
  for (const Int at : {1, 3, 5}) {
    auto matrix = definite_tridiagonal<R>(5);
    matrix.d[at - 1] = -1;
    EXPECT_EQ(Problem<TypeParam>(matrix).run('I'), at);
    matrix.d[at - 1] = std::numeric_limits<R>::quiet_NaN();
    EXPECT_EQ(Problem<TypeParam>(matrix).run('N'), at);
  }
}

TYPED_TEST(DefiniteTridiagonal, EndsOnInfinity) {
  using R = Real<TypeParam>;
  for (const char compz : {'N', 'I'}) {
    auto matrix = definite_tridiagonal<R>(5);
    matrix.d[1] = std::numeric_limits<R>::infinity();
    Problem<TypeParam> problem(matrix);
    problem.run(compz);
    bool finite = problem.info == 0;
    for (Int i = 1; i <= 5; ++i) finite &= std::isfinite(problem.d(i));
    EXPECT_FALSE(finite);
  }
}

/// There is nothing to factor in a matrix of order one, whatever its sign.
TYPED_TEST(DefiniteTridiagonal, LeavesASingleElement) {
  using T = TypeParam;
  Problem<T> problem(Tridiagonal<Real<T>>{{-3}, {}});
  EXPECT_EQ(problem.run('I'), 0);
  EXPECT_EQ(problem.d(1), -3);
  EXPECT_EQ(problem.Z(1, 1), T(1));
}

template <Scalar T>
struct CheckedCall {
  char compz = 'I';
  Int n = 2, ldz = 2;
  GuardedVector<Real<T>> d = guarded<Real<T>>({2, 3}), e = guarded<Real<T>>({1}), work{8};
  GuardedMatrix<T> Z{2, 2, 2};

  Int run() {
    Int info = -77;
    routine_call::pteqr(compz, n, d.data(), e.data(), Matrix<T>(Z.data(), ldz), work.data(), info);
    return info;
  }
  bool unchanged() const { return d.unchanged() && e.unchanged() && Z.unchanged(); }
};

TYPED_TEST(DefiniteTridiagonal, ChecksItsArguments) {
  using Call = CheckedCall<TypeParam>;
  const std::string name = reported_name<TypeParam>("PTEQR");
  expect_argument_checks<Call>(
      name, {{1, [](Call& c) { c.compz = 'X'; }}, {2, [](Call& c) { c.n = -1; }}, {6, [](Call& c) { c.ldz = 1; }}});
  Call values;
  values.compz = 'N';
  values.ldz = 1;
  EXPECT_EQ(values.run(), 0);
  values.ldz = 0;
  expect_report(values, name, 6);
  Call none;
  none.n = 0;
  EXPECT_EQ(none.run(), 0);
}

}  // namespace
}  // namespace nuv::test
