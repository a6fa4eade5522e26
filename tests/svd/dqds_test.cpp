// Singular values by dqds: ?lasq1, ?lasq2.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "environment/machine_constants.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "svd/bidiagonal_matrices.hpp"

namespace nuv::test {
namespace {

constexpr Int sizes[] = {1, 2, 3, 4, 5, 6, 7, 10, 21, 40, 64, 101};

/// All values to so many eps, whatever their size.
constexpr double threshold = 10;

/// The same where values are equal or almost so: their matrices are split at elements up to 100 eps of them.
constexpr double threshold_for_clusters = 30;

template <class T>
class Dqds : public ReportingTest {
 protected:
  Random random{54};
};
TYPED_TEST_SUITE(Dqds, RealPrecisions, PrecisionLetter);

template <RealScalar R>
struct Outcome {
  GuardedVector<R> d;
  Int info = 99;
};

template <RealScalar R>
Outcome<R> lasq1(const Bidiagonal<R>& matrix) {
  const Int n = matrix.order();
  Outcome<R> outcome{GuardedVector<R>(n)};
  GuardedVector<R> e(std::max(0, n - 1)), work(4 * n);
  for (Int i = 1; i <= n; ++i) outcome.d(i) = matrix.d[std::size_t(i) - 1];
  for (Int i = 1; i < n; ++i) e(i) = matrix.e[std::size_t(i) - 1];
  outcome.d.seal();
  e.seal();
  work.seal();
  routine_call::lasq1(n, outcome.d.data(), e.data(), work.data(), outcome.info);
  EXPECT_TRUE(outcome.d.guards_unchanged());
  EXPECT_TRUE(e.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  return outcome;
}

/// Values whose squares would underflow beside the largest one may be lost.
template <RealScalar R>
long double floor_beside(long double largest) {
  const long double least_square = std::numeric_limits<R>::min(), scale = Machine<R>::precision / least_square;
  return std::max<long double>(64 * largest * std::sqrt(least_square / scale), least_square);
}

template <RealScalar R>
void expect_values(const Bidiagonal<R>& matrix, double allowed) {
  const Outcome<R> outcome = lasq1(matrix);
  const auto exact = singular_values(matrix);
  EXPECT_EQ(outcome.info, 0);
  const double error = relative_error(outcome.d.data(), exact, floor_beside<R>(exact.front()));
  EXPECT_LE(error, allowed);
  EXPECT_TRUE(std::is_sorted(outcome.d.data(), outcome.d.data() + outcome.d.size(), std::greater<>()));
}

TYPED_TEST(Dqds, FindsAllValuesToHighRelativeAccuracy) {
  using R = TypeParam;
  for (const Int n : sizes) {
    for (const auto& [name, has_clusters, matrix] : described_bidiagonals<R>(n)) {
      SCOPED_TRACE(std::string(name) + ", n = " + std::to_string(n));
      expect_values(matrix, has_clusters ? threshold_for_clusters : threshold);
    }
  }
}

TYPED_TEST(Dqds, SignsDoNotCount) {
  using R = TypeParam;
  for (auto& [name, has_clusters, matrix] : described_bidiagonals<R>(12)) {
    SCOPED_TRACE(name);
    const Outcome<R> before = lasq1(matrix);
    for (R& x : matrix.d) x = std::abs(x) * (this->random.integer(0, 1) == 0 ? 1 : -1);
    for (R& x : matrix.e) x = std::abs(x) * (this->random.integer(0, 1) == 0 ? 1 : -1);
    for (Int i = 1; i <= 12; ++i) EXPECT_EQ(lasq1(matrix).d(i), before.d(i));
  }
}

TYPED_TEST(Dqds, OnesHaveTheValuesOfTheSecondDifference) {
  using R = TypeParam;
  constexpr Int n = 200;
  const Outcome<R> outcome = lasq1(Bidiagonal<R>{std::vector<R>(n, 1), std::vector<R>(n - 1, 1)});
  std::vector<long double> exact;
  for (Int k = 1; k <= n; ++k) exact.push_back(2 * std::cos(std::numbers::pi_v<long double> * k / (2 * n + 1)));
  EXPECT_LE(relative_error(outcome.d.data(), exact, 0), threshold);
}

TYPED_TEST(Dqds, SortsADiagonalMatrix) {
  using R = TypeParam;
  const Outcome<R> outcome = lasq1(Bidiagonal<R>{{1, -4, R(1e-30), 3, -0.0f}, {0, 0, -0.0f, 0}});
  const R expected[] = {4, 3, 1, R(1e-30), 0};
  EXPECT_EQ(outcome.info, 0);
  for (Int i = 1; i <= 5; ++i) EXPECT_EQ(outcome.d(i), expected[i - 1]);
}

TYPED_TEST(Dqds, TakesTheClosedFormForOrderTwo) {
  using R = TypeParam;
  const R d1 = R(3e30), e = R(-2e-30), d2 = R(-5e-31);  // their squares are of no use in single precision
  const Outcome<R> outcome = lasq1(Bidiagonal<R>{{d1, d2}, {e}});
  R least, largest;
  routine_call::las2(d1, e, d2, least, largest);
  EXPECT_EQ(outcome.d(1), largest);
  EXPECT_EQ(outcome.d(2), least);
  EXPECT_EQ(lasq1(Bidiagonal<R>{{R(-2.5)}, {}}).d(1), R(2.5));
}

TYPED_TEST(Dqds, ReportsANegativeOrder) {
  using R = TypeParam;
  R nothing = 7;
  Int info = 99;
  routine_call::lasq1(-1, &nothing, &nothing, &nothing, info);
  EXPECT_EQ(info, -2);
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<R>("LASQ1"), 2}}));
  routine_call::lasq2(-1, &nothing, info);
  EXPECT_EQ(info, -1);
  EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<R>("LASQ2"), 1}}));
  for (const Int n : {0, 0}) {
    routine_call::lasq1(n, &nothing, &nothing, &nothing, info);
    EXPECT_EQ(info, 0);
    routine_call::lasq2(n, &nothing, info);
    EXPECT_EQ(info, 0);
  }
  EXPECT_EQ(nothing, 7);
}

TYPED_TEST(Dqds, EndsWhateverTheInput) {
  using R = TypeParam;
  constexpr Int n = 9;
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (Int at = 0; at < 2 * n - 1; ++at) {
      Bidiagonal<R> matrix;
      for (Int i = 0; i < n; ++i) matrix.d.push_back(this->random.template divisor<R>());
      for (Int i = 0; i < n - 1; ++i) matrix.e.push_back(this->random.template divisor<R>());
      (at % 2 == 0 ? matrix.d : matrix.e)[std::size_t(at / 2)] = bad;
      const Outcome<R> outcome = lasq1(matrix);
      const bool shows = std::any_of(outcome.d.data(), outcome.d.data() + n, [](R x) { return !std::isfinite(x); });
      EXPECT_TRUE(shows || outcome.info > 0) << "at " << at;
    }
  }
}

// ---------------------------------------------------------------------------------------------------- the qd array

template <RealScalar R>
struct QdOutcome {
  GuardedVector<R> z;
  Int info = 99;
};

template <RealScalar R>
QdOutcome<R> lasq2(Int n, const std::vector<R>& qd) {
  QdOutcome<R> outcome{GuardedVector<R>(std::max(6, 4 * n))};
  for (Int i = 1; i <= Int(qd.size()); ++i) outcome.z(i) = qd[std::size_t(i) - 1];
  outcome.z.seal();
  routine_call::lasq2(n, outcome.z.data(), outcome.info);
  EXPECT_TRUE(outcome.z.guards_unchanged());
  return outcome;
}

template <RealScalar R>
std::vector<R> random_qd(Random& random, Int n) {
  std::vector<R> qd;
  for (Int k = 1; k <= 2 * n - 1; ++k) qd.push_back(std::abs(random.scalar<R>()) + R(1e-3));
  return qd;
}

TYPED_TEST(Dqds, FindsTheEigenvaluesOfAQdArray) {
  using R = TypeParam;
  for (const Int n : sizes) {
    for (const double growth : {1.0, 3.0, 0.4}) {
      std::vector<R> qd = random_qd<R>(this->random, n);
      const double range = std::same_as<R, float> ? 60 : 600;  // in powers of two
      for (Int k = 0; k < 2 * n - 1; ++k) {
        const double exponent = std::clamp((k / 2) * std::log2(growth), -range, range);
        qd[std::size_t(k)] *= R(std::exp2(exponent));
      }
      const QdOutcome<R> outcome = lasq2(n, qd);
      SCOPED_TRACE("n = " + std::to_string(n) + ", growth " + std::to_string(growth));
      EXPECT_EQ(outcome.info, 0);
      std::vector<long double> exact = singular_values({qd.begin(), qd.end()}, 1e-2000L);
      for (long double& value : exact) value *= value;
      EXPECT_LE(relative_error(outcome.z.data(), exact, std::numeric_limits<R>::min()), 2 * threshold);
    }
  }
}

TYPED_TEST(Dqds, TellsStatistics) {
  using R = TypeParam;
  for (const Int n : {3, 10, 50}) {
    const std::vector<R> qd = random_qd<R>(this->random, n);
    double trace = 0, sum = 0;
    for (const R x : qd) trace += x;
    const QdOutcome<R> outcome = lasq2(n, qd);
    for (Int i = 1; i <= n; ++i) sum += outcome.z(i);
    EXPECT_NEAR(outcome.z(2 * n + 1), trace, 2 * n * epsilon<R> * trace);
    EXPECT_NEAR(outcome.z(2 * n + 2), sum, 2 * n * epsilon<R> * sum);
    EXPECT_NEAR(sum, trace, 10 * n * epsilon<R> * trace);
    const R transforms = outcome.z(2 * n + 3);
    EXPECT_EQ(transforms, std::floor(transforms));
    EXPECT_GE(transforms, 3);
    EXPECT_LE(transforms, 8 * n + 2);
    EXPECT_GE(outcome.z(2 * n + 4), (2 * (n - 1) + 4 * (transforms - 2)) / (R(n) * n) * (1 - 2 * epsilon<R>));
    EXPECT_LE(outcome.z(2 * n + 4), double(transforms) * (n + 1) / (double(n) * n) * (1 + 2 * epsilon<R>));
    EXPECT_GE(outcome.z(2 * n + 5), 0);
    EXPECT_LT(outcome.z(2 * n + 5), 50);
  }
}

/// The first shift of a block is a bound below all of its values, so that no transform fails while these stay apart.
TYPED_TEST(Dqds, BeginsWithASafeShift) {
  using R = TypeParam;
  for (const Int n : {10, 30}) {
    for (const R e : {R(0.01), R(0.1), R(0.3)}) {
      std::vector<R> qd;
      for (Int i = 0; i < n; ++i) {
        qd.push_back(1 + R(i) / 10);
        if (i + 1 < n) qd.push_back(e);
      }
      EXPECT_EQ(lasq2(n, qd).z(2 * n + 5), 0) << n << ' ' << e;
    }
  }
}

TYPED_TEST(Dqds, OrderTwoTellsItsSums) {
  using R = TypeParam;
  const R q1 = 2, e = 3, q2 = 5;
  const QdOutcome<R> outcome = lasq2<R>(2, {q1, e, q2});
  EXPECT_EQ(outcome.info, 0);
  EXPECT_EQ(outcome.z(5), q1 + e + q2);
  EXPECT_NEAR(outcome.z(6), 10, 20 * epsilon<R>);
  EXPECT_NEAR(outcome.z(1), 5 + std::sqrt(15.0), 20 * epsilon<R>);
  EXPECT_NEAR(outcome.z(2), 5 - std::sqrt(15.0), 4 * epsilon<R>);
  const QdOutcome<R> alone = lasq2<R>(2, {q1, 0, q2});
  EXPECT_EQ(alone.z(1), q2);
  EXPECT_EQ(alone.z(2), q1);
  const R least = std::numeric_limits<R>::denorm_min();
  const QdOutcome<R> almost_nothing = lasq2<R>(2, {0, least, 0});
  EXPECT_EQ(almost_nothing.info, 0);
  EXPECT_LE(almost_nothing.z(1) + almost_nothing.z(2), 2 * least);
}

TYPED_TEST(Dqds, ReportsEachNegativeElement) {
  using R = TypeParam;
  const std::vector<ErrorReport> report{{reported_name<R>("LASQ2"), 2}};
  for (const Int n : {1, 3, 4, 20}) {
    for (Int k = 1; k <= 2 * n - 1; ++k) {
      std::vector<R> qd = random_qd<R>(this->random, n);
      for (Int later = k; later <= 2 * n - 1; ++later) qd[std::size_t(later) - 1] *= -1;
      const QdOutcome<R> outcome = lasq2(n, qd);
      EXPECT_EQ(outcome.info, -(200 + k));
      EXPECT_EQ(take_error_reports(), report);
      EXPECT_TRUE(outcome.z.unchanged());
    }
  }
  for (const auto& [qd, info] : {std::pair{std::vector<R>{-1, 1, 1}, -201}, {{1, -1, 1}, -2}, {{1, 1, -1}, -2}}) {
    const QdOutcome<R> outcome = lasq2(2, qd);
    EXPECT_EQ(outcome.info, info);
    EXPECT_EQ(take_error_reports(), report);
    EXPECT_TRUE(outcome.z.unchanged());
  }
}

TYPED_TEST(Dqds, SortsAQdArrayWithoutE) {
  using R = TypeParam;
  const QdOutcome<R> outcome = lasq2<R>(4, {1, 0, 7, 0, 0, 0, 3});
  EXPECT_EQ(outcome.info, 0);
  const R expected[] = {7, 3, 1, 0};
  for (Int i = 1; i <= 4; ++i) EXPECT_EQ(outcome.z(i), expected[i - 1]);
  EXPECT_EQ(outcome.z(7), 11);
}

TYPED_TEST(Dqds, EndsOnQdArraysOfAnything) {
  using R = TypeParam;
  const R values[] = {0,
                      1,
                      R(0.3),
                      std::numeric_limits<R>::denorm_min(),
                      std::numeric_limits<R>::min(),
                      epsilon<R>,
                      std::numeric_limits<R>::max(),
                      std::numeric_limits<R>::infinity(),
                      std::numeric_limits<R>::quiet_NaN()};
  for (Int trial = 0; trial < 3000; ++trial) {
    const Int n = this->random.integer(3, 12), kinds = this->random.integer(2, Int(std::size(values)));
    std::vector<R> qd;
    for (Int k = 1; k <= 2 * n - 1; ++k) qd.push_back(values[this->random.integer(0, kinds - 1)]);
    const QdOutcome<R> outcome = lasq2(n, qd);
    EXPECT_GE(outcome.info, 0);
    const bool finite = std::all_of(qd.begin(), qd.end(), [](R x) { return std::isfinite(x); });
    if (!finite && outcome.info == 0) {
      EXPECT_TRUE(std::any_of(outcome.z.data(), outcome.z.data() + n, [](R x) { return !std::isfinite(x); }));
    }
  }
}

}  // namespace
}  // namespace nuv::test
