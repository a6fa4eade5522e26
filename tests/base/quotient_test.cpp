// Quotients, complex ones above all.

#include "base/quotient.hpp"

#include <cmath>
#include <limits>

#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class R>
class Quotient : public testing::Test {
 protected:
  static constexpr R inf = std::numeric_limits<R>::infinity();
};
TYPED_TEST_SUITE(Quotient, RealPrecisions, PrecisionLetter);

TYPED_TEST(Quotient, OfRealsIsTheirDivision) {
  using R = TypeParam;
  for (const R x : {R(1), R(-7), R(0), R(1e-30)}) {
    for (const R y : {R(3), R(-0.1), R(49), std::numeric_limits<R>::denorm_min()}) {
      const volatile R expected = x / y;
      EXPECT_TRUE(same_bits(quotient(x, y), R(expected))) << x << " / " << y;
    }
  }
}

TYPED_TEST(Quotient, IsNearToTheExactOne) {
  using R = TypeParam;
  using C = std::complex<R>;
  Random random(7);
  for (int count = 0; count < 20000; ++count) {
    // Parts of very different size, each way round.
    const auto scaled = [&] {
      const R re = std::ldexp(R(random.real()), random.integer(-20, 20));
      return C(re, std::ldexp(R(random.real()), random.integer(-20, 20)));
    };
    const C x = scaled(), y = scaled();
    const Wide<C> a = wide(x), b = wide(y);
    const Wide<C> exact = a * std::conj(b) / std::norm(b);
    ASSERT_LT(std::abs(wide(quotient(x, y)) - exact), 8 * epsilon<R> * std::abs(exact)) << x << " / " << y;
  }
}

/// The formula with c, the real part of the divisor, in the ratio's denominator.
template <class R>
std::complex<R> by_real_part(R a, R b, R c, R d) {
  const volatile R e = d / c, de = d * e, f = c + de, be = b * e, ae = a * e;
  return {(a + be) / f, (b - ae) / f};
}

/// The formula with d, the imaginary part, there.
template <class R>
std::complex<R> by_imaginary_part(R a, R b, R c, R d) {
  const volatile R e = c / d, ce = c * e, f = d + ce, be = b * e, ae = a * e;
  return {(b + ae) / f, (be - a) / f};
}

TYPED_TEST(Quotient, FollowsTheLargerPartOfTheDivisor) {
  using R = TypeParam;
  using C = std::complex<R>;
  Random random(9);
  int distinct = 0;
  for (int count = 0; count < 2000; ++count) {
    const R a = R(random.real()), b = R(random.real()), c = R(random.real()), d = R(random.real());
    const C by_real = by_real_part(a, b, c, d), by_imaginary = by_imaginary_part(a, b, c, d);
    const C q = quotient(C(a, b), C(c, d));
    ASSERT_TRUE(same_bits(q, std::abs(c) > std::abs(d) ? by_real : by_imaginary)) << C(a, b) << " / " << C(c, d);
    distinct += !same_bits(by_real, by_imaginary);
  }
  EXPECT_GT(distinct, 1000);
}

TYPED_TEST(Quotient, TakesTheImaginaryPartWhereBothAreEqual) {
  using R = TypeParam;
  using C = std::complex<R>;
  // The two formulas differ here in the sign of a zero.
  for (const R t : {R(1), R(3), R(-1)}) {
    const C by_imaginary = by_imaginary_part(t, t, R(1), R(-1)), by_real = by_real_part(t, t, R(1), R(-1));
    ASSERT_FALSE(same_bits(by_imaginary, by_real));
    EXPECT_TRUE(same_bits(quotient(C(t, t), C(1, -1)), by_imaginary));
    EXPECT_TRUE(std::signbit(quotient(C(t, t), C(1, -1)).real()));
  }
}

TYPED_TEST(Quotient, FormsNoSquareOfAPart) {
  using R = TypeParam;
  using C = std::complex<R>;
  const R large = std::numeric_limits<R>::max() / 4, small = std::numeric_limits<R>::min() * 4;
  for (const R size : {large, small}) {
    EXPECT_EQ(quotient(C(size, size), C(size, size)), C(1, 0));
    EXPECT_EQ(quotient(C(size, 0), C(0, size)), C(0, -1));
    EXPECT_EQ(quotient(C(0, size), C(size, 0)), C(0, 1));
  }
}

TYPED_TEST(Quotient, ScalesNothingElse) {
  using R = TypeParam;
  using C = std::complex<R>;
  // The reciprocal of a subnormal number overflows, and nothing is done about it.
  const C q = quotient(C(1, 0), C(std::numeric_limits<R>::denorm_min(), 0));
  EXPECT_EQ(q.real(), this->inf);
  const C none = quotient(C(1, 1), C(0, 0));
  EXPECT_TRUE(std::isnan(none.real()));
  EXPECT_TRUE(std::isnan(none.imag()));
}

TYPED_TEST(Quotient, OfARealDivisorIsThatOfTheParts) {
  using R = TypeParam;
  using C = std::complex<R>;
  Random random(10);
  for (int count = 0; count < 1000; ++count) {
    const C x = random.scalar<C>();
    const R y = random.divisor<R>();
    EXPECT_EQ(quotient(x, C(y, 0)), C(x.real() / y, x.imag() / y));
    EXPECT_EQ(quotient(x, C(0, y)), C(x.imag() / y, -x.real() / y));
  }
}

}  // namespace
}  // namespace nuv::test
