// Counts of eigenvalues, splitting, and the test for relative accuracy: ?laneg, ?larrc, ?larra, ?larrr.

#include <cmath>
#include <limits>

#include "environment/machine_constants.hpp"
#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/representations.hpp"

namespace nuv::test {
namespace {

template <class T>
class SturmCounts : public testing::Test {
 protected:
  Random random{65};
};
TYPED_TEST_SUITE(SturmCounts, RealPrecisions, PrecisionLetter);

/// Around the number of rows that go by without a test.
constexpr Int sizes[] = {1, 2, 3, 10, 127, 128, 129, 130, 255, 256, 257, 258, 300};

template <RealScalar R>
Int laneg(const Representation<R>& T, R sigma, Int r) {
  const Int count = routine_call::laneg(T.order(), T.d.data(), T.lld.data(), sigma, Machine<R>::safe_min, r);
  EXPECT_TRUE(T.unchanged());
  return count;
}

/// The number of negative pivots of the factorisation twisted at r, with a test in every row.
template <RealScalar R>
Int plain_count(const Representation<R>& T, R sigma, Int r) {
  const Int n = T.order();
  const auto quotient = [](R x, R y) { return std::isnan(x / y) ? R(1) : x / y; };
  Int count = 0;
  R t = 0 - sigma, p = T.d(n) - sigma;
  for (Int j = 1; j < r; ++j) {
    const R pivot = T.d(j) + t;
    count += pivot < 0;
    t = quotient(t, pivot) * T.lld(j) - sigma;
  }
  for (Int j = n - 1; j >= r; --j) {
    const R pivot = T.lld(j) + p;
    count += pivot < 0;
    p = quotient(p, pivot) * T.d(j) - sigma;
  }
  return count + ((t + sigma) + p < 0);
}

/// The number of eigenvalues of L D L^T below x in a wider type.
template <RealScalar R>
Int wide_count(const Representation<R>& T, long double x) {
  Int count = 0;
  long double pivot = 1;
  for (Int i = 1; i <= T.order(); ++i) {
    const long double lld = i == 1 ? 0 : T.lld(i - 1), below = i == 1 ? 0 : lld * T.d(i - 1);
    pivot = T.d(i) + lld - x - below / pivot;
    if (pivot == 0) pivot = -std::numeric_limits<long double>::min();
    count += pivot < 0;
  }
  return count;
}

TYPED_TEST(SturmCounts, CountsEigenvaluesOfRepresentationsAtEveryTwist) {
  using R = TypeParam;
  Int judged = 0;
  for (const Int n : sizes) {
    for (const bool definite : {true, false}) {
      const auto T = random_representation<R>(this->random, n, definite);
      for (Int trial = 0; trial < 20; ++trial) {
        const R sigma = 3 * this->random.template scalar<R>();
        const long double margin = 4 * n * epsilon<R> * 3;
        const Int count = wide_count(T, sigma - margin);
        if (count != wide_count(T, sigma + margin)) continue;  // too close to one of them
        ++judged;
        for (const Int r : {1, 2, (n + 1) / 2, n - 1, n}) {
          if (r < 1 || r > n) continue;
          EXPECT_EQ(laneg(T, sigma, r), count) << "n = " << n << ", sigma " << sigma << ", r = " << r;
        }
      }
    }
  }
  EXPECT_GT(judged, 200);
}

TYPED_TEST(SturmCounts, ZeroPivotsCountAsInALoopThatTestsEveryRow) {
  using R = TypeParam;
  const R numbers[] = {1, 1, 2, -1, R(0.5), 0};
  Int with_zeros = 0;
  for (const Int n : sizes) {
    for (Int trial = 0; trial < 40; ++trial) {
      Representation<R> T(n);
      const Int kinds = this->random.integer(2, 6);
      const R sigma = numbers[this->random.integer(0, 5)];
      for (Int i = 1; i <= n; ++i) {
        // Rare zeros: a pivot that is one comes from an accident of small numbers.
        T.d(i) = this->random.integer(0, 9) > 1 ? R(3) + this->random.template scalar<R>()
                                                : numbers[this->random.integer(0, kinds - 1)];
        if (i < n) T.l(i) = numbers[this->random.integer(0, kinds - 1)];
      }
      T.d(this->random.integer(1, n)) = sigma;
      T.form_lld();
      for (const Int r : {1, 2, n / 3, n / 2, n - 1, n, 128, 129, 130, 256, 257}) {
        if (r < 1 || r > n) continue;
        EXPECT_EQ(laneg(T, sigma, r), plain_count(T, sigma, r)) << "n = " << n << ", sigma " << sigma << ", r = " << r;
      }
      with_zeros += T.d(1) == sigma;
    }
  }
  EXPECT_GT(with_zeros, 10);
}

/// A zero pivot in the row, and rows around it for which the count is known.
TYPED_TEST(SturmCounts, ZeroPivotInEachRowOfABlock) {
  using R = TypeParam;
  constexpr Int n = 300;
  for (Int row = 1; row < n; ++row) {
    for (const bool from_top : {true, false}) {
      // With sigma = 1 and l = 0 beside it the row has the pivot d - 1 whatever comes before.
      Representation<R> T(n);
      for (Int i = 1; i <= n; ++i) {
        T.d(i) = 2;
        if (i < n) T.l(i) = R(0.5);
      }
      T.d(row) = 1;
      if (from_top && row > 1) T.l(row - 1) = 0;
      if (!from_top && row < n) T.l(row) = 0;
      T.form_lld();
      const Int r = from_top ? n : 1;
      EXPECT_EQ(laneg(T, R(1), r), plain_count(T, R(1), r)) << row;
    }
  }
}

TYPED_TEST(SturmCounts, InfinitiesAndNaNsCountAsInALoopThatTestsEveryRow) {
  using R = TypeParam;
  constexpr R infinity = std::numeric_limits<R>::infinity(), nan = std::numeric_limits<R>::quiet_NaN();
  for (const Int n : {1, 5, 128, 200}) {
    const auto T = random_representation<R>(this->random, n, true);
    for (const Int r : {1, (n + 1) / 2, n}) {
      EXPECT_GE(laneg(T, infinity, r), n - 1);  // where the sweeps meet infinities of both signs there is no sign
      EXPECT_EQ(laneg(T, -infinity, r), 0);
      for (const R sigma : {infinity, -infinity, nan}) EXPECT_EQ(laneg(T, sigma, r), plain_count(T, sigma, r));
    }
  }
}

// ------------------------------------------------------------------------------------------ numbers in an interval

struct IntervalCount {
  Int eigcnt = 99, lcnt = 99, rcnt = 99, info = 99;
};

template <RealScalar R>
IntervalCount larrc(char jobt, const GuardedVector<R>& d, const GuardedVector<R>& e, R vl, R vu) {
  IntervalCount result;
  routine_call::larrc(jobt, d.size(), vl, vu, d.data(), e.data(), Machine<R>::safe_min, result.eigcnt, result.lcnt,
                      result.rcnt, result.info);
  EXPECT_EQ(result.info, 0);
  EXPECT_EQ(result.eigcnt, result.rcnt - result.lcnt);
  return result;
}

TYPED_TEST(SturmCounts, CountsInAnInterval) {
  using R = TypeParam;
  Int judged = 0;
  for (const Int n : {1, 2, 3, 20, 130}) {
    const Tridiagonal<R> matrix = random_tridiagonal<R>(n);
    GuardedVector<R> d(n), e(n - 1);
    for (Int i = 1; i <= n; ++i) d(i) = matrix.d[std::size_t(i) - 1];
    for (Int i = 1; i < n; ++i) e(i) = matrix.e[std::size_t(i) - 1];
    const auto T = random_representation<R>(this->random, n, false);
    const long double margin = 10 * n * epsilon<R>;
    for (Int trial = 0; trial < 20; ++trial) {
      const R vl = 2 * this->random.template scalar<R>(), vu = vl + std::abs(this->random.template scalar<R>());
      using W = WideReal<R>;
      const Int left = wide_count(matrix, W(vl - margin)), right = wide_count(matrix, W(vu - margin));
      if (left == wide_count(matrix, W(vl + margin)) && right == wide_count(matrix, W(vu + margin))) {
        ++judged;
        for (const char jobt : {'T', 't'}) {
          const IntervalCount result = larrc(jobt, d, e, vl, vu);
          EXPECT_EQ(result.lcnt, left);
          EXPECT_EQ(result.rcnt, right);
        }
      }
      const Int below = wide_count(T, vl - margin), up_to = wide_count(T, vu - margin);
      if (below == wide_count(T, vl + margin) && up_to == wide_count(T, vu + margin)) {
        ++judged;
        for (const char jobt : {'L', 'l'}) {
          const IntervalCount result = larrc(jobt, T.d, T.l, vl, vu);
          EXPECT_EQ(result.lcnt, below);
          EXPECT_EQ(result.rcnt, up_to);
        }
      }
    }
  }
  EXPECT_GT(judged, 100);
}

TYPED_TEST(SturmCounts, AnIntervalHoldsItsRightEndAlone) {
  using R = TypeParam;
  GuardedVector<R> d(5), e(4);
  for (Int i = 1; i <= 5; ++i) d(i) = R(i);
  for (Int i = 1; i <= 4; ++i) e(i) = 0;
  for (const char jobt : {'T', 'L'}) {
    const IntervalCount result = larrc(jobt, d, e, R(2), R(4));
    EXPECT_EQ(result.lcnt, 2) << jobt;
    EXPECT_EQ(result.rcnt, 4) << jobt;
  }
}

TYPED_TEST(SturmCounts, ZeroPivotsInAnIntervalCount) {
  using R = TypeParam;
  // [1 1; 1 1] has 0 and 2, and a zero pivot at 1.
  GuardedVector<R> d(2), e(1);
  d(1) = d(2) = e(1) = 1;
  EXPECT_EQ(larrc('T', d, e, R(1), R(3)).lcnt, 1);
  // L D L^T = [1 2; 2 5] has 3 -+ sqrt(8), and a zero pivot at 1.
  e(1) = 2;
  const IntervalCount result = larrc('L', d, e, R(1), R(6));
  EXPECT_EQ(result.lcnt, 1);
  EXPECT_EQ(result.rcnt, 2);
  // A row further on, what an infinity left behind must be gone.
  Representation<R> T(4);
  for (Int i = 1; i <= 4; ++i) T.d(i) = 1;
  for (Int i = 1; i <= 3; ++i) T.l(i) = R(4 - i);
  T.form_lld();
  EXPECT_EQ(larrc('L', T.d, T.l, R(1), R(100)).lcnt, wide_count(T, 1.0L));
  EXPECT_EQ(larrc('T', GuardedVector<R>(0), GuardedVector<R>(0), R(0), R(1)).eigcnt, 0);
}

// ------------------------------------------------------------------------------------------------------- splitting

template <RealScalar R>
struct Split {
  GuardedVector<R> e, e2;
  GuardedVector<Int> isplit;
  Int nsplit = 99, info = 99;

  Split(const std::vector<R>& diagonal, const std::vector<R>& beside, R spltol, R tnrm)
      : e(Int(beside.size())), e2(Int(beside.size())), isplit(Int(diagonal.size())) {
    GuardedVector<R> d(Int(diagonal.size()));
    for (Int i = 1; i <= d.size(); ++i) d(i) = diagonal[std::size_t(i) - 1];
    for (Int i = 1; i <= e.size(); ++i) {
      e(i) = beside[std::size_t(i) - 1];
      e2(i) = e(i) * e(i);
    }
    d.seal();
    e.seal();
    e2.seal();
    isplit.seal();
    routine_call::larra(d.size(), d.data(), e.data(), e2.data(), spltol, tnrm, nsplit, isplit.data(), info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(d.unchanged());
    EXPECT_TRUE(e.guards_unchanged());
    EXPECT_TRUE(e2.guards_unchanged());
    EXPECT_TRUE(isplit.unchanged_outside(1, nsplit));
  }
};

TYPED_TEST(SturmCounts, SplitsByAnAbsoluteBound) {
  using R = TypeParam;
  const Split<R> split({1, 2, 3, 4}, {R(0.25), -1, R(-0.2)}, R(-0.125), R(2));
  ASSERT_EQ(split.nsplit, 3);
  EXPECT_EQ(split.isplit(1), 1);
  EXPECT_EQ(split.isplit(2), 3);
  EXPECT_EQ(split.isplit(3), 4);
  EXPECT_EQ(split.e(1), 0);
  EXPECT_EQ(split.e2(1), 0);
  EXPECT_EQ(split.e(2), -1);
  EXPECT_EQ(split.e2(2), 1);
  EXPECT_EQ(split.e(3), 0);
  EXPECT_EQ(split.e2(3), 0);
}

TYPED_TEST(SturmCounts, SplitsByARelativeBound) {
  using R = TypeParam;
  // sqrt(4) sqrt(16) / 8 = 1;  between 16 and 1/16 it is 1/8; a zero on the diagonal holds everything together.
  const Split<R> split({4, -16, R(0.0625), 0, 1}, {-1, R(0.25), R(1e-30), R(1e-30)}, R(0.125), R(1000));
  ASSERT_EQ(split.nsplit, 2);
  EXPECT_EQ(split.isplit(1), 1);
  EXPECT_EQ(split.isplit(2), 5);
  EXPECT_EQ(split.e(1), 0);
  EXPECT_EQ(split.e2(1), 0);
  EXPECT_EQ(split.e(2), R(0.25));
  EXPECT_EQ(split.e(3), R(1e-30));
  const Split<R> single({7}, {}, R(0.1), R(1));
  EXPECT_EQ(single.nsplit, 1);
  EXPECT_EQ(single.isplit(1), 1);
}

TYPED_TEST(SturmCounts, NaNsHoldAMatrixTogether) {
  using R = TypeParam;
  const R nan = std::numeric_limits<R>::quiet_NaN();
  const Split<R> split({1, 1, 1}, {nan, R(1e-30)}, R(-1), R(1e-10));
  ASSERT_EQ(split.nsplit, 2);
  EXPECT_EQ(split.isplit(1), 2);
  EXPECT_TRUE(std::isnan(split.e(1)));
}

// ---------------------------------------------------------------------------------------------- relative accuracy

template <RealScalar R>
Int larrr(const std::vector<R>& d, const std::vector<R>& e) {
  Int info = 99;
  routine_call::larrr(Int(d.size()), d.data(), e.data(), info);
  return info;
}

TYPED_TEST(SturmCounts, TellsScaledDiagonalDominance) {
  using R = TypeParam;
  const R nan = std::numeric_limits<R>::quiet_NaN();
  EXPECT_EQ(larrr<R>({}, {}), 0);
  EXPECT_EQ(larrr<R>({-3}, {}), 0);
  // Ratios to the geometric means are 0.4 and 0.55, whatever the scale of rows.
  EXPECT_EQ(larrr<R>({4, R(1e-8), -9}, {R(0.4) * R(2e-4), R(-0.55) * R(3e-4)}), 0);
  EXPECT_EQ(larrr<R>({1, 1, 1}, {R(0.4), R(0.61)}), 1);
  EXPECT_EQ(larrr<R>({1, 1, 1}, {R(-0.61), R(0.4)}), 1);
  EXPECT_EQ(larrr<R>({1, 1}, {R(0.9985)}), 0);
  EXPECT_EQ(larrr<R>({1, 1}, {R(0.9995)}), 1);
  EXPECT_EQ(larrr<R>({1, 1, 1, 1}, {R(0.9), 0, R(0.9)}), 0);
  EXPECT_EQ(larrr<R>({1, 0}, {0}), 1);
  EXPECT_EQ(larrr<R>({0, 1}, {0}), 1);
  const R least = Machine<R>::safe_min / Machine<R>::precision;
  EXPECT_EQ(larrr<R>({1, least * R(1.01)}, {0}), 0);
  EXPECT_EQ(larrr<R>({1, least * R(0.98)}, {0}), 1);
  EXPECT_EQ(larrr<R>({least * R(0.98), 1}, {0}), 1);
  EXPECT_EQ(larrr<R>({1, nan}, {0}), 1);
  EXPECT_EQ(larrr<R>({nan, 1}, {0}), 1);
  EXPECT_EQ(larrr<R>({1, 1}, {nan}), 1);
}

}  // namespace
}  // namespace nuv::test
