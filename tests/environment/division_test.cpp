// Complex division: the real and the complex members against the formula itself and against exact quotients.

#include "environment/quad.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <class R>
class Division : public testing::Test {};
TYPED_TEST_SUITE(Division, RealPrecisions, PrecisionLetter);

template <RealScalar R>
struct Ratio {
  R p, q;
};

template <RealScalar R>
Ratio<R> real_member(R a, R b, R c, R d) {
  Ratio<R> ratio{guard<R>(), guard<R>()};
  routine_call::ladiv(a, b, c, d, ratio.p, ratio.q);
  return ratio;
}

/// Bit by bit, but any NaN for any other.
template <RealScalar R>
bool alike(R x, R y) {
  return same_bits(x, y) || (std::isnan(x) && std::isnan(y));
}

template <RealScalar R>
Ratio<R> by_real_part(R a, R b, R c, R d) {
  const volatile R e = d / c, de = d * e, f = c + de, be = b * e, ae = a * e, re = a + be, im = b - ae;
  return {re / f, im / f};
}

template <RealScalar R>
Ratio<R> by_imaginary_part(R a, R b, R c, R d) {
  const volatile R e = c / d, ce = c * e, f = d + ce, be = b * e, ae = a * e, re = b + ae, im = be - a;
  return {re / f, im / f};
}

template <RealScalar R>
void expect_formula(R a, R b, R c, R d) {
  const Ratio<R> expected = std::abs(c) > std::abs(d) ? by_real_part(a, b, c, d) : by_imaginary_part(a, b, c, d);
  const Ratio<R> ratio = real_member(a, b, c, d);
  const std::complex<R> quotient = routine_call::ladiv(std::complex<R>(a, b), std::complex<R>(c, d));
  ASSERT_TRUE(alike(ratio.p, expected.p) && alike(ratio.q, expected.q)) << a << " " << b << " " << c << " " << d;
  ASSERT_TRUE(alike(quotient.real(), expected.p) && alike(quotient.imag(), expected.q))
      << a << " " << b << " " << c << " " << d;
}

TYPED_TEST(Division, IsTheFormula) {
  using R = TypeParam;
  Random random(21);
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R>);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R a = source.next(), b = source.next(), c = source.next(), d = source.next();
    expect_formula(a, b, c, d);
  }
}

TYPED_TEST(Division, IsTheFormulaForSpecialNumbers) {
  using R = TypeParam;
  using Limits = std::numeric_limits<R>;
  const R numbers[] = {0,
                       R(-0.0),
                       1,
                       -2,
                       Limits::max(),
                       -Limits::denorm_min(),
                       Limits::infinity(),
                       -Limits::infinity(),
                       Limits::quiet_NaN()};
  for (const R a : numbers) {
    for (const R b : numbers) {
      for (const R c : numbers) {
        for (const R d : numbers) expect_formula(a, b, c, d);
      }
    }
  }
}

TYPED_TEST(Division, TakesTheImaginaryPartWhereBothAreEqual) {
  using R = TypeParam;
  // (1 + i) / (1 - i) = i; the other formula has +0 for the real part.
  const Ratio<R> ratio = real_member(R(1), R(1), R(1), R(-1));
  EXPECT_TRUE(same_bits(ratio.p, R(-0.0)));
  EXPECT_TRUE(same_bits(ratio.q, R(1)));
  EXPECT_TRUE(same_bits(by_real_part(R(1), R(1), R(1), R(-1)).p, R(0)));
}

// With u = eps / 2, in magnitudes and with nothing out of range: numerators are off by u and by 2 u of b d/c, which is
// at most sqrt(1/2) of the whole, the denominator by 2 u, the quotient by u.
TYPED_TEST(Division, IsNearTheExactQuotient) {
  using R = TypeParam;
  using C = std::complex<R>;
  Random random(23);
  Worst error;
  const int limit = std::ilogb(std::numeric_limits<R>::max()) / 8;
  NumberSource<R> source(random, -limit, limit);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const C x(source.next(), source.next()), y(source.next(), source.next());
    if (y == C(0) || x == C(0)) continue;
    const QuadComplex exact = QuadComplex(x) * conjugated(QuadComplex(y)) / (squared(y.real()) + squared(y.imag()));
    error.note(error_of(routine_call::ladiv(x, y), exact), x, y);
  }
  EXPECT_TRUE(error.is_within(2.75));
}

TYPED_TEST(Division, MayWriteOverItsOperands) {
  using R = TypeParam;
  using C = std::complex<R>;
  C x(1, 2), y(3, 4);
  const C expected = routine_call::ladiv(x, y);
  C z = x;
  if constexpr (std::same_as<R, float>) {
    nuv_lapack_cladiv(&z, &z, &y);
    nuv_lapack_cladiv(&y, &x, &y);
  } else {
    nuv_lapack_zladiv(&z, &z, &y);
    nuv_lapack_zladiv(&y, &x, &y);
  }
  EXPECT_EQ(z, expected);
  EXPECT_EQ(y, expected);
}

}  // namespace
}  // namespace nuv::test
