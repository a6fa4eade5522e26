// What dqds is made of: transforms ?lasq5, ?lasq6, the choice of shifts ?lasq4, ?lasq4_internal, ?lazq4, and steps
// ?lasq3, ?lasq3_internal, ?lazq3.

#include <algorithm>
#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "svd/bidiagonal_matrices.hpp"

namespace nuv::test {
namespace {

template <class T>
class DqdsSteps : public testing::Test {
 protected:
  Random random{55};
};
TYPED_TEST_SUITE(DqdsSteps, RealPrecisions, PrecisionLetter);

/// Two qd arrays side by side.
template <RealScalar R>
struct QdPair {
  Int n;
  GuardedVector<R> z;

  explicit QdPair(Int n_) : n(n_), z(4 * n_) {}

  R& q(Int i, Int pp) { return z(4 * i - 3 + pp); }
  R& e(Int i, Int pp) { return z(4 * i - 1 + pp); }

  static QdPair random(Random& random, Int n) {
    QdPair pair(n);
    for (Int k = 1; k <= 4 * n; ++k) pair.z(k) = std::abs(random.divisor<R>());
    pair.z.seal();
    return pair;
  }
  std::vector<long double> squares(Int i0, Int n0, Int pp) {
    std::vector<long double> result;
    for (Int i = i0; i <= n0; ++i) {
      result.push_back(q(i, pp));
      if (i < n0) result.push_back(e(i, pp));
    }
    return result;
  }
};

/// What a transform tells.
template <RealScalar R>
struct Told {
  R dmin = 77, dmin1 = 77, dmin2 = 77, dn = 77, dnm1 = 77, dnm2 = 77;
};

template <RealScalar R>
Told<R> lasq5(QdPair<R>& Z, Int i0, Int n0, Int pp, R tau, bool ieee) {
  Told<R> t;
  routine_call::lasq5(i0, n0, Z.z.data(), pp, tau, t.dmin, t.dmin1, t.dmin2, t.dn, t.dnm1, t.dnm2, to_logical(ieee));
  EXPECT_TRUE(Z.z.unchanged_outside(4 * i0 - 3, 4 * n0));
  return t;
}

template <RealScalar R>
Told<R> lasq6(QdPair<R>& Z, Int i0, Int n0, Int pp) {
  Told<R> t;
  routine_call::lasq6(i0, n0, Z.z.data(), pp, t.dmin, t.dmin1, t.dmin2, t.dn, t.dnm1, t.dnm2);
  EXPECT_TRUE(Z.z.unchanged_outside(4 * i0 - 3, 4 * n0));
  return t;
}

/// The transform in a wider type, and what it should tell.
template <RealScalar R>
void expect_transformed(QdPair<R>& Z, QdPair<R> given, Int i0, Int n0, Int pp, R tau, const Told<R>& told) {
  const double tolerance = 8 * (n0 - i0 + 1) * double(epsilon<R>);
  const auto expect_near = [&](R value, long double exact) {
    EXPECT_LE(std::abs(value - exact), tolerance * std::abs(exact));
  };
  const Int out = 1 - pp;
  std::vector<long double> d(std::size_t(n0) + 1);
  d[std::size_t(i0)] = (long double)(given.q(i0, pp)) - tau;
  for (Int i = i0; i < n0; ++i) {
    const long double q = d[std::size_t(i)] + given.e(i, pp);
    expect_near(Z.q(i, out), q);
    expect_near(Z.e(i, out), given.q(i + 1, pp) * (given.e(i, pp) / q));
    d[std::size_t(i) + 1] = given.q(i + 1, pp) * (d[std::size_t(i)] / q) - tau;
  }
  expect_near(Z.q(n0, out), d[std::size_t(n0)]);
  expect_near(told.dn, d[std::size_t(n0)]);
  expect_near(told.dnm1, d[std::size_t(n0) - 1]);
  expect_near(told.dnm2, d[std::size_t(n0) - 2]);
  expect_near(told.dmin, *std::min_element(d.begin() + i0, d.begin() + n0 + 1));
  expect_near(told.dmin1, *std::min_element(d.begin() + i0, d.begin() + n0));
  expect_near(told.dmin2, *std::min_element(d.begin() + i0, d.begin() + n0 - 1));
  R least = given.q(i0 + 1, pp);
  for (Int i = i0; i <= n0 - 3; ++i) least = std::min(least, Z.e(i, out));
  EXPECT_EQ(Z.e(n0, out), least);
  for (Int i = i0; i <= n0; ++i) {
    EXPECT_EQ(Z.q(i, pp), given.q(i, pp));
    EXPECT_EQ(Z.e(i, pp), given.e(i, pp));
  }
}

TYPED_TEST(DqdsSteps, TransformsTheArray) {
  using R = TypeParam;
  for (const Int rows : {3, 4, 5, 10, 33}) {
    for (const Int pp : {0, 1}) {
      const Int i0 = 3, n0 = i0 + rows - 1;
      const auto given = QdPair<R>::random(this->random, n0 + 2);
      auto copy = given;
      const long double least = singular_values(copy.squares(i0, n0, pp), 1e-2000L).back();
      for (const bool ieee : {true, false}) {
        for (const R tau : {R(0), R(least * least / 2)}) {
          auto Z = given;
          const Told<R> told = lasq5(Z, i0, n0, pp, tau, ieee);
          EXPECT_GE(told.dmin, 0);
          expect_transformed(Z, given, i0, n0, pp, tau, told);
        }
      }
      auto Z = given;
      expect_transformed(Z, given, i0, n0, pp, R(0), lasq6(Z, i0, n0, pp));
    }
  }
}

TYPED_TEST(DqdsSteps, TransformsNothingWithLessThanThreeRows) {
  using R = TypeParam;
  for (const Int rows : {0, 1, 2}) {
    auto Z = QdPair<R>::random(this->random, 5);
    EXPECT_EQ(lasq5(Z, 2, 1 + rows, 0, R(0.1), false).dmin, 77);
    EXPECT_EQ(lasq6(Z, 2, 1 + rows, 0).dmin, 77);
    EXPECT_TRUE(Z.z.unchanged());
  }
}

TYPED_TEST(DqdsSteps, AShiftThatIsTooLargeEndsTheGuardedTransform) {
  using R = TypeParam;
  const Int i0 = 1, n0 = 7;
  auto Z = QdPair<R>::random(this->random, n0);
  const R q1 = Z.q(1, 0);
  Told<R> told = lasq5(Z, i0, n0, 0, R(2 * q1), false);
  EXPECT_EQ(told.dmin, -q1);
  EXPECT_EQ(told.dmin1, -q1);
  EXPECT_EQ(told.dn, 77);
  EXPECT_EQ(Z.e(1, 1), Z.z.sealed(4));
  told = lasq5(Z, i0, n0, 0, R(2 * q1), true);
  EXPECT_LE(told.dmin, -q1);
  EXPECT_NE(told.dn, 77);

  // The last row but one, the last but two, and the last.
  for (const Int row : {n0 - 2, n0 - 1, n0}) {
    auto late = QdPair<R>::random(this->random, n0);
    for (Int i = 1; i <= n0; ++i) late.q(i, 0) = i == row ? R(0.125) : R(8);
    for (Int i = 1; i < n0; ++i) late.e(i, 0) = R(1e-3);
    late.z.seal();
    told = lasq5(late, i0, n0, 0, R(1), false);
    EXPECT_LT(told.dmin, 0);
    EXPECT_NEAR(told.dmin, -0.875, 1e-3);
    EXPECT_EQ(told.dn == 77, row < n0);
    EXPECT_EQ(told.dmin1 > 0, row == n0);
  }
}

/// A shift that is the first element to the bit leaves a zero, by which nothing is divided.
TYPED_TEST(DqdsSteps, AZeroDoesNotEndTheTransform) {
  using R = TypeParam;
  auto Z = QdPair<R>::random(this->random, 7);
  const R tau = Z.q(1, 0);
  EXPECT_EQ(lasq5(Z, 1, 7, 0, tau, false).dmin, -tau);
  EXPECT_EQ(Z.q(1, 1), Z.e(1, 0));
  EXPECT_EQ(Z.e(1, 1), Z.q(2, 0));
}

/// An infinity leaves a NaN among the e alone.
TYPED_TEST(DqdsSteps, ANaNAmongTheSmallElementsIsSeen) {
  using R = TypeParam;
  auto Z = QdPair<R>::random(this->random, 7);
  Z.e(2, 0) = std::numeric_limits<R>::infinity();
  Z.z.seal();
  lasq5(Z, 1, 7, 0, R(0), false);
  EXPECT_TRUE(std::isnan(Z.e(2, 1)));
  EXPECT_TRUE(std::isnan(Z.e(7, 1)));
}

TYPED_TEST(DqdsSteps, ARowOfZerosBeginsABlockOfItsOwn) {
  using R = TypeParam;
  for (const Int row : {2, 4, 6}) {
    auto Z = QdPair<R>::random(this->random, 7);
    Z.q(row, 0) = 0;
    Z.e(row, 0) = 0;
    Z.e(row - 1, 0) = 0;
    Z.z.seal();
    const Told<R> told = lasq6(Z, 1, 7, 0);
    EXPECT_EQ(told.dmin, 0);
    EXPECT_EQ(Z.q(row, 1), 0);
    EXPECT_EQ(Z.e(row, 1), 0);
    double before = 0, after = 0;
    for (Int i = 1; i <= 7; ++i) {
      before += Z.q(i, 0) + (i < 7 ? Z.e(i, 0) : R(0));
      after += Z.q(i, 1) + (i < 7 ? Z.e(i, 1) : R(0));
    }
    EXPECT_NEAR(before, after, 50 * epsilon<R> * before);
  }
}

TYPED_TEST(DqdsSteps, TheSafeTransformKeepsQuotientsInRange) {
  using R = TypeParam;
  const int far = std::same_as<R, float> ? 70 : 600;
  const R huge = std::ldexp(R(1), far), tiny = std::ldexp(R(1), -far);
  for (const auto& [first, second] : {std::pair{huge, tiny}, {tiny, huge}}) {
    QdPair<R> Z(4);
    for (Int k = 1; k <= 16; ++k) Z.z(k) = 0;
    for (Int i = 1; i <= 4; ++i) {
      Z.q(i, 0) = i % 2 == 1 ? first : second;
      Z.e(i, 0) = Z.q(i, 0);
    }
    Z.z.seal();
    const auto given = Z;
    const Told<R> told = lasq6(Z, 1, 4, 0);
    auto copy = given;
    long double d = copy.q(1, 0);
    for (Int i = 1; i < 4; ++i) {
      const long double q = d + copy.e(i, 0), e = copy.q(i + 1, 0) * (copy.e(i, 0) / q);
      EXPECT_NEAR(double(Z.e(i, 1) / e), 1, 10 * epsilon<R>);
      d = copy.q(i + 1, 0) * (d / q);
    }
    EXPECT_NEAR(double(told.dn / d), 1, 10 * epsilon<R>);
  }
}

// ------------------------------------------------------------------------------------------------ choice of a shift

template <RealScalar R>
struct Choice {
  R tau = 99;
  Int ttype;
};

/// The array of all cases: rows 1 ... 6, of which the current set is pp.
template <RealScalar R>
QdPair<R> for_shifts(Int pp) {
  QdPair<R> Z(9);
  for (Int i = 1; i <= 9; ++i) {
    Z.q(i, pp) = R(7 - 0.5 * i);
    Z.e(i, pp) = R(0.25 - 0.01 * i);
    Z.q(i, 1 - pp) = R(8 - 0.25 * i);
    Z.e(i, 1 - pp) = R(0.5 - 0.02 * i);
  }
  Z.z.seal();
  return Z;
}

template <RealScalar R>
Choice<R> lasq4(QdPair<R>& Z, Int pp, Int deflated, const Told<R>& d, Int last_type, R& g) {
  Choice<R> choice{99, last_type};
  const Int n0 = 6;
  routine_call::lasq4_internal(1, n0, Z.z.data(), pp, n0 + deflated, d.dmin, d.dmin1, d.dmin2, d.dn, d.dnm1, d.dnm2,
                               choice.tau, choice.ttype, g);
  Choice<R> earlier{99, last_type};
  R other_g = 0.25;
  routine_call::lazq4(1, n0, Z.z.data(), pp, n0 + deflated, d.dmin, d.dmin1, d.dmin2, d.dn, d.dnm1, d.dnm2, earlier.tau,
                      earlier.ttype, other_g);
  EXPECT_EQ(choice.ttype, earlier.ttype);
  if (last_type != -6) {
    EXPECT_EQ(choice.tau, earlier.tau);
  }
  EXPECT_TRUE(Z.z.unchanged());
  return choice;
}

template <RealScalar R>
void expect_choice(QdPair<R>& Z, Int pp, Int deflated, const Told<R>& d, Int ttype, double tau) {
  R g = 0.25;
  const Choice<R> choice = lasq4(Z, pp, deflated, d, 0, g);
  EXPECT_EQ(choice.ttype, ttype);
  EXPECT_NEAR(choice.tau, tau, 20 * epsilon<R> * std::abs(tau)) << "case " << -ttype;
  EXPECT_EQ(g, R(0.25));
}

/// Sum over the rows above k, row i0 being the first, of products of e / q.
template <RealScalar R>
double length_above(QdPair<R>& Z, Int pp, Int k, double stop = 1e9) {
  double sum = 0, term = 1;
  for (Int i = k - 1; i >= 1; --i) {
    const double last = term;
    term *= double(Z.e(i, pp)) / Z.q(i, pp);
    sum += term;
    if (100 * std::max(term, last) < sum || stop < sum) break;
  }
  return sum;
}

TYPED_TEST(DqdsSteps, ChoosesShiftsCaseByCase) {
  using R = TypeParam;
  for (const Int pp : {0, 1}) {
    auto Z = for_shifts<R>(pp);
    const auto q = [&](Int i) { return double(Z.q(i, pp)); };
    const auto e = [&](Int i) { return double(Z.e(i, pp)); };
    const auto former_ratio = [&](Int i) { return double(Z.e(i, 1 - pp)) / Z.q(i + 1, 1 - pp); };
    const double b1 = std::sqrt(q(6) * e(5)), b2 = std::sqrt(q(5) * e(4)), a2 = q(5) + e(5);
    const auto by_vector = [](double d, double length) {
      return d * (1 - std::sqrt(1.05 * length)) / (1 + 1.05 * length);
    };
    // Members: dmin, dmin1, dmin2, dn, dn1, dn2.
    expect_choice(Z, pp, 0, {R(-0.5), 1, 1, 1, 1, 1}, -1, 0.5);
    expect_choice(Z, pp, 2, {R(0), 1, 1, 1, 1, 1}, -1, 0);

    // The two least d's are the last, with a third one far from them, and not so far.
    const double dn = 0.5, dn1 = 3;
    double gap2 = 0.75 * 40 - a2, gap1 = a2 - dn - b2 / gap2 * b2;
    expect_choice(Z, pp, 0, {R(dn), R(dn1), 40, R(dn), R(dn1), 50}, -2, std::max(dn - b1 / gap1 * b1, dn / 2));
    gap1 = a2 - dn - (b1 + b2);
    expect_choice(Z, pp, 0, {R(dn), R(dn1), 4, R(dn), R(dn1), 50}, -2, std::max(dn - b1 / gap1 * b1, dn / 2));
    expect_choice(Z, pp, 0, {R(2.5), R(dn1), 4, R(2.5), R(dn1), 50}, -3,
                  std::max({0.333 * 2.5, std::min(2.5 - b1, a2 - (b1 + b2))}));
    expect_choice(Z, pp, 0, {R(3.5), R(dn1), 4, R(3.5), R(dn1), 50}, -3,
                  std::max({0.333 * 3.5, std::min(3.5 - b1, a2 - (b1 + b2))}));

    expect_choice(Z, pp, 0, {R(dn), 2, 2, R(dn), 3, 4}, -4, by_vector(dn, length_above(Z, pp, 6, 0.563)));
    expect_choice(Z, pp, 0, {R(dn), R(dn), 2, 3, R(dn), 4}, -4,
                  by_vector(dn, former_ratio(5) + length_above(Z, pp, 5, 0.563)));
    expect_choice(Z, pp, 0, {R(dn), R(dn), R(dn), 3, 4, R(dn)}, -5,
                  by_vector(dn, former_ratio(4) * (1 + former_ratio(5)) + length_above(Z, pp, 4, 0.563)));
    expect_choice(Z, pp, 0, {R(dn), R(dn), R(dn), 3, 4, 5}, -6, dn / 4);

    const double length = std::sqrt(1.05 * length_above(Z, pp, 6)), ray = dn / (1 + length * length);
    double gap = 0.5 * 40 - ray;
    expect_choice(Z, pp, 1, {R(0.1), R(dn), 40, 9, R(dn), 40}, -7, ray * (1 - 1.01 * ray * (length / gap) * length));
    expect_choice(Z, pp, 1, {R(0.1), R(dn), 1, 9, R(dn), 1}, -8, std::max(0.333 * dn, ray * (1 - 1.01 * length)));
    expect_choice(Z, pp, 1, {R(0.1), R(dn), 1, 9, R(dn), 2}, -9, dn / 2);
    expect_choice(Z, pp, 1, {R(0.1), R(dn), 1, 9, 2, 1}, -9, dn / 4);

    gap = q(5) + e(4) - std::sqrt(q(4) * e(4)) - ray;
    expect_choice(Z, pp, 2, {R(0.1), R(0.2), R(dn), 9, 9, R(dn)}, -10,
                  ray * (1 - 1.01 * ray * (length / gap) * length));
    const double large = 8, large_ray = large / (1 + length * length);
    expect_choice(Z, pp, 2, {R(0.1), R(0.2), R(large), 9, 9, R(large)}, -10,
                  std::max(0.333 * large, large_ray * (1 - 1.01 * length)));
    expect_choice(Z, pp, 2, {R(0.1), R(0.2), R(dn), 9, 9, 7}, -11, dn / 4);
    expect_choice(Z, pp, 3, {R(0.1), R(0.2), R(dn), 9, 9, R(dn)}, -12, 0);

    // A vector that grows says nothing.
    Z.e(5, pp) = Z.q(5, pp) * R(1.125);
    Z.z.seal();
    expect_choice(Z, pp, 0, {R(dn), 2, 2, R(dn), 3, 4}, -4, dn / 4);
    expect_choice(Z, pp, 1, {R(0.1), R(dn), 40, 9, R(dn), 40}, -7, 0.333 * dn);
    expect_choice(Z, pp, 2, {R(0.1), R(0.2), R(dn), 9, 9, R(dn)}, -11, dn / 4);
    Z = for_shifts<R>(pp);
    Z.e(5, 1 - pp) = Z.q(6, 1 - pp) * R(1.125);
    Z.z.seal();
    expect_choice(Z, pp, 0, {R(dn), R(dn), 2, 3, R(dn), 4}, -4, dn / 4);
    expect_choice(Z, pp, 0, {R(dn), R(dn), R(dn), 3, 4, R(dn)}, -5, dn / 4);
    Z = for_shifts<R>(pp);
    Z.e(4, 1 - pp) = Z.q(5, 1 - pp) * R(1.125);
    Z.z.seal();
    expect_choice(Z, pp, 0, {R(dn), R(dn), R(dn), 3, 4, R(dn)}, -5, dn / 4);
    // One that is long says hardly more: 1.05 times its squared length is 0.57, after that 0.55.
    Z = for_shifts<R>(pp);
    Z.e(5, pp) = Z.q(5, pp) * R(0.52);
    Z.z.seal();
    expect_choice(Z, pp, 0, {R(dn), 2, 2, R(dn), 3, 4}, -4, dn / 4);
    Z.e(5, pp) = Z.q(5, pp) * R(0.5);
    Z.z.seal();
    expect_choice(Z, pp, 0, {R(dn), 2, 2, R(dn), 3, 4}, -4, by_vector(dn, length_above(Z, pp, 6, 0.563)));
  }
}

TYPED_TEST(DqdsSteps, ShiftsWithoutKnowledgeGrow) {
  using R = TypeParam;
  auto Z = for_shifts<R>(0);
  const Told<R> d{1, 1, 1, 3, 4, 5};
  R g = R(0.125);
  EXPECT_EQ(lasq4(Z, 0, 0, d, -4, g).tau, R(0.25));
  double expected = 0.25;
  for (Int again = 0; again < 4; ++again) {
    expected += 0.333 * (1 - expected);
    EXPECT_NEAR(lasq4(Z, 0, 0, d, -6, g).tau, expected, 8 * epsilon<R>);
  }
  EXPECT_NEAR(lasq4(Z, 0, 0, d, -18, g).tau, 0.333 / 4, epsilon<R>);

  // The same with g in the library.
  const auto kept = [&](Int last_type) {
    R tau = 99;
    Int ttype = last_type;
    routine_call::lasq4(1, 6, Z.z.data(), 0, 6, d.dmin, d.dmin1, d.dmin2, d.dn, d.dnm1, d.dnm2, tau, ttype);
    EXPECT_EQ(ttype, -6);
    return tau;
  };
  EXPECT_EQ(kept(-4), R(0.25));
  EXPECT_NEAR(kept(-6), 0.25 + 0.333 * 0.75, 4 * epsilon<R>);
  EXPECT_NEAR(kept(-6), 0.49975 + 0.333 * 0.50025, 4 * epsilon<R>);
  EXPECT_EQ(kept(0), R(0.25));
}

// ------------------------------------------------------------------------------------------------------------ steps

/// All that goes from step to step.
template <RealScalar R>
struct State {
  QdPair<R> Z;
  Int n0, pp = 0;
  R dmin, sigma = 0, desig = 0, qmax = 0;
  Int nfail = 0, iter = 0, ndiv = 0, ttype = 0;
  R dmin1 = 0, dmin2 = 0, dn = 0, dn1 = 0, dn2 = 0, tau = 0;

  /// A block that nothing is known of but that no value is below 1e-20.
  explicit State(const QdPair<R>& given) : Z(given), n0(given.n), dmin(R(-1e-20)) {
    R least = Z.e(1, 0);
    for (Int i = 1; i <= n0; ++i) {
      qmax = std::max(qmax, Z.q(i, 0) + (i < n0 ? Z.e(i, 0) : R(0)));
      Z.q(i, 1) = Z.q(i, 0);
      Z.e(i, 1) = Z.e(i, 0);
      if (i < n0) least = std::min(least, Z.e(i, 0));
    }
    Z.e(n0, 0) = Z.e(n0, 1) = least;
  }
};

enum class Entry { all_in_arguments, earlier_name, kept_in_library };

template <RealScalar R>
void step(State<R>& s, Entry entry) {
  R* const z = s.Z.z.data();
  switch (entry) {
    case Entry::all_in_arguments:
      return routine_call::lasq3_internal(1, s.n0, z, s.pp, s.dmin, s.sigma, s.desig, s.qmax, s.nfail, s.iter, s.ndiv,
                                          0, s.ttype, s.dmin1, s.dmin2, s.dn, s.dn1, s.dn2, s.tau);
    case Entry::earlier_name:
      return routine_call::lazq3(1, s.n0, z, s.pp, s.dmin, s.sigma, s.desig, s.qmax, s.nfail, s.iter, s.ndiv, 0,
                                 s.ttype, s.dmin1, s.dmin2, s.dn, s.dn1, s.dn2, s.tau);
    case Entry::kept_in_library:
      return routine_call::lasq3(1, s.n0, z, s.pp, s.dmin, s.sigma, s.desig, s.qmax, s.nfail, s.iter, s.ndiv, 0);
  }
}

TYPED_TEST(DqdsSteps, StepsByEachEntryFindTheValues) {
  using R = TypeParam;
  for (const Int n : {1, 2, 3, 4, 12, 30}) {
    for (const double growth : {1.0, 0.3, 4.0}) {
      auto given = QdPair<R>::random(this->random, n);
      for (Int i = 1; i <= n; ++i) {
        given.q(i, 0) *= R(std::pow(growth, i));
        given.e(i, 0) *= R(std::pow(growth, i));
      }
      auto exact = singular_values(given.squares(1, n, 0), 1e-2000L);
      for (long double& value : exact) value *= value;
      for (const Entry entry : {Entry::all_in_arguments, Entry::earlier_name, Entry::kept_in_library}) {
        State<R> s(given);
        Int steps = 0, transforms = 0;
        for (; s.n0 >= 1 && steps < 30 * n; ++steps) {
          const Int before = s.iter, failures = s.nfail, divisions = s.ndiv, length = s.n0;
          step(s, entry);
          transforms += s.iter - before;
          EXPECT_LE(s.iter - before, s.nfail - failures + 2);
          EXPECT_LE(s.ndiv - divisions, (s.iter - before) * (length + 1));
          s.pp = 1 - s.pp;
          // Small elements within the block are for the caller.
        }
        EXPECT_EQ(s.n0, 0) << "n = " << n << ", growth " << growth;
        EXPECT_EQ(transforms, s.iter);
        EXPECT_TRUE(s.Z.z.guards_unchanged());
        std::vector<R> values;
        for (Int i = 1; i <= n; ++i) values.push_back(s.Z.q(i, 0));
        std::sort(values.rbegin(), values.rend());
        EXPECT_LE(relative_error(values.data(), exact, 0), 30) << "n = " << n << ", growth " << growth;
      }
    }
  }
}

/// Where nothing is known, steps with their state in the library take more of dmin each time; those with their state in
/// arguments have no place for how much, and begin with the first part each time.
TYPED_TEST(DqdsSteps, KeepTheGrowthOfShiftsInTheLibrary) {
  using R = TypeParam;
  for (const bool kept : {true, false}) {
    QdPair<R> given(8);
    for (Int k = 1; k <= 32; ++k) given.z(k) = 0;
    for (Int i = 1; i <= 8; ++i) {
      given.q(i, 0) = 4;
      given.e(i, 0) = R(0.25);
    }
    State<R> s(given);
    double factor = 0.25;
    for (Int again = 0; again < 4; ++again, s.pp = 1 - s.pp) {
      const R before = s.sigma, dmin = again == 0 ? R(-1) / 1024 : R(1) / 1024;  // the first shift is of another kind
      s.dmin = dmin;
      step(s, kept ? Entry::kept_in_library : Entry::all_in_arguments);
      if (again == 0) continue;
      EXPECT_NEAR(s.sigma - before, factor * dmin, 20 * epsilon<R> * s.sigma) << again;
      if (kept || again == 1) factor += 0.333 * (1 - factor);
    }
  }
}

TYPED_TEST(DqdsSteps, AStepTurnsAGrowingBlockAbout) {
  using R = TypeParam;
  for (const Int n : {3, 4, 5, 6, 9}) {
    QdPair<R> given(n);
    for (Int k = 1; k <= 4 * n; ++k) given.z(k) = 0;
    for (Int i = 1; i <= n; ++i) {
      given.q(i, 0) = R(i);
      given.e(i, 0) = R(0.5) + R(i) / 64;
    }
    given.z.seal();
    State<R> s(given);
    s.dmin = 0;  // so that the step has no shift
    step(s, Entry::all_in_arguments);
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(s.Z.q(i, 0), given.q(n + 1 - i, 0));
    for (Int i = 1; i < n; ++i) EXPECT_EQ(s.Z.e(i, 0), given.e(n - i, 0));
    // The place behind the last e has the least of all, or of short blocks that of the two which are last no more.
    EXPECT_EQ(s.Z.e(n, 0), n > 5 ? given.e(1, 0) : given.e(std::max(1, n - 2), 0));
    EXPECT_EQ(s.sigma, 0);
    EXPECT_EQ(s.iter, 1);
    EXPECT_GE(s.dmin, 0);
  }
}

/// What the last transform told is of no use for a block that was turned about: the next one goes without a shift.
TYPED_TEST(DqdsSteps, ABlockWithoutItsLastRowMayBeTurnedAbout) {
  using R = TypeParam;
  const Int n = 9;
  QdPair<R> given(n);
  for (Int k = 1; k <= 4 * n; ++k) given.z(k) = 0;
  for (Int i = 1; i <= n; ++i) {
    given.q(i, 0) = R(i);
    given.e(i, 0) = i == n - 1 ? epsilon<R> * epsilon<R> : R(0.5) + R(i) / 64;
  }
  State<R> s(given);
  s.dmin = s.dmin1 = s.dmin2 = s.dn = s.dn1 = s.dn2 = R(0.25);
  step(s, Entry::all_in_arguments);
  EXPECT_EQ(s.n0, n - 1);
  for (Int i = 1; i < n; ++i) EXPECT_EQ(s.Z.q(i, 0), given.q(n - i, 0));
  EXPECT_EQ(s.sigma, 0);
}

TYPED_TEST(DqdsSteps, SplitsOffRowsAtTheEnd) {
  using R = TypeParam;
  for (const Int pp : {0, 1}) {
    for (const bool one : {true, false}) {
      State<R> s(QdPair<R>::random(this->random, 6));
      s.pp = pp;
      s.sigma = 3;
      for (Int i = 1; i <= 6; ++i) {
        for (const Int set : {0, 1}) {
          s.Z.q(i, set) = R(i == 6 ? 1 : 9 - i);
          s.Z.e(i, set) = R(0.5);
        }
      }
      s.Z.e(one ? 5 : 4, pp) = std::numeric_limits<R>::min();
      step(s, Entry::all_in_arguments);
      EXPECT_EQ(s.n0, one ? 5 : 4);
      if (one) {
        EXPECT_EQ(s.Z.q(6, 0), 4);
      } else {
        // [4 + 1/2, sqrt(1/2); sqrt(1/2), 1]
        EXPECT_NEAR(s.Z.q(5, 0), 3 + 2.75 + std::sqrt(1.75 * 1.75 + 0.5), 20 * epsilon<R>);
        EXPECT_NEAR(s.Z.q(6, 0), 3 + 2.75 - std::sqrt(1.75 * 1.75 + 0.5), 20 * epsilon<R>);
      }
    }
  }
}

TYPED_TEST(DqdsSteps, KeepsWhatTheSumOfShiftsLoses) {
  using R = TypeParam;
  auto given = QdPair<R>::random(this->random, 8);
  for (Int i = 1; i <= 8; ++i) given.q(i, 0) += 2;
  State<R> s(given);
  s.sigma = 1;
  s.dmin = -epsilon<R> / 8;  // the shift vanishes beside the sum
  step(s, Entry::all_in_arguments);
  EXPECT_EQ(s.sigma, 1);
  EXPECT_EQ(s.desig, epsilon<R> / 8);
  State<R> large(given);
  large.sigma = epsilon<R> / 8;
  large.dmin = R(-0.0078125);
  step(large, Entry::all_in_arguments);
  EXPECT_EQ((long double)(large.sigma) + large.desig, (long double)(large.tau) + epsilon<R> / 8);
}

/// A step from the shift 1, on a block with one small element.
template <RealScalar R>
State<R> step_with_small(Int row, R small) {
  QdPair<R> given(8);
  for (Int k = 1; k <= 32; ++k) given.z(k) = 0;
  for (Int i = 1; i <= 8; ++i) {
    given.q(i, 0) = i == row ? small : R(8);
    given.e(i, 0) = R(0.015625);
  }
  State<R> s(given);
  s.dmin = -1;
  step(s, Entry::all_in_arguments);
  EXPECT_GE(s.dmin, 0);
  EXPECT_EQ(s.iter, s.nfail + 1);
  EXPECT_EQ(s.sigma, s.tau);
  return s;
}

TYPED_TEST(DqdsSteps, AnEarlyFailureLeavesAQuarterOfTheShift) {
  using R = TypeParam;
  const State<R> once = step_with_small(6, R(0.5));
  EXPECT_EQ(once.nfail, 1);
  EXPECT_EQ(once.tau, R(0.25));
  EXPECT_EQ(once.ttype, -1 - 12);
  const State<R> twice = step_with_small(6, R(0.125));
  EXPECT_EQ(twice.nfail, 2);
  EXPECT_EQ(twice.tau, R(0.0625));
  EXPECT_EQ(twice.ttype, -1 - 2 * 12);
  const State<R> played_safe = step_with_small(6, R(0.03125));
  EXPECT_EQ(played_safe.nfail, 3);
  EXPECT_EQ(played_safe.tau, 0);
  EXPECT_EQ(played_safe.ttype, -1 - 2 * 12);
}

TYPED_TEST(DqdsSteps, ALateFailureTellsTheShift) {
  using R = TypeParam;
  const State<R> s = step_with_small(8, R(0.5));
  EXPECT_EQ(s.nfail, 1);
  EXPECT_EQ(s.ttype, -1 - 11);
  const double row_above = 8 - 1 - 8 * 0.015625 / 7, last = 0.5 * row_above / (row_above + 0.015625) - 1;
  EXPECT_NEAR(s.tau, 1 + last, 1e-4);
}

/// A last d below zero by less than the sum of shifts is known, beside an e as small in the array that was made.
TYPED_TEST(DqdsSteps, ALastRowBelowZeroByARoundingHasConverged) {
  using R = TypeParam;
  for (const bool by_rounding : {true, false}) {
    QdPair<R> given(8);
    for (Int k = 1; k <= 32; ++k) given.z(k) = 0;
    for (Int i = 1; i <= 8; ++i) {
      given.q(i, 0) = i == 8 ? R(10) : R(8);
      given.e(i, 0) = i == 7 ? R(64) : R(0.015625);
    }
    State<R> s(given);
    s.dmin = -1;
    // The last d comes out as -0.014, the e above it as 9.
    s.sigma = (by_rounding ? R(0.3) : R(0.01)) / epsilon<R>;
    step(s, Entry::all_in_arguments);
    EXPECT_EQ(s.nfail, by_rounding ? 0 : 1);
    EXPECT_GE(s.dmin, 0);
    EXPECT_GE(s.dn, by_rounding ? R(-0.02) : R(0));
    if (by_rounding) {
      EXPECT_EQ(s.Z.q(8, 1), 0);
    }
  }
}

/// A transform that ends early says nothing of the last rows; what is known of them is of the one before.
TYPED_TEST(DqdsSteps, AnEarlyFailureIsNotTakenForARounding) {
  using R = TypeParam;
  QdPair<R> given(8);
  for (Int k = 1; k <= 32; ++k) given.z(k) = 0;
  for (Int i = 1; i <= 8; ++i) {
    given.q(i, 0) = i == 4 ? R(0.5) : R(8);
    given.e(i, 0) = R(0.015625);
  }
  State<R> s(given);
  s.dmin = -1;
  s.sigma = 1;
  s.Z.e(7, 1) = epsilon<R>;  // beside sigma, not beside the square of what is negligible
  step(s, Entry::all_in_arguments);
  EXPECT_EQ(s.n0, 8);
  EXPECT_EQ(s.nfail, 1);
  EXPECT_EQ(s.tau, R(0.25));
}

TYPED_TEST(DqdsSteps, ANaNEndsInATransformWithoutShift) {
  using R = TypeParam;
  auto given = QdPair<R>::random(this->random, 8);
  given.q(3, 0) = std::numeric_limits<R>::quiet_NaN();
  State<R> s(given);
  step(s, Entry::all_in_arguments);
  EXPECT_EQ(s.tau, 0);
  EXPECT_EQ(s.sigma, 0);
  EXPECT_EQ(s.iter, 2);
  EXPECT_TRUE(std::isnan(s.dmin));
}

}  // namespace
}  // namespace nuv::test
