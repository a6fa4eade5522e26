// The intrinsics of compiled callers: every rule for zeros, infinities, NaN and results out of range.

#include "environment/service_math.hpp"

#include <nuv/nuv_services.h>

#include <bit>
#include <cfenv>

#include "environment/quad.hpp"
#include "environment/service_calls.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <RealScalar R>
constexpr R inf = std::numeric_limits<R>::infinity();
template <RealScalar R>
constexpr R nan = std::numeric_limits<R>::quiet_NaN();

double serv_sign(double a, double b) {
  return nuv_serv_d_sign(&a, &b);
}
float serv_sign(float a, float b) {
  return nuv_serv_s_sign(&a, &b);
}
Int serv_int(double x) {
  return nuv_serv_d_int(&x);
}
Int serv_int(float x) {
  return nuv_serv_s_int(&x);
}
double serv_power(double x, Int n) {
  return nuv_serv_d_powi(&x, &n);
}
float serv_power(float x, Int n) {
  return nuv_serv_s_powi(&x, &n);
}
std::complex<double> serv_root(std::complex<double> z) {
  std::complex<double> result = guard<std::complex<double>>();
  nuv_serv_z_sqrt(&result, &z);
  return result;
}
std::complex<float> serv_root(std::complex<float> z) {
  std::complex<float> result = guard<std::complex<float>>();
  nuv_serv_c_sqrt(&result, &z);
  return result;
}

template <class R>
class ServiceMath : public testing::Test {};
TYPED_TEST_SUITE(ServiceMath, RealPrecisions, PrecisionLetter);

TYPED_TEST(ServiceMath, SignIsReadByComparison) {
  using R = TypeParam;
  const R negative_nan = std::copysign(nan<R>, R(-1));
  const R least = std::numeric_limits<R>::denorm_min();
  for (const R b : {R(-1), -least, -inf<R>}) {
    for (const R a : {R(3), least, inf<R>}) {
      EXPECT_TRUE(same_bits(serv_sign(a, b), -a)) << a << ", " << b;
      EXPECT_TRUE(same_bits(serv_sign(-a, b), -a)) << a << ", " << b;
    }
    EXPECT_TRUE(same_bits(serv_sign(R(0), b), R(0))) << b;
    EXPECT_TRUE(same_bits(serv_sign(R(-0.0), b), R(-0.0))) << b;
    EXPECT_TRUE(std::isnan(serv_sign(nan<R>, b))) << b;
  }
  for (const R b : {R(0), R(-0.0), R(1), least, inf<R>, nan<R>, negative_nan}) {
    for (const R a : {R(3), least, inf<R>}) {
      EXPECT_TRUE(same_bits(serv_sign(a, b), a)) << a << ", " << b;
      EXPECT_TRUE(same_bits(serv_sign(-a, b), a)) << a << ", " << b;
    }
    EXPECT_TRUE(same_bits(serv_sign(R(0), b), R(0))) << b;
    EXPECT_TRUE(same_bits(serv_sign(R(-0.0), b), R(-0.0))) << b;
    EXPECT_TRUE(same_bits(serv_sign(nan<R>, b), nan<R>)) << b;
    EXPECT_TRUE(same_bits(serv_sign(negative_nan, b), negative_nan)) << b;
  }
}

TYPED_TEST(ServiceMath, IntegersAreCutTowardsZero) {
  using R = TypeParam;
  constexpr Int indefinite = std::numeric_limits<Int>::min();
  EXPECT_EQ(serv_int(R(2.9)), 2);
  EXPECT_EQ(serv_int(R(-2.9)), -2);
  EXPECT_EQ(serv_int(R(-0.9)), 0);
  EXPECT_EQ(serv_int(R(-0.0)), 0);
  EXPECT_EQ(serv_int(std::numeric_limits<R>::denorm_min()), 0);
  EXPECT_EQ(serv_int(R(1e9)), 1000000000);
  const R limit = 2147483648;
  const Int largest = std::is_same_v<R, float> ? 2147483520 : 2147483647;
  EXPECT_EQ(serv_int(std::nextafter(limit, R(0))), largest);
  EXPECT_EQ(serv_int(std::nextafter(-limit, R(0))), -largest);
  for (const R x : {limit, -limit, std::nextafter(limit, inf<R>), std::nextafter(-limit, -inf<R>), R(1e10), R(-1e10),
                    R(1e30), inf<R>, -inf<R>, nan<R>, -nan<R>}) {
    EXPECT_EQ(serv_int(x), indefinite) << x;
  }
}

TYPED_TEST(ServiceMath, IntegersOfRandomNumbers) {
  using R = TypeParam;
  Random random(61);
  for (int count = 0; count < cases; ++count) {
    const R x = of_size<R>(random, -3, 30);
    ASSERT_EQ(R(serv_int(x)), std::trunc(x)) << x;
  }
}

TYPED_TEST(ServiceMath, PowersOfZeroAndToZero) {
  using R = TypeParam;
  for (const R x : {R(0), R(-0.0), R(1), R(-3), inf<R>, -inf<R>, nan<R>}) {
    EXPECT_TRUE(same_bits(serv_power(x, 0), R(1))) << x;
  }
  EXPECT_TRUE(same_bits(serv_power(R(0), 5), R(0)));
  EXPECT_TRUE(same_bits(serv_power(R(-0.0), 5), R(-0.0)));
  EXPECT_TRUE(same_bits(serv_power(R(0), -1), inf<R>));
  EXPECT_TRUE(same_bits(serv_power(R(-0.0), -1), -inf<R>));
  EXPECT_TRUE(same_bits(serv_power(R(-0.0), -2), inf<R>));
  EXPECT_TRUE(same_bits(serv_power(inf<R>, -3), R(0)));
  EXPECT_TRUE(std::isnan(serv_power(nan<R>, 1)));
  EXPECT_TRUE(same_bits(serv_power(R(1), std::numeric_limits<Int>::max()), R(1)));
  EXPECT_TRUE(same_bits(serv_power(R(-1), -std::numeric_limits<Int>::max()), R(-1)));
}

TYPED_TEST(ServiceMath, PowersOfTwoAreExact) {
  using R = TypeParam;
  for (int n = std::numeric_limits<R>::min_exponent; n < std::numeric_limits<R>::max_exponent; ++n) {
    // No square is formed beyond the one that is needed: it would overflow.
    ASSERT_TRUE(same_bits(serv_power(R(2), n), std::ldexp(R(1), n))) << n;
    ASSERT_TRUE(same_bits(serv_power(R(-2), n), std::ldexp(R(n % 2 != 0 ? -1 : 1), n))) << n;
  }
  EXPECT_EQ(serv_power(R(2), std::numeric_limits<R>::max_exponent), inf<R>);
  EXPECT_EQ(serv_power(R(2), -20000), 0);
}

TYPED_TEST(ServiceMath, PowersAreSquaredInTheOrderOfTheBits) {
  using R = TypeParam;
  Random random(62);
  const auto times = [](R x, R y) {
    const volatile R product = x * y;
    return R(product);
  };
  for (int count = 0; count < cases / 10; ++count) {
    const R x = random.divisor<R>();
    const R x2 = times(x, x), x4 = times(x2, x2), x8 = times(x4, x4);
    ASSERT_TRUE(same_bits(serv_power(x, 1), x));
    ASSERT_TRUE(same_bits(serv_power(x, 7), times(times(x, x2), x4)));
    ASSERT_TRUE(same_bits(serv_power(x, 11), times(times(x, x2), x8)));
    const volatile R inverse = 1 / x;
    ASSERT_TRUE(same_bits(serv_power(x, -11), serv_power(R(inverse), 11)));
  }
}

TYPED_TEST(ServiceMath, TheHeaderSaysTheSame) {
  using R = TypeParam;
  Random random(63);
  for (int count = 0; count < cases / 10; ++count) {
    const R x = of_size<R>(random, -40, 40), y = of_size<R>(random, -40, 40);
    const Int n = random.integer(-10, 10);
    ASSERT_TRUE(same_bits(sign(x, y), serv_sign(x, y)));
    ASSERT_EQ(truncated(x), serv_int(x));
    ASSERT_TRUE(same_bits(power(x, n), serv_power(x, n)));
  }
}

/// hypot from the C library's own operations on exponents, where it is defined by scaled squares.
double scaled_hypotenuse(double a, double b, int scale) {
  const volatile double x = std::ldexp(a, scale), y = std::ldexp(b, scale), xx = x * x, yy = y * y, sum = xx + yy;
  return std::sqrt(double(sum));
}

/// The exponents of a and b lie this far apart, counted on the upper halves of the words.
bool is_negligible_beside(double a, double b) {
  const auto high = [](double x) { return std::int64_t(std::bit_cast<std::uint64_t>(std::abs(x)) >> 32); };
  return std::abs(high(a) - high(b)) > 0x3A00000;
}

TEST(Hypotenuse, IsTheRootOfTheSquaresInTheModerateRange) {
  Random random(64);
  NumberSource<double> source(random, -509, 509);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const double a = source.next(), b = source.next();
    const double expected =
        a == 0 || b == 0 || is_negligible_beside(a, b) ? std::abs(a) + std::abs(b) : scaled_hypotenuse(a, b, 0);
    ASSERT_TRUE(same_bits(nuv_serv_hypot(a, b), expected)) << a << ", " << b;
  }
}

TEST(Hypotenuse, ScalesLargeNumbers) {
  Random random(65);
  for (int count = 0; count < cases; ++count) {
    const int size = random.integer(510, 1022);
    const double a = of_size<double>(random, size, size), b = of_size<double>(random, size - 20, size);
    const double s = scaled_hypotenuse(a, b, -767);
    ASSERT_TRUE(same_bits(nuv_serv_hypot(a, b), std::ldexp(s, 767))) << a << ", " << b;
    ASSERT_TRUE(same_bits(nuv_serv_hypot(b, a), std::ldexp(s, 767))) << a << ", " << b;
  }
  // Squares of 2^510 are still in range; those a little larger are, too, but the rule does not ask.
  EXPECT_EQ(nuv_serv_hypot(0x3p510, 0x4p510), 0x5p510);
  EXPECT_EQ(nuv_serv_hypot(0x3p1020, 0x4p1020), 0x5p1020);
}

TEST(Hypotenuse, KeepsTheMantissaOfAResultOutOfRange) {
  const double largest = std::numeric_limits<double>::max();
  int infinities = 0, others = 0;
  for (int exponent = 0; exponent < 56; ++exponent) {
    for (const double a : {largest, 0x1.8p1023}) {
      const double b = std::ldexp(a, -exponent);
      const double s = scaled_hypotenuse(a, b, -767);
      const std::uint64_t bits = std::bit_cast<std::uint64_t>(s) + (std::uint64_t{0x2FF} << 52);
      const double result = nuv_serv_hypot(a, b);
      EXPECT_TRUE(same_bits(std::bit_cast<std::uint64_t>(result) | std::uint64_t{std::isnan(result)} << 51,
                            bits | std::uint64_t{std::isnan(result)} << 51))
          << a << ", " << b;
      if (s < 0x1p257) {
        EXPECT_EQ(result, std::ldexp(s, 767));
      } else if (s == 0x1p257) {
        EXPECT_EQ(result, inf<double>);
        ++infinities;
      } else {
        EXPECT_TRUE(std::isnan(result)) << a << ", " << b;
        ++others;
      }
    }
  }
  EXPECT_GT(infinities, 0);
  EXPECT_GT(others, 10);
}

TEST(Hypotenuse, ScalesSmallNumbersAndCutsOffSubnormalResults) {
  Random random(66);
  int subnormal = 0;
  for (int count = 0; count < cases; ++count) {
    const int size = count % 2 == 0 ? random.integer(-1074, -1010) : random.integer(-1074, -510);
    const double a = of_size<double>(random, size, size), b = of_size<double>(random, size, std::min(size + 50, -460));
    if (a == 0 || b == 0 || is_negligible_beside(a, b)) continue;
    const double s = scaled_hypotenuse(a, b, 767);
    const bool is_normal = s >= 0x1p-255;
    const double expected = is_normal ? std::ldexp(s, -767) : std::ldexp(std::floor(std::ldexp(s, 307)), -1074);
    ASSERT_TRUE(same_bits(nuv_serv_hypot(a, b), expected)) << std::hexfloat << a << ", " << b;
    ASSERT_TRUE(same_bits(nuv_serv_hypot(b, a), expected)) << std::hexfloat << a << ", " << b;
    subnormal += !is_normal;
  }
  EXPECT_GT(subnormal, cases / 20);
}

TEST(Hypotenuse, OfSubnormalNumbers) {
  const double least = std::numeric_limits<double>::denorm_min();
  EXPECT_EQ(nuv_serv_hypot(3 * least, 4 * least), 5 * least);
  EXPECT_EQ(nuv_serv_hypot(least, least), least);              // 1.41 cut off
  EXPECT_EQ(nuv_serv_hypot(2 * least, 2 * least), 2 * least);  // 2.83
  // The mantissa in the lower word, in the upper one, and across both.
  for (const double unit : {0x1p-1074, 0x1p-1047, 0x1p-1042, 0x1p-1041, 0x1p-1030, 0x1p-1025, 0x1p-1022, 0x1p-520}) {
    EXPECT_EQ(nuv_serv_hypot(-3 * unit, 4 * unit), 5 * unit) << std::hexfloat << unit;
    EXPECT_EQ(nuv_serv_hypot(12 * unit, -5 * unit), 13 * unit) << std::hexfloat << unit;
  }
}

TEST(Hypotenuse, OfInfinityAndNaN) {
  const double infinity = inf<double>, none = nan<double>;
  for (const double other : {0.0, 1.0, -infinity, none, -none, 1e300}) {
    for (const double big : {infinity, -infinity}) {
      EXPECT_EQ(nuv_serv_hypot(big, other), infinity) << other;
      EXPECT_EQ(nuv_serv_hypot(other, big), infinity) << other;
    }
  }
  for (const double other : {0.0, 1.0, 1e300, 1e-320, none}) {
    EXPECT_TRUE(std::isnan(nuv_serv_hypot(none, other))) << other;
    EXPECT_TRUE(std::isnan(nuv_serv_hypot(other, none))) << other;
  }
}

TEST(Hypotenuse, AddsWhatIsNegligible) {
  EXPECT_TRUE(same_bits(nuv_serv_hypot(3, 4), 5.0));
  EXPECT_TRUE(same_bits(nuv_serv_hypot(-0.0, -0.0), 0.0));
  EXPECT_TRUE(same_bits(nuv_serv_hypot(0, -7), 7.0));
  EXPECT_TRUE(same_bits(nuv_serv_hypot(-0x1p-1074, 0), 0x1p-1074));
  EXPECT_TRUE(same_bits(nuv_serv_hypot(1, 0x1p-60), 1.0));
  EXPECT_TRUE(same_bits(nuv_serv_hypot(0x1p1023, 0x1p-1074), 0x1p1023));
  // The sum of the magnitudes, not the larger one: where the processor rounds upwards they differ.
  std::fesetround(FE_UPWARD);
  const double sum = nuv_serv_hypot(-1, 0x1p-60);
  std::fesetround(FE_TONEAREST);
  EXPECT_TRUE(same_bits(sum, std::nextafter(1.0, 2.0)));
}

// With u = eps / 2 the sum of two squares is off by 2 u, its root by 2 u.
TEST(Hypotenuse, IsNearTheExactOne) {
  Random random(67);
  Worst error;
  NumberSource<double> source(random, -1020, 1021);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const double a = source.next(), b = source.next();
    error.note(error_of(nuv_serv_hypot(a, b), root(squared(a) + squared(b))), a, b);
  }
  EXPECT_TRUE(error.is_within(1));
}

TYPED_TEST(ServiceMath, ModulusIsTheHypotenuse) {
  using R = TypeParam;
  Random random(68);
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R>);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R re = source.next(), im = source.next();
    const R expected = R(nuv_serv_hypot(re, im));
    ASSERT_TRUE(same_bits(serv_abs(std::complex<R>(re, im)), expected)) << re << ", " << im;
  }
  EXPECT_EQ(serv_abs(std::complex<R>(inf<R>, nan<R>)), inf<R>);
  EXPECT_EQ(serv_abs(std::complex<R>(nan<R>, -inf<R>)), inf<R>);
  EXPECT_TRUE(std::isnan(serv_abs(std::complex<R>(nan<R>, 1))));
}

TEST(Modulus, OfFloatsIsRoundedOnce) {
  const float largest = std::numeric_limits<float>::max(), least = std::numeric_limits<float>::denorm_min();
  EXPECT_EQ(serv_abs(std::complex<float>(largest, largest)), inf<float>);
  EXPECT_EQ(serv_abs(std::complex<float>(least, least)), least);
  EXPECT_EQ(serv_abs(std::complex<float>(2 * least, 2 * least)), 3 * least);  // 2.83, rounded
}

template <RealScalar R>
void expect_root(R re, R im, R expected_re, R expected_im) {
  const std::complex<R> found = serv_root(std::complex<R>(re, im));
  EXPECT_TRUE(same_bits(found, std::complex<R>(expected_re, expected_im)))
      << "root of " << re << " + " << im << " i is " << found;
}

TYPED_TEST(ServiceMath, RootsOnTheAxes) {
  using R = TypeParam;
  for (const R zero : {R(0), R(-0.0)}) {
    expect_root<R>(zero, 0, 0, 0);
    expect_root<R>(zero, R(-0.0), 0, 0);
    expect_root<R>(zero, 8, 2, 2);
    expect_root<R>(zero, -8, 2, -2);
  }
  expect_root<R>(4, 0, 2, 0);
  expect_root<R>(4, R(-0.0), 2, R(-0.0));
  expect_root<R>(-4, 0, 0, 2);
  expect_root<R>(-4, R(-0.0), R(-0.0), 2);  // +2i on both sides of the cut
  expect_root<R>(3, 4, 2, 1);
  expect_root<R>(3, -4, 2, -1);
  expect_root<R>(-3, 4, 1, 2);
  expect_root<R>(-3, -4, 1, -2);
}

// With u = eps / 2: |z| is off by 2 u, its sum with |Re z| by 3 u, the root by 2.5 u, the quotient by it by 3.5 u; of
// floats both parts are computed in double precision and rounded once.
TYPED_TEST(ServiceMath, RootsAreNearTheExactOnes) {
  using R = TypeParam;
  Random random(69);
  Worst real_error, imaginary_error;
  const bool is_double = std::same_as<R, double>;
  NumberSource<R> source(random, is_double ? -1020 : least_exponent<R>, is_double ? 1021 : largest_exponent<R>);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R re = source.next(), im = source.next();
    const std::complex<R> found = serv_root(std::complex<R>(re, im));
    const Quad m = root(squared(re) + squared(im));
    const Quad t = root((m + magnitude(Quad(re))) / 2), quotient = t == 0 ? 0 : im / (2 * t);
    const Quad turned = im < 0 ? -t : t;
    real_error.note(error_of(found.real(), re > 0 ? t : magnitude(quotient)), re, im);
    imaginary_error.note(error_of(found.imag(), re > 0 ? quotient : turned), re, im);
    ASSERT_FALSE(std::signbit(found.real()) && found.real() != 0) << re << ", " << im;
  }
  EXPECT_TRUE(real_error.is_within(is_double ? 1.75 : 0.50001));
  EXPECT_TRUE(imaginary_error.is_within(is_double ? 1.75 : 0.50001));
}

TEST(PrincipalRoot, TakesItsPartsByValue) {
  double re = guard<double>(), im = re;
  nuv_serv_sqrt(&re, &im, -3.0, -4.0);
  EXPECT_TRUE(same_bits(re, 1.0) && same_bits(im, -2.0));
  nuv_serv_sqrt(&re, &im, re, im);
  const std::complex<double> expected = serv_root(std::complex<double>(1, -2));
  EXPECT_TRUE(same_bits(std::complex<double>(re, im), expected));
}

TEST(PrincipalRoot, MayWriteOverItsArgument) {
  std::complex<double> z(-3, 4);
  nuv_serv_z_sqrt(&z, &z);
  EXPECT_EQ(z, std::complex<double>(1, 2));
  std::complex<float> c(-3, 4);
  nuv_serv_c_sqrt(&c, &c);
  EXPECT_EQ(c, std::complex<float>(1, 2));
}

TEST(Cosine, IsTheWideOneRounded) {
  Random random(70);
  for (int count = 0; count < cases; ++count) {
    const float x = of_size<float>(random, -20, 20);
    ASSERT_TRUE(same_bits(nuv_serv_s_cos(&x), float(std::cos(double(x))))) << x;
  }
  const float zero = -0.0F, infinity = inf<float>;
  EXPECT_EQ(nuv_serv_s_cos(&zero), 1);
  EXPECT_TRUE(std::isnan(nuv_serv_s_cos(&infinity)));
}

}  // namespace
}  // namespace nuv::test
