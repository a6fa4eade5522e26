// Plane rotations: exact cases, the choice of signs, and nearness to the exact rotation over the whole range.

#include "environment/machine_constants.hpp"
#include "environment/quad.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
struct Rotation {
  Real<T> cs = guard<Real<T>>();
  T sn = guard<T>(), r = guard<T>();

  Rotation(T f, T g) { routine_call::lartg(f, g, cs, sn, r); }
  Rotation(Real<T> cs_, T sn_, T r_) : cs(cs_), sn(sn_), r(r_) {}
};

template <Scalar T>
testing::AssertionResult same(const Rotation<T>& x, const Rotation<T>& y) {
  return testing::AssertionResult(same_bits(x.cs, y.cs) && same_bits(x.sn, y.sn) && same_bits(x.r, y.r))
         << x.cs << ", " << x.sn << ", " << x.r << " and " << y.cs << ", " << y.sn << ", " << y.r;
}

template <class R>
class RealRotation : public testing::Test {};
TYPED_TEST_SUITE(RealRotation, RealPrecisions, PrecisionLetter);

template <class T>
class ComplexRotation : public testing::Test {};
TYPED_TEST_SUITE(ComplexRotation, ComplexPrecisions, PrecisionLetter);

template <RealScalar R>
std::vector<R> sizes() {
  using Limits = std::numeric_limits<R>;
  using Constants = Machine<R>;
  return {1,
          -1,
          R(0.3),
          Limits::max(),
          -Limits::max(),
          Limits::min(),
          Limits::denorm_min(),
          -Limits::denorm_min(),
          Constants::safmx2,
          std::nextafter(Constants::safmx2, R(0)),
          Constants::safmn2,
          std::nextafter(Constants::safmn2, R(1))};
}

TYPED_TEST(RealRotation, NearZeroes) {
  using R = TypeParam;
  for (const R zero : {R(0), R(-0.0)}) {
    for (const R other_zero : {R(0), R(-0.0)}) {
      EXPECT_TRUE(same(Rotation<R>(zero, other_zero), Rotation<R>(1, 0, zero)));
    }
    for (const R size : sizes<R>()) {
      EXPECT_TRUE(same(Rotation<R>(size, zero), Rotation<R>(1, 0, size))) << size;
      EXPECT_TRUE(same(Rotation<R>(zero, size), Rotation<R>(0, 1, size))) << size;
    }
  }
}

TYPED_TEST(RealRotation, KnownTriangles) {
  using R = TypeParam;
  EXPECT_TRUE(same(Rotation<R>(-3, 4), Rotation<R>(R(-0.6), R(0.8), 5)));
  EXPECT_TRUE(same(Rotation<R>(-4, 3), Rotation<R>(R(0.8), R(-0.6), -5)));
  EXPECT_TRUE(same(Rotation<R>(4, -3), Rotation<R>(R(0.8), R(-0.6), 5)));
  EXPECT_TRUE(same(Rotation<R>(-4, -3), Rotation<R>(R(0.8), R(0.6), -5)));
  EXPECT_TRUE(same(Rotation<R>(-3, -4), Rotation<R>(R(-0.6), R(-0.8), 5)));
  // The larger of two equal magnitudes is neither: cs keeps the sign of f.
  const R half_root = 1 / std::sqrt(R(2));
  EXPECT_TRUE(same(Rotation<R>(-1, 1), Rotation<R>(-half_root, half_root, std::sqrt(R(2)))));
}

TYPED_TEST(RealRotation, LeavesNoNegativeZero) {
  using R = TypeParam;
  // g / r vanishes with a sign, and the negation of either zero is +0.
  const R large = std::numeric_limits<R>::max() / 2, small = std::numeric_limits<R>::min();
  EXPECT_TRUE(same(Rotation<R>(-large, small), Rotation<R>(1, 0, -large)));
  EXPECT_TRUE(same(Rotation<R>(-large, -small), Rotation<R>(1, 0, -large)));
  EXPECT_TRUE(same(Rotation<R>(large, -small), Rotation<R>(1, R(-0.0), large)));
}

TYPED_TEST(RealRotation, ScalesWhatIsLargeOrSmall) {
  using R = TypeParam;
  const bool is_double = std::same_as<R, double>;
  for (const int exponent :
       {0, is_double ? 500 : 60, is_double ? 1000 : 110, is_double ? -500 : -60, is_double ? -1000 : -110}) {
    const R size = std::ldexp(R(1), exponent);
    // The root of a power of two times two is rounded alike at every scale.
    EXPECT_TRUE(same_bits(Rotation<R>(size, size).r, std::ldexp(std::sqrt(R(2)), exponent))) << exponent;
    EXPECT_TRUE(same_bits(Rotation<R>(size, size).cs, 1 / std::sqrt(R(2)))) << exponent;
    EXPECT_TRUE(same(Rotation<R>(-3 * size, 4 * size), Rotation<R>(R(-0.6), R(0.8), 5 * size))) << exponent;
  }
}

TYPED_TEST(RealRotation, IsTheFormulaInTheModerateRange) {
  using R = TypeParam;
  Random random(3);
  const int limit = std::ilogb(Machine<R>::safmx2) - 1;
  for (int count = 0; count < cases; ++count) {
    const R f = of_size<R>(random, -limit, limit), g = of_size<R>(random, -limit, limit);
    const volatile R ff = f * f, gg = g * g, sum = ff + gg, r = std::sqrt(sum), cs = f / r, sn = g / r;
    const bool turned = std::abs(f) > std::abs(g) && f < 0;
    const Rotation<R> expected = turned ? Rotation<R>(0 - cs, 0 - sn, 0 - r) : Rotation<R>(cs, sn, r);
    ASSERT_TRUE(same(Rotation<R>(f, g), expected)) << f << ", " << g;
  }
}

// With u = eps / 2: the root of a sum of two squares is off by 2 u, and a quotient by it by 3 u.
TYPED_TEST(RealRotation, IsNearTheExactOne) {
  using R = TypeParam;
  Random random(1);
  Worst cs_error, sn_error, r_error;
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R>);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R f = source.next(), g = source.next();
    if (f == 0 || g == 0) continue;
    const Rotation<R> rotation(f, g);
    Quad h = root(squared(f) + squared(g));
    if (std::abs(f) > std::abs(g)) {
      ASSERT_GT(rotation.cs, 0) << f << ", " << g;
      if (f < 0) h = -h;
    } else {
      ASSERT_TRUE(rotation.cs == 0 || (rotation.cs < 0) == (f < 0)) << f << ", " << g;
    }
    cs_error.note(error_of(rotation.cs, f / h), f, g);
    sn_error.note(error_of(rotation.sn, g / h), f, g);
    r_error.note(error_of(rotation.r, h), f, g);
  }
  EXPECT_TRUE(cs_error.is_within(1.5));
  EXPECT_TRUE(sn_error.is_within(1.5));
  EXPECT_TRUE(r_error.is_within(1));
}

/// Of the rotation and its opposite the one that leaves a number that is not negative.
TYPED_TEST(RealRotation, WithoutNegativeResult) {
  using R = TypeParam;
  const auto found = [](R f, R g) {
    Rotation<R> rotation(guard<R>(), guard<R>(), guard<R>());
    routine_call::lartgp(f, g, rotation.cs, rotation.sn, rotation.r);
    return rotation;
  };
  EXPECT_TRUE(same(found(-4, 3), Rotation<R>(R(-0.8), R(0.6), 5)));
  EXPECT_TRUE(same(found(-4, -3), Rotation<R>(R(-0.8), R(-0.6), 5)));
  EXPECT_TRUE(same(found(4, -3), Rotation<R>(R(0.8), R(-0.6), 5)));
  EXPECT_TRUE(same(found(-3, 4), Rotation<R>(R(-0.6), R(0.8), 5)));
  EXPECT_TRUE(same(found(-2, 0), Rotation<R>(-1, 0, 2)));
  EXPECT_TRUE(same(found(2, 0), Rotation<R>(1, 0, 2)));
  EXPECT_TRUE(same(found(0, -2), Rotation<R>(0, -1, 2)));
  EXPECT_TRUE(same(found(0, 2), Rotation<R>(0, 1, 2)));
  EXPECT_TRUE(same(found(0, 0), Rotation<R>(1, 0, 0)));
  for (const R f : sizes<R>()) {
    for (const R g : sizes<R>()) {
      const Rotation<R> usual(f, g), rotation = found(f, g);
      const R sign = usual.r < 0 ? R(-1) : R(1);
      EXPECT_TRUE(rotation.cs == sign * usual.cs && rotation.sn == sign * usual.sn && rotation.r == sign * usual.r)
          << f << ", " << g;
      EXPECT_GT(rotation.r, 0);
    }
  }
}

TYPED_TEST(ComplexRotation, WithoutSecondComponentIsNone) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R re : sizes<R>()) {
    for (const R im : sizes<R>()) {
      const Rotation<T> rotation(T(re, im), T(0, 0));
      EXPECT_EQ(rotation.cs, 1);
      EXPECT_EQ(rotation.sn, T(0));
      // The scaling of a large part may take a small one out of range.
      if (std::max(std::abs(re), std::abs(im)) < Machine<R>::safmx2) EXPECT_EQ(rotation.r, T(re, im));
      else EXPECT_LE(error_of(rotation.r, QuadComplex(T(re, im))), 0.5);
    }
  }
  // Below the scaling range the answer is given without arithmetic.
  const R small = Machine<R>::safmn2;
  EXPECT_TRUE(same(Rotation<T>(T(-small, 0), T(0, 0)), Rotation<T>(1, T(0, 0), T(-small, 0))));
  EXPECT_TRUE(same(Rotation<T>(T(R(-0.0), 0), T(R(-0.0), R(-0.0))), Rotation<T>(1, T(0, 0), T(R(-0.0), 0))));
}

TYPED_TEST(ComplexRotation, WithoutFirstComponentExchanges) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R size : sizes<R>()) {
    if (std::abs(size) > std::numeric_limits<R>::max() / 8 || std::abs(size) < std::numeric_limits<R>::min() * 8)
      continue;
    // 3-4-5: the scaled parts give ratios without error. The quotient by |g| is (w / w) sqrt(1 + (3/4)^2) w.
    EXPECT_TRUE(
        same(Rotation<T>(T(0), T(4 * size, 0)), Rotation<T>(0, T(size < 0 ? -1 : 1, 0), T(4 * std::abs(size), 0))))
        << size;
    EXPECT_TRUE(
        same(Rotation<T>(T(0), T(0, 4 * size)), Rotation<T>(0, T(0, size < 0 ? 1 : -1), T(4 * std::abs(size), 0))))
        << size;
  }
  const Rotation<T> rotation(T(0), T(3, 4));
  EXPECT_TRUE(same(rotation, Rotation<T>(0, T(R(0.6), R(-0.8)), T(5, 0))));
  // -0 / |g| negated is +0.
  EXPECT_FALSE(std::signbit(Rotation<T>(T(0), T(1, 0)).sn.imag()));
  EXPECT_FALSE(std::signbit(Rotation<T>(T(0), T(1, R(-0.0))).sn.imag()));
}

TYPED_TEST(ComplexRotation, KeepsItsCosineRealAndPositive) {
  using T = TypeParam;
  using R = Real<T>;
  const R half_root = 1 / std::sqrt(R(2));
  const Rotation<T> rotation(T(0, -3), T(3, 0));
  EXPECT_TRUE(same_bits(rotation.cs, half_root));
  EXPECT_EQ(rotation.r.real(), 0);
  EXPECT_NEAR(rotation.r.imag(), -3 * std::sqrt(R(2)), 4 * epsilon<T>);
  EXPECT_NEAR(rotation.sn.imag(), -half_root, 2 * epsilon<T>);
}

/// f, g and the errors against the exact rotation.
template <ComplexScalar T>
struct ComplexErrors {
  using R = Real<T>;

  Worst cs_error, sn_error, r_error;

  void note(T f, T g) {
    const Rotation<T> rotation(f, g);
    const Quad abs_f = magnitude(QuadComplex(f)), abs_g = magnitude(QuadComplex(g));
    if (abs_f == 0 && abs_g == 0) return;
    const Quad h = root(squared(abs_f) + squared(abs_g));
    const QuadComplex direction = abs_f == 0 ? QuadComplex(1) : QuadComplex(f) / abs_f;
    // Of a subnormal f that is not scaled the modulus is known to a unit in its last place.
    const Quad cs_unit = std::max(unit_of<R>(abs_f) / h, unit_of<R>(abs_f / h));
    cs_error.note(double(magnitude(rotation.cs - abs_f / h) / cs_unit), f, g);
    sn_error.note(error_of(rotation.sn, direction * conjugated(QuadComplex(g)) / h), f, g);
    r_error.note(error_of(rotation.r, direction * QuadComplex(h)), f, g);
  }

  // With u = eps / 2, in magnitudes: in the common case the squares are off by 2 u each and as much where a part
  // underflows, the root of 1 plus their quotient by 6 u, cs by 7 u, r by 7 u, sn by 7 + 5 + 3 + 3 u. Where f is
  // nothing beside g, r, the farthest, is a product of three numbers that are off by 5 u, 3 u and none, with 3 u for
  // each complex product and 2 u for what is neglected.
  void expect_small() const {
    EXPECT_TRUE(cs_error.is_within(3.5));
    EXPECT_TRUE(sn_error.is_within(9));
    EXPECT_TRUE(r_error.is_within(8));
  }
};

TYPED_TEST(ComplexRotation, IsNearTheExactOne) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(5);
  ComplexErrors<T> errors;
  // Up to where r, by the factor of four at most larger than a part, is finite.
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R> - 2);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R f_re = source.next(), f_im = source.next(), g_re = source.next(), g_im = source.next();
    errors.note(T(f_re, f_im), T(g_re, g_im));
  }
  errors.expect_small();
}

TYPED_TEST(ComplexRotation, IsNearTheExactOneWhereTheRulesChange) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(6);
  ComplexErrors<T> errors;
  const int scale = std::ilogb(Machine<R>::safmx2), rare = std::ilogb(Machine<R>::safe_min) / 2;
  for (int count = 0; count < cases; ++count) {
    // g at the scaling bounds, and f about as small beside it as the rule for the rare case says.
    const int g_size = random.pick(std::array{-scale, 0, scale, 2 * scale}) + random.integer(-2, 2);
    const int f_size = random.pick(std::array{g_size, g_size + rare, rare}) + random.integer(-2, 2);
    const auto number = [&](int size) {
      const int exponent = std::clamp(size, least_exponent<R>, largest_exponent<R> - 2);
      const R re = of_size<R>(random, exponent, exponent);
      return T(re, of_size<R>(random, exponent, exponent));
    };
    const T f = number(f_size);
    errors.note(f, number(g_size));
  }
  errors.expect_small();
}

}  // namespace
}  // namespace nuv::test
