// Small systems by complete pivoting: ?getc2, ?gesc2.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <RealScalar R>
constexpr R least_pivot = std::numeric_limits<R>::min() / std::numeric_limits<R>::epsilon();

template <Scalar T>
struct PivotedSystem {
  using R = Real<T>;

  Int n, info = 99;
  GuardedMatrix<T> A, LU;
  GuardedVector<Int> ipiv, jpiv;
  GuardedVector<T> x;
  R scale = -7;

  explicit PivotedSystem(const GuardedMatrix<T>& matrix)
      : n(matrix.rows()), A(matrix), LU(matrix), ipiv(n), jpiv(n), x(n) {}

  PivotedSystem& factor() {
    routine_call::getc2(n, Matrix<T>(LU), ipiv.data(), jpiv.data(), info);
    EXPECT_TRUE(LU.guards_unchanged() && ipiv.guards_unchanged() && jpiv.guards_unchanged());
    LU.seal();
    ipiv.seal();
    jpiv.seal();
    return *this;
  }

  PivotedSystem& solve(const GuardedVector<T>& rhs) {
    x = rhs;
    routine_call::gesc2(n, Matrix<const T>(LU), x.data(), ipiv.data(), jpiv.data(), scale);
    EXPECT_TRUE(x.guards_unchanged() && LU.unchanged() && ipiv.unchanged() && jpiv.unchanged());
    return *this;
  }

  WideMatrix<T> L() const {
    WideMatrix<T> factor = WideMatrix<T>::Identity(n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 1; i <= n; ++i) factor(i - 1, j - 1) = wide(LU(i, j));
    }
    return factor;
  }
  WideMatrix<T> U() const { return wide_triangle(LU, true, false); }

  /// The matrix with the exchanges made, one behind the other.
  WideMatrix<T> permuted() const {
    WideMatrix<T> P = wide(A);
    for (Int k = 1; k <= n; ++k) {
      P.row(k - 1).swap(P.row(ipiv(k) - 1));
      P.col(k - 1).swap(P.col(jpiv(k) - 1));
    }
    return P;
  }
};

template <Scalar T>
GuardedMatrix<T> filled(Int n, std::initializer_list<double> by_rows) {
  GuardedMatrix<T> A(n, n, n + 1);
  auto next = by_rows.begin();
  for (Int i = 1; i <= n; ++i) {
    for (Int j = 1; j <= n; ++j) A(i, j) = T(Real<T>(*next++));
  }
  A.seal();
  return A;
}

template <class T>
class CompletePivoting : public ReportingTest {
 protected:
  Random random{47};
};
TYPED_TEST_SUITE(CompletePivoting, Precisions, PrecisionLetter);

TYPED_TEST(CompletePivoting, FactorsAndSolves) {
  using T = TypeParam;
  using R = Real<T>;
  for (Int n = 1; n <= 9; ++n) {
    for (int round = 0; round < 5; ++round) {
      PivotedSystem<T> system(random_matrix<T>(this->random, n, n, n + round));
      system.factor();
      EXPECT_EQ(system.info, 0);
      EXPECT_EQ(system.ipiv(n), n);
      EXPECT_EQ(system.jpiv(n), n);
      EXPECT_LT(product_residual<T>(system.permuted(), system.L(), system.U()), threshold);
      for (Int k = 1; k <= n; ++k) {
        EXPECT_TRUE(system.ipiv(k) >= k && system.ipiv(k) <= n && system.jpiv(k) >= k && system.jpiv(k) <= n);
        const R pivot = std::abs(system.LU(k, k)), bound = 1 + 8 * epsilon<T>;
        for (Int i = k + 1; i <= n; ++i) {
          EXPECT_LE(std::abs(system.LU(i, k)), bound);
          EXPECT_LE(std::abs(system.LU(k, i)), pivot * bound);
        }
      }
      const GuardedVector<T> rhs = random_vector<T>(this->random, n, 1);
      system.solve(rhs);
      EXPECT_EQ(system.scale, R(1));
      EXPECT_LT(solution_residual<T>(wide(system.A), wide(system.x), wide(rhs)), threshold);
    }
  }
}

/// Of equal elements the first one down the columns.
TYPED_TEST(CompletePivoting, TakesTheFirstOfEqualElements) {
  using T = TypeParam;
  PivotedSystem<T> two(filled<T>(2, {1, 2, 2, 2}));
  two.factor();
  EXPECT_EQ(two.ipiv(1), 2);
  EXPECT_EQ(two.jpiv(1), 1);
  PivotedSystem<T> three(filled<T>(3, {1, 4, -4, 2, 1, 4, 3, -4, 1}));
  three.factor();
  EXPECT_EQ(three.ipiv(1), 1);
  EXPECT_EQ(three.jpiv(1), 2);
  // In the second step, two equal ones in another row and column each.
  PivotedSystem<T> later(filled<T>(3, {8, 0, 0, 0, 1, 4, 0, -4, 2}));
  later.factor();
  EXPECT_EQ(later.ipiv(2), 3);
  EXPECT_EQ(later.jpiv(2), 2);
}

TYPED_TEST(CompletePivoting, ReplacesSmallPivots) {
  using T = TypeParam;
  using R = Real<T>;
  PivotedSystem<T> rank_one(filled<T>(3, {1, 2, 3, 2, 4, 6, 4, 8, 12}));
  rank_one.factor();
  EXPECT_EQ(rank_one.info, 3);
  EXPECT_EQ(rank_one.LU(1, 1), T(R(12)));
  for (const Int k : {2, 3}) EXPECT_EQ(rank_one.LU(k, k), T(12 * epsilon<T>));
  PivotedSystem<T> rank_two(filled<T>(3, {4, 0, 0, 0, 2, 0, 0, 0, 0}));
  rank_two.factor();
  EXPECT_EQ(rank_two.info, 3);
  EXPECT_EQ(rank_two.LU(2, 2), T(R(2)));
  EXPECT_EQ(rank_two.LU(3, 3), T(4 * epsilon<T>));
  // In the middle: what was replaced makes the rest smaller still.
  PivotedSystem<T> zero(filled<T>(2, {0, 0, 0, 0}));
  zero.factor();
  EXPECT_EQ(zero.info, 2);
  for (const Int k : {1, 2}) EXPECT_EQ(zero.LU(k, k), T(least_pivot<R>));
}

TYPED_TEST(CompletePivoting, ReplacesAPivotBelowItsBoundAlone) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R bound : {epsilon<T>, std::nextafter(epsilon<T>, R(0))}) {
    PivotedSystem<T> system(filled<T>(2, {1, 0, 0, bound}));
    system.factor();
    EXPECT_EQ(system.info, bound == epsilon<T> ? 0 : 2);
    EXPECT_EQ(system.LU(2, 2), T(epsilon<T>));
  }
}

TYPED_TEST(CompletePivoting, OfOneElementTakesTheLeastPivot) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R size : {R(0), std::numeric_limits<R>::min(), std::nextafter(least_pivot<R>, R(0))}) {
    PivotedSystem<T> system(filled<T>(1, {0}));
    system.LU(1, 1) = T(-size);
    system.factor();
    EXPECT_EQ(system.info, 1);
    EXPECT_EQ(system.LU(1, 1), T(least_pivot<R>));
    EXPECT_EQ(system.ipiv(1), 1);
    EXPECT_EQ(system.jpiv(1), 1);
  }
  PivotedSystem<T> system(filled<T>(1, {0}));
  system.LU(1, 1) = T(-least_pivot<R>);
  system.factor();
  EXPECT_EQ(system.info, 0);
  EXPECT_EQ(system.LU(1, 1), T(-least_pivot<R>));
}

/// One step before the largest element of b would overflow by the last pivot.
TYPED_TEST(CompletePivoting, ScalesTheRightSideBeforeItOverflows) {
  using T = TypeParam;
  using R = Real<T>;
  PivotedSystem<T> system(filled<T>(1, {double(least_pivot<R>)}));
  system.factor();
  GuardedVector<T> rhs(1);
  rhs(1) = T(R(-0.5));
  EXPECT_EQ(system.solve(rhs).scale, R(1));
  rhs(1) = T(R(-1));
  EXPECT_EQ(system.solve(rhs).scale, R(0.5));
  rhs(1) = T(R(8));
  EXPECT_EQ(system.solve(rhs).scale, R(0.0625));
  EXPECT_EQ(system.x(1), T(R(0.5) / least_pivot<R>));

  const R huge = std::numeric_limits<R>::max() / 8;
  for (Int n = 2; n <= 8; ++n) {
    PivotedSystem<T> hard(random_matrix<T>(this->random, n, n, n));
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) hard.LU(i, j) *= std::sqrt(least_pivot<R>);
    }
    hard.A = hard.LU;
    hard.factor();
    ASSERT_EQ(hard.info, 0);
    GuardedVector<T> large = random_vector<T>(this->random, n, 1);
    for (Int i = 1; i <= n; ++i) large(i) *= huge;
    hard.solve(large);
    EXPECT_GT(hard.scale, R(0));
    EXPECT_LT(hard.scale, R(1));
    const WideMatrix<T> b = WideReal<T>(hard.scale) * wide(large);
    EXPECT_LT(solution_residual<T>(wide(hard.A), wide(hard.x), b), threshold);
  }
}

template <class T>
class ComplexPivoting : public ReportingTest {};
TYPED_TEST_SUITE(ComplexPivoting, ComplexPrecisions, PrecisionLetter);

/// Not by the sum of the parts.
TYPED_TEST(ComplexPivoting, MeasuresElementsByTheirMagnitude) {
  using T = TypeParam;
  PivotedSystem<T> system(filled<T>(2, {1, 0, 0, 5}));
  system.LU(1, 2) = T(3, -3);
  system.factor();
  EXPECT_EQ(system.ipiv(1), 2);
  EXPECT_EQ(system.jpiv(1), 2);
}

TYPED_TEST(CompletePivoting, OfNothingTouchesNothing) {
  using T = TypeParam;
  PivotedSystem<T> empty(GuardedMatrix<T>(0, 0, 1));
  empty.factor();
  EXPECT_EQ(empty.info, 0);
  EXPECT_EQ(empty.solve(GuardedVector<T>(0)).scale, Real<T>(1));
}

TYPED_TEST(CompletePivoting, EndsWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int place = 1; place <= 12; ++place) {
      PivotedSystem<T> system(random_matrix<T>(this->random, 3, 3, 3));
      GuardedVector<T> rhs = random_vector<T>(this->random, 3, 1);
      (place <= 9 ? system.LU.data()[place - 1] : rhs.data()[place - 10]) = T(odd);
      system.factor().solve(rhs);
      for (Int k = 1; k <= 3; ++k) {
        EXPECT_TRUE(system.ipiv(k) >= k && system.ipiv(k) <= 3 && system.jpiv(k) >= k && system.jpiv(k) <= 3);
      }
      if (std::isnan(odd) || place > 9) {
        bool all_finite = true;
        for (Int i = 1; i <= 3; ++i) all_finite = all_finite && std::isfinite(std::abs(system.x(i)));
        EXPECT_FALSE(all_finite);
      }
    }
  }
}

}  // namespace
}  // namespace nuv::test
