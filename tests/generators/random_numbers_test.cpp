// Random numbers: ?laran, ?laruv, ?larnd, ?larnv.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "routines.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

constexpr std::uint64_t multiplier = 33952834046453, modulus = std::uint64_t{1} << 48;

/// The generator's state as the 48-bit number it is.
struct Seed {
  std::array<Int, 4> digits;

  explicit Seed(std::uint64_t x) {
    for (int i = 3; i >= 0; --i, x /= 4096) digits[std::size_t(i)] = Int(x % 4096);
  }

  std::uint64_t number() const {
    std::uint64_t x = 0;
    for (const Int digit : digits) x = 4096 * x + std::uint64_t(digit);
    return x;
  }

  operator Int*() { return digits.data(); }
  bool operator==(const Seed&) const = default;
};

/// The state after a number of draws.
Seed advanced(Seed seed, int draws) {
  std::uint64_t x = seed.number();
  for (; draws > 0; --draws) x = x * multiplier % modulus;
  return Seed(x);
}

/// The state that one draw leads to x: Newton's iteration doubles the bits of the reciprocal that are right.
Seed one_before(std::uint64_t x) {
  std::uint64_t reciprocal = multiplier;  // of the last three bits
  for (int i = 0; i < 5; ++i) reciprocal *= 2 - multiplier * reciprocal;
  return Seed(x * reciprocal % modulus);
}

const std::uint64_t some_seeds[] = {1,
                                    3,
                                    4095,
                                    4097,
                                    0x123456789ABDu % modulus,
                                    modulus - 1,
                                    modulus / 2 + 1,
                                    (std::uint64_t{1998} << 36) + (std::uint64_t{56} << 24) + (2013 << 12) + 1979};

template <class T>
class Uniform : public testing::Test {};
TYPED_TEST_SUITE(Uniform, RealPrecisions, PrecisionLetter);

template <class T>
class Distributions : public testing::Test {};
TYPED_TEST_SUITE(Distributions, Precisions, PrecisionLetter);

// ----------------------------------------------------------------------------------------------------- the generator

TYPED_TEST(Uniform, TheFirstNumberShowsTheMultiplier) {
  using R = TypeParam;
  Seed seed(1);
  const R value = routine_call::laran<R>(seed);
  const double expected = 494.0 / 4096 + 322.0 / 16777216 + 2508.0 / 68719476736 + 2549.0 / 281474976710656;
  EXPECT_EQ(value, static_cast<R>(expected));
  EXPECT_EQ(seed.digits, (std::array<Int, 4>{494, 322, 2508, 2549}));
}

TYPED_TEST(Uniform, GoesThroughTheProductsOfTheMultiplier) {
  using R = TypeParam;
  for (const std::uint64_t start : some_seeds) {
    Seed seed(start);
    std::uint64_t x = start;
    for (int k = 0; k < 2000; ++k) {
      const R value = routine_call::laran<R>(seed);
      x = x * multiplier % modulus;
      const double exact = static_cast<double>(x) / static_cast<double>(modulus);
      // In double precision 48 bits are exact; in single precision each of four steps rounds, the last ones to half an
      // eps of numbers below 1 and the others far less.
      const double tolerance = std::same_as<R, double> ? 0 : epsilon<R>;
      ASSERT_LE(std::abs(static_cast<double>(value) - exact), tolerance) << start << ", draw " << k;
      ASSERT_GT(value, 0);
      ASSERT_LT(value, 1);
      ASSERT_EQ(seed.number(), x);
    }
  }
}

TEST(UniformSingle, LeavesOutNumbersThatRoundToOne) {
  const std::uint64_t top = modulus - 1;
  Seed seed = one_before(top);
  ASSERT_EQ(advanced(seed, 1).number(), top);
  const Seed before = seed;
  const float value = routine_call::laran<float>(seed);
  EXPECT_LT(value, 1);
  EXPECT_EQ(seed, advanced(before, 2));
  EXPECT_FLOAT_EQ(value, static_cast<float>(static_cast<double>(seed.number()) / static_cast<double>(modulus)));

  // Double precision can tell it from 1.
  seed = before;
  EXPECT_EQ(routine_call::laran<double>(seed), 1 - 0x1p-48);
  EXPECT_EQ(seed, advanced(before, 1));

  // The vector form makes no exception.
  seed = before;
  float x[2] = {};
  routine_call::laruv(seed, 2, x);
  EXPECT_EQ(x[0], 1);
  EXPECT_EQ(x[1], value);
}

TYPED_TEST(Uniform, AVectorHoldsTheNumbersOfSingleDraws) {
  using R = TypeParam;
  for (const std::uint64_t start : some_seeds) {
    for (const Int n : {1, 2, 3, 63, 64, 65, 127, 128}) {
      Seed seed(start), single(start);
      GuardedVector<R> x(n);
      x.seal();
      routine_call::laruv(seed, n, x.data());
      for (Int k = 1; k <= n; ++k) ASSERT_EQ(x(k), routine_call::laran<R>(single)) << start << ", " << k << " of " << n;
      EXPECT_EQ(seed, single);
      EXPECT_TRUE(x.guards_unchanged());
    }
  }
}

TYPED_TEST(Uniform, AVectorHasAtMost128Numbers) {
  using R = TypeParam;
  for (const Int n : {129, 130, 1000}) {
    Seed seed(4097);
    GuardedVector<R> x(n);
    x.seal();
    routine_call::laruv(seed, n, x.data());
    EXPECT_TRUE(x.unchanged_outside(1, 128));
    EXPECT_EQ(seed, advanced(Seed(4097), 128));
  }
}

TYPED_TEST(Uniform, AnEmptyVectorWipesTheSeed) {
  using R = TypeParam;
  for (const Int n : {0, -1, -128}) {
    Seed seed(4097);
    R x = 7;
    routine_call::laruv(seed, n, &x);
    EXPECT_EQ(seed.digits, (std::array<Int, 4>{0, 0, 0, 0}));
    EXPECT_EQ(x, 7);
  }
}

TEST(Powers, OfTheMultiplierAreThoseOfTheTable) {
  const struct {
    Int n;
    std::array<Int, 4> digits;
  } rows[] = {{1, {494, 322, 2508, 2549}},
              {2, {2637, 789, 3754, 1145}},
              {3, {255, 1440, 1766, 2253}},
              {128, {545, 2366, 3801, 1537}}};
  for (const auto& [n, digits] : rows) {
    Seed seed(1);
    double x[128];
    routine_call::laruv(seed, n, x);
    EXPECT_EQ(seed.digits, digits) << n;
  }
}

// ------------------------------------------------------------------------------------------------------ distributions

/// The number that two uniform ones make, in double precision.
template <Scalar T>
std::complex<double> expected_number(Int idist, double u, double v) {
  const double angle = 2 * M_PI * v;
  const std::complex<double> phase(std::cos(angle), std::sin(angle));
  std::complex<double> z;
  if (idist == 1) z = {u, v};
  if (idist == 2) z = {2 * u - 1, 2 * v - 1};
  if (idist == 3) z = std::sqrt(-2 * std::log(u)) * phase;
  if (idist == 4) z = std::sqrt(u) * phase;
  if (idist == 5) z = phase;
  return ComplexScalar<T> ? z : std::complex<double>(z.real());
}

/// Rounding of u, v and a few operations on numbers up to 8, of which the angle alone may be off by 2 pi eps.
template <Scalar T>
const double distribution_tolerance = 50 * epsilon<T>;

template <Scalar T>
constexpr Int last_distribution = ComplexScalar<T> ? 5 : 3;

TYPED_TEST(Distributions, SingleNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (Int idist = 1; idist <= last_distribution<T>; ++idist) {
    for (const std::uint64_t start : some_seeds) {
      Seed seed(start), single(start);
      for (int k = 0; k < 200; ++k) {
        const T value = routine_call::larnd<T>(idist, seed);
        const double u = routine_call::laran<R>(single);
        const double v = ComplexScalar<T> || idist == 3 ? routine_call::laran<R>(single) : 0;
        ASSERT_LE(std::abs(std::complex<double>(value) - expected_number<T>(idist, u, v)), distribution_tolerance<T>)
            << idist << ", seed " << start << ", number " << k;
        ASSERT_EQ(seed, single);
      }
    }
  }
}

TYPED_TEST(Distributions, AnUnknownOneIsZeroAndTakesOneDraw) {
  using T = TypeParam;
  for (const Int idist : {7, 0, -1, last_distribution<T> + 1}) {
    Seed seed(4097);
    EXPECT_EQ(routine_call::larnd<T>(idist, seed), T(0));
    EXPECT_EQ(seed, advanced(Seed(4097), 1));
  }
}

TYPED_TEST(Distributions, Vectors) {
  using T = TypeParam;
  using R = Real<T>;
  for (Int idist = 1; idist <= last_distribution<T>; ++idist) {
    for (const Int n : {1, 2, 63, 64, 65, 127, 128, 129, 200, 1000}) {
      Seed seed(4097), single(4097);
      GuardedVector<T> x(n);
      x.seal();
      routine_call::larnv(idist, seed, n, x.data());
      for (Int k = 1; k <= n; ++k) {
        R u, v = 0;
        routine_call::laruv(single, 1, &u);
        if (ComplexScalar<T> || idist == 3) routine_call::laruv(single, 1, &v);
        ASSERT_LE(std::abs(std::complex<double>(x(k)) - expected_number<T>(idist, u, v)), distribution_tolerance<T>)
            << idist << ", " << k << " of " << n;
      }
      EXPECT_EQ(seed, single);
      EXPECT_TRUE(x.guards_unchanged());
    }
  }
}

TYPED_TEST(Distributions, AVectorOf65IsOneOf64AndOneMore) {
  using T = TypeParam;
  Seed seed(4097), parts(4097);
  std::vector<T> x(65), y(65);
  routine_call::larnv(1, seed, 65, x.data());
  routine_call::larnv(1, parts, 64, y.data());
  routine_call::larnv(1, parts, 1, y.data() + 64);
  EXPECT_EQ(x, y);
  EXPECT_EQ(seed, parts);
}

TYPED_TEST(Distributions, NoVectorTakesNoDraw) {
  using T = TypeParam;
  for (const Int n : {0, -1, -100}) {
    for (const Int idist : {1, 2, 3, 7}) {
      Seed seed(4097);
      T x = 7;
      routine_call::larnv(idist, seed, n, &x);
      EXPECT_EQ(seed, Seed(4097));
      EXPECT_EQ(x, T(7));
    }
  }
}

TYPED_TEST(Distributions, AVectorOfAnUnknownOneIsNotWritten) {
  using T = TypeParam;
  for (const Int idist : {7, 0, -1, last_distribution<T> + 1}) {
    for (const Int n : {1, 64, 65, 130}) {
      Seed seed(4097);
      GuardedVector<T> x(n);
      x.seal();
      routine_call::larnv(idist, seed, n, x.data());
      EXPECT_TRUE(x.unchanged());
      EXPECT_EQ(seed, advanced(Seed(4097), ComplexScalar<T> ? 2 * n : n));
    }
  }
}

// --------------------------------------------------------------------------------------------------------- statistics

constexpr int million = 1000000;

/// Chi-square of equally likely cells less its mean, in standard deviations.
double deviation(const std::vector<int>& cells, double draws) {
  const double expected = draws / double(cells.size());
  double sum = 0;
  for (const int count : cells) sum += (count - expected) * (count - expected) / expected;
  const double freedom = double(cells.size()) - 1;
  return (sum - freedom) / std::sqrt(2 * freedom);
}

/// The cell that holds u of [0, 1), or its ends.
std::size_t cell(double u, std::size_t cells) {
  return std::min(static_cast<std::size_t>(u * double(cells)), cells - 1);
}

/// How far even counts, pairs and correlations may be off, in standard deviations: a generator that is as good as
/// chance is farther out once in 15000 tests.
constexpr double most_deviations = 4;

void expect_uniform_and_independent(const std::vector<double>& u) {
  std::vector<int> cells(256), pairs(32 * 32);
  for (const double x : u) ++cells[cell(x, cells.size())];
  for (std::size_t i = 0; i + 1 < u.size(); i += 2) ++pairs[cell(u[i], 32) * 32 + cell(u[i + 1], 32)];
  EXPECT_LE(std::abs(deviation(cells, double(u.size()))), most_deviations);
  EXPECT_LE(std::abs(deviation(pairs, double(u.size() / 2))), most_deviations);
  for (const std::size_t lag : {1, 2, 3, 64, 128}) {
    double sum = 0;
    for (std::size_t i = 0; i + lag < u.size(); ++i) sum += (u[i] - 0.5) * (u[i + lag] - 0.5);
    const double correlation = 12 * sum / double(u.size() - lag);
    EXPECT_LE(std::abs(correlation) * std::sqrt(double(u.size())), most_deviations) << "lag " << lag;
  }
}

TYPED_TEST(Uniform, AMillionNumbersAreEvenAndIndependent) {
  using R = TypeParam;
  Seed seed(4097);
  std::vector<double> u(million);
  for (double& x : u) x = routine_call::laran<R>(seed);
  expect_uniform_and_independent(u);
}

TYPED_TEST(Distributions, AMillionNumbersAreDistributedAsTheyShould) {
  using T = TypeParam;
  const auto normal_share = [](double x) { return 0.5 * std::erfc(-x / std::sqrt(2.0)); };
  for (Int idist = 1; idist <= last_distribution<T>; ++idist) {
    SCOPED_TRACE(testing::Message() << "distribution " << idist);
    Seed seed(4097);
    std::vector<T> x(million);
    routine_call::larnv(idist, seed, million, x.data());
    // Each part, or square of the modulus and phase, as a number that should be uniform.
    std::vector<double> u;
    for (const T& number : x) {
      const std::complex<double> z(number);
      const double parts[] = {z.real(), z.imag()};
      for (const double part : {parts[0], parts[1]}) {
        if (idist <= 3) u.push_back(idist == 1 ? part : idist == 2 ? (part + 1) / 2 : normal_share(part));
        if (!ComplexScalar<T>) break;
      }
      if (idist == 4) u.push_back(std::norm(z));
      if (idist >= 4) u.push_back(std::arg(z) / (2 * M_PI) + 0.5);
      if (idist == 5) {
        ASSERT_NEAR(std::abs(z), 1, 2 * epsilon<T>);
      }
    }
    expect_uniform_and_independent(u);
  }
}

}  // namespace
}  // namespace nuv::test
