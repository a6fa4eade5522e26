// Spectra of test matrices: ?latm1.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "generators/spectrum_cases.hpp"
#include "support/argument_checks.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

template <class T>
class Spectra : public ReportingTest {};
TYPED_TEST_SUITE(Spectra, Precisions, PrecisionLetter);

template <Scalar T>
struct Outcome {
  GuardedVector<T> d;
  Seed seed;
};

template <Scalar T>
Outcome<T> latm1(Int mode, Real<T> cond, Int n, Int irsign = 0, Int idist = 1) {
  Outcome<T> outcome{GuardedVector<T>(n), first_seed};
  Int info = 99;
  routine_call::latm1(mode, cond, irsign, idist, outcome.seed.data(), outcome.d.data(), n, info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(outcome.d.guards_unchanged());
  return outcome;
}

/// The number at place i of n by its definition, in the modes that draw none.
template <Scalar T>
WideReal<T> defined(Int mode, Real<T> cond, Int i, Int n) {
  const auto last = WideReal<T>(1) / cond;
  const auto way = n == 1 ? WideReal<T>(0) : WideReal<T>(i - 1) / WideReal<T>(n - 1);
  switch (mode) {
    case 1:
      return i == 1 ? 1 : last;
    case 2:
      return i == n ? last : 1;
    case 3:
      return std::pow(WideReal<T>(cond), -way);
    default:
      return 1 - way * (1 - last);
  }
}

TYPED_TEST(Spectra, IsSpreadAsTheModeSays) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {1, 2, 3, 10, 77}) {
    for (const R cond : {R(1), R(2.5), R(1000), R(1) / epsilon<T>}) {
      for (const Int mode : {1, 2, 3, 4}) {
        const auto [d, seed] = latm1<T>(mode, cond, n);
        const auto reversed = latm1<T>(-mode, cond, n);
        for (Int i = 1; i <= n; ++i) {
          const auto expected = defined<T>(mode, cond, i, n);
          // The exponent of a power is rounded: that is an error of its logarithm, at most 53 log 2.
          const double bound = (mode == 3 ? 40 : 4) * double(expected) * epsilon<T>;
          EXPECT_LE(double(std::abs(wide(d(i)) - expected)), bound) << mode << ", " << i << " of " << n;
          EXPECT_EQ(reversed.d(i), d(n + 1 - i));
        }
        EXPECT_EQ(seed, first_seed);
        EXPECT_EQ(reversed.seed, first_seed);
        // The ends are what they are called, to the last bit or, at the end of a geometric series, nearly so.
        if (n > 1 || mode != 2) {
          EXPECT_EQ(d(1), T(1)) << mode;
        }
        if (mode != 3 && (n > 1 || mode == 2)) {
          EXPECT_EQ(d(n), T(R(1) / cond)) << mode;
        }
      }
    }
  }
}

TYPED_TEST(Spectra, HasRandomLogarithmsInMode5) {
  using T = TypeParam;
  using R = Real<T>;
  const R cond = 1000;
  for (const Int n : {1, 2, 100}) {
    const auto [d, seed] = latm1<T>(5, cond, n);
    const auto reversed = latm1<T>(-5, cond, n);
    Seed expected_seed = first_seed;
    for (Int i = 1; i <= n; ++i) {
      const R u = routine_call::laran<R>(expected_seed.data());
      const auto expected = std::pow(WideReal<T>(cond), -WideReal<T>(u));
      EXPECT_LE(double(std::abs(wide(d(i)) - expected)), 16 * double(expected) * epsilon<T>);
      EXPECT_EQ(reversed.d(n + 1 - i), d(i));
      EXPECT_LE(std::real(d(i)), R(1));
      EXPECT_GE(std::real(d(i)), R(1) / cond);
    }
    EXPECT_EQ(seed, expected_seed);
    EXPECT_EQ(reversed.seed, expected_seed);
  }
}

TYPED_TEST(Spectra, HasRandomNumbersOfADistributionInMode6WhateverCond) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {1, 2, 65, 200}) {
    for (const Int idist : {1, 2, 3}) {
      for (const R cond : {R(0), R(-3), std::numeric_limits<R>::quiet_NaN()}) {
        GuardedVector<T> x(n);
        Seed expected_seed = first_seed;
        routine_call::larnv(idist, expected_seed.data(), n, x.data());
        // Nor does a sign matter.
        for (const Int irsign : {0, 1, 7}) {
          const auto [d, seed] = latm1<T>(6, cond, n, irsign, idist);
          const auto reversed = latm1<T>(-6, cond, n, irsign, idist);
          EXPECT_TRUE(d.same_as(x));
          for (Int i = 1; i <= n; ++i) EXPECT_EQ(reversed.d(n + 1 - i), x(i));
          EXPECT_EQ(seed, expected_seed);
          EXPECT_EQ(reversed.seed, expected_seed);
        }
      }
    }
  }
}

TYPED_TEST(Spectra, IsNormalInMode6WithTheThirdDistribution) {
  using T = TypeParam;
  constexpr Int n = 10000;
  const auto [d, seed] = latm1<T>(6, 1, n, 0, 3);
  double sum = 0, squares = 0, beyond_one = 0;
  for (Int i = 1; i <= n; ++i) {
    const double x = std::real(d(i));
    sum += x;
    squares += x * x;
    beyond_one += std::abs(x) > 1;
  }
  // Four and a half standard deviations: 1 for the mean, sqrt(2) for squares, less than 1/2 for the share 1 -
  // erf(1/sqrt 2).
  EXPECT_NEAR(sum / n, 0, 0.045);
  EXPECT_NEAR(squares / n, 1, 0.064);
  EXPECT_NEAR(beyond_one / n, 0.3173, 0.023);
}

TYPED_TEST(Spectra, GetsRandomSignsInModesThatUseCond) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 50;
  for (const Int mode : {1, 2, 3, 4, 5, -1, -4}) {
    const auto [plain, plain_seed] = latm1<T>(std::abs(mode), 10, n);
    const auto [d, seed] = latm1<T>(mode, 10, n, 1);
    Seed expected_seed = plain_seed;
    Int changed = 0;
    for (Int i = 1; i <= n; ++i) {
      const T got = mode > 0 ? d(i) : d(n + 1 - i);
      if constexpr (ComplexScalar<T>) {
        const T factor = routine_call::larnd<T>(5, expected_seed.data());
        EXPECT_EQ(got, plain(i) * factor);
        EXPECT_NEAR(std::abs(got), std::abs(plain(i)), 4 * epsilon<T>);
        changed += factor.real() < 0;
      } else {
        const bool flips = routine_call::laran<R>(expected_seed.data()) > R(0.5);
        EXPECT_EQ(got, flips ? -plain(i) : plain(i));
        changed += flips;
      }
    }
    EXPECT_EQ(seed, expected_seed);
    EXPECT_GT(changed, n / 4);
    EXPECT_LT(changed, 3 * n / 4);
  }
}

TYPED_TEST(Spectra, IsTheCallersInMode0) {
  using T = TypeParam;
  Random random(3);
  for (const Int irsign : {0, 1, 7}) {
    GuardedVector<T> d = random_vector<T>(random, 9, 1);
    Seed seed = first_seed;
    Int info = 99;
    routine_call::latm1(0, Real<T>(-1), irsign, 9, seed.data(), d.data(), 9, info);
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(d.unchanged());
    EXPECT_EQ(seed, first_seed);
  }
}

template <Scalar T>
struct Call {
  Random random{1};
  Int mode = 3, irsign = 0, idist = 1, n = 4;
  Real<T> cond = 10;
  Seed seed = first_seed;
  GuardedVector<T> d = random_vector<T>(random, 4, 1);

  Int run() {
    Int info = 99;
    routine_call::latm1(mode, cond, irsign, idist, seed.data(), d.data(), n, info);
    return info;
  }
  bool unchanged() const { return d.unchanged() && seed == first_seed; }
};

TYPED_TEST(Spectra, ChecksItsArguments) {
  using T = TypeParam;
  using C = Call<T>;
  const std::string name = reported_name<T>("LATM1");
  expect_argument_checks<C>(name, {{1, [](C& call) { call.mode = call.mode > 0 ? 7 : -7; }},
                                   {2, [](C& call) { call.irsign = 2; }},
                                   {3, [](C& call) { call.cond = Real<T>(0.999); }},
                                   {7, [](C& call) { call.n = -1; }}});
  const auto nan = std::numeric_limits<Real<T>>::quiet_NaN();
  const struct {
    Int mode;
    Real<T> cond;
    Int irsign, idist, n;
    int position;
  } cases[] = {
      {-7, 2, 0, 1, 4, 1},  {7, 2, 0, 1, 4, 1},  {-6, 2, 0, 1, 4, 0},  {1, 2, -1, 1, 4, 2}, {-5, 2, 2, 1, 4, 2},
      {0, 2, 2, 1, 4, 0},   {6, 2, 2, 1, 4, 0},  {2, 1, 1, 1, 4, 0},   {4, 0, 0, 1, 4, 3},  {-1, -2, 0, 1, 4, 3},
      {3, nan, 0, 1, 4, 3}, {0, 0, 0, 1, 4, 0},  {5, 2, 0, 0, 4, 0},   {1, 2, 0, 9, 4, 0},  {6, 2, 0, 0, 4, 4},
      {6, 2, 0, 4, 4, 4},   {-6, 2, 0, 4, 4, 4}, {-6, 2, 0, 0, -1, 4}, {0, 2, 0, 1, -1, 7}, {6, 2, 0, 1, -1, 7},
      {1, 2, 0, 1, -1, 7},  {99, 0, 9, 9, 0, 0}, {0, 2, 0, 9, 4, 0},
  };
  for (const auto& [mode, cond, irsign, idist, n, position] : cases) {
    SCOPED_TRACE(testing::Message() << mode << ", " << cond << ", " << irsign << ", " << idist << ", " << n);
    C call;
    call.mode = mode;
    call.cond = cond;
    call.irsign = irsign;
    call.idist = idist;
    call.n = n;
    expect_report(call, name, position);
    if (n == 0) {
      EXPECT_TRUE(call.unchanged());
    }
  }
}

}  // namespace
}  // namespace nuv::test
