// Eigenvalues and Schur form of real pencils of order two.

#include <array>
#include <cmath>
#include <limits>

#include "generalised/pencil_checks.hpp"
#include "routines.hpp"
#include "support/deadline.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

/// Pencils are small enough for numbers with a range and a precision that no scaling is needed.
using Quad = __float128;

Quad magnitude_of(Quad x) {
  return x < 0 ? -x : x;
}

/// Newton's iteration from below the range of doubles upwards would take long: the argument is brought near one.
Quad root_of(Quad x) {
  if (x <= 0) return 0;
  Quad scale = 1;
  for (; x > 4; x /= 4) scale *= 2;
  for (; x < 1; x *= 4) scale /= 2;
  Quad y = Quad(std::sqrt(double(x)));
  for (int step = 0; step < 3; ++step) y = (y + x / y) / 2;
  return y * scale;
}

/// A 2 by 2 pencil, B upper triangular.
template <RealScalar R>
struct Two {
  R a11, a12, a21, a22, b11, b12, b22;

  R a[6] = {a11, a21, -77, a12, a22, -77}, b[6] = {b11, -55, -77, b12, b22, -77};
  static constexpr Int ld = 3;

  bool margins_unchanged() const { return a[2] == -77 && a[5] == -77 && b[2] == -77 && b[5] == -77; }
};

template <RealScalar R>
struct Values {
  R scale1 = 99, scale2 = 99, wr1 = 99, wr2 = 99, wi = 99;

  explicit Values(const Two<R>& p, R safmin) {
    routine_call::lag2(Matrix<const R>(p.a, p.ld), Matrix<const R>(p.b, p.ld), safmin, scale1, scale2, wr1, wr2, wi);
  }
};

/// How far |det(s A - w B)| is from what rounding of s A and w B explains, for w = wr + i wi: in units of eps times
/// the norm of the larger row by that of the larger column. For real eigenvalues as good as zero.
template <RealScalar R>
double determinant_error(const Two<R>& p, R s, R wr, R wi) {
  const Quad S = s, W = wr, I = wi;
  const Quad c11 = S * p.a11 - W * p.b11, c12 = S * p.a12 - W * p.b12, c21 = S * p.a21, c22 = S * p.a22 - W * p.b22;
  const Quad d11 = -I * p.b11, d12 = -I * p.b12, d22 = -I * p.b22;
  const Quad re = c11 * c22 - d11 * d22 - c12 * c21, im = c11 * d22 + d11 * c22 - d12 * c21;
  const auto norm = [](Quad x11, Quad x12, Quad x21, Quad x22) {
    return magnitude_of(x11) + magnitude_of(x12) + magnitude_of(x21) + magnitude_of(x22);
  };
  const Quad norm_a = S * norm(p.a11, p.a12, p.a21, p.a22);
  const Quad norm_b = (magnitude_of(W) + magnitude_of(I)) * norm(p.b11, p.b12, 0, p.b22);
  const Quad tolerance = norm_a + norm_b;
  // The smallest singular value of s A - w B is about |det| over its norm.
  const Quad norm_c = norm(c11, c12, c21, c22) + norm(d11, d12, 0, d22);
  if (norm_c == 0) return 0;
  return double(root_of(re * re + im * im) / norm_c / (tolerance * epsilon<R>));
}

template <RealScalar R>
Two<R> random_two(Random& random) {
  const auto x = [&] { return R(random.real()); };
  return {x(), x(), x(), x(), random.divisor<R>(), x(), random.divisor<R>()};
}

template <RealScalar R>
Two<R> scaled(const Two<R>& p, int in_a, int in_b) {
  const auto a = [&](R x) { return std::ldexp(x, in_a); };
  const auto b = [&](R x) { return std::ldexp(x, in_b); };
  return {a(p.a11), a(p.a12), a(p.a21), a(p.a22), b(p.b11), b(p.b12), b(p.b22)};
}

template <RealScalar R>
constexpr R tiny = std::numeric_limits<R>::min();

template <class R>
class PencilOfOrderTwo : public testing::Test {
 protected:
  void expect_values(const Two<R>& p) {
    const Values<R> v(p, tiny<R>);
    SCOPED_TRACE(testing::Message() << p.a11 << ' ' << p.a12 << ' ' << p.a21 << ' ' << p.a22 << "; " << p.b11 << ' '
                                    << p.b12 << ' ' << p.b22 << ": " << v.wr1 << " / " << v.scale1 << ", " << v.wr2
                                    << " / " << v.scale2 << ", wi " << v.wi);
    for (const R x : {v.scale1, v.scale2, v.wr1, v.wr2, v.wi}) EXPECT_TRUE(std::isfinite(x));
    EXPECT_GE(v.scale1, 0);
    EXPECT_GE(v.scale2, 0);
    EXPECT_GE(v.wi, 0);
    EXPECT_LT(determinant_error(p, v.scale1, v.wr1, v.wi), 10);
    EXPECT_LT(determinant_error(p, v.scale2, v.wr2, v.wi), 10);
    if (v.wi > 0) {
      EXPECT_EQ(v.scale1, v.scale2);
      EXPECT_EQ(v.wr1, v.wr2);
      ++pairs;
    } else {
      ++real_ones;
    }
    // s A and w B, and their difference, are in range.
    const auto largest = [](R x, R y, R z, R w) {
      return std::max({std::abs(x), std::abs(y), std::abs(z), std::abs(w)});
    };
    const R norm_b = std::max(std::abs(p.b11), std::abs(p.b12) + std::abs(p.b22));
    for (const auto& [s, w] : {std::array{v.scale1, std::abs(v.wr1) + v.wi}, {v.scale2, std::abs(v.wr2) + v.wi}}) {
      EXPECT_TRUE(std::isfinite(s * largest(p.a11, p.a12, p.a21, p.a22) + w * norm_b));
      EXPECT_GT(std::max(s, w), 0);
    }
  }

  Random random{87};
  int pairs = 0, real_ones = 0;
};
TYPED_TEST_SUITE(PencilOfOrderTwo, RealPrecisions, PrecisionLetter);

TYPED_TEST(PencilOfOrderTwo, HasItsEigenvalues) {
  using R = TypeParam;
  for (int round = 0; round < 2000; ++round) this->expect_values(random_two<R>(this->random));
  EXPECT_GT(this->pairs, 200);
  EXPECT_GT(this->real_ones, 200);
}

TYPED_TEST(PencilOfOrderTwo, HasThemNearTheLimitsOfNumbers) {
  using R = TypeParam;
  const int most = std::numeric_limits<R>::max_exponent - 4, least = std::numeric_limits<R>::min_exponent + 30;
  for (int round = 0; round < 3000; ++round) {
    const int in_a = this->random.integer(least, most), in_b = this->random.integer(least, most);
    this->expect_values(scaled(random_two<R>(this->random), in_a, in_b));
  }
  for (const int in_a : {least, 0, most}) {
    for (const int in_b : {least, 0, most}) {
      for (int round = 0; round < 50; ++round) {
        this->expect_values(scaled(random_two<R>(this->random), in_a, in_b));
      }
    }
  }
}

/// Elements of any size beside each other.
TYPED_TEST(PencilOfOrderTwo, HasThemWhenElementsDiffer) {
  using R = TypeParam;
  const int range = std::numeric_limits<R>::digits / 2;
  for (int round = 0; round < 2000; ++round) {
    Two<R> p = random_two<R>(this->random);
    const auto spread = [&](R x) { return std::ldexp(x, this->random.integer(-range, 0)); };
    this->expect_values(
        {spread(p.a11), spread(p.a12), spread(p.a21), spread(p.a22), spread(p.b11), spread(p.b12), spread(p.b22)});
  }
}

/// The first real eigenvalue is the one nearer to the last element of A B^-1.
TYPED_TEST(PencilOfOrderTwo, ChoosesTheNearerEigenvalueFirst) {
  using R = TypeParam;
  int compared = 0;
  for (int round = 0; round < 1000; ++round) {
    const Two<R> p = random_two<R>(this->random);
    const Values<R> v(p, tiny<R>);
    if (v.wi != 0) continue;
    const double c21 = double(p.a21) / double(p.b11), c22 = (double(p.a22) - c21 * double(p.b12)) / double(p.b22);
    const double near = std::abs(double(v.wr1) / double(v.scale1) - c22);
    const double far = std::abs(double(v.wr2) / double(v.scale2) - c22);
    EXPECT_LE(near, far * (1 + 1e-3) + 1e-3);
    ++compared;
  }
  EXPECT_GT(compared, 100);
}

/// Known ones.
TYPED_TEST(PencilOfOrderTwo, HasKnownEigenvalues) {
  using R = TypeParam;
  const auto value = [](R w, R s) { return double(w) / double(s); };
  const Values<R> diagonal({6, 0, 0, 20, 2, 0, 4}, tiny<R>);
  EXPECT_NEAR(value(diagonal.wr1, diagonal.scale1), 5, 10 * epsilon<R>);
  EXPECT_NEAR(value(diagonal.wr2, diagonal.scale2), 3, 10 * epsilon<R>);
  EXPECT_EQ(diagonal.wi, 0);
  const Values<R> turning({0, 1, -1, 0, 1, 0, 1}, tiny<R>);
  EXPECT_NEAR(value(turning.wi, turning.scale1), 1, 4 * epsilon<R>);
  EXPECT_NEAR(value(turning.wr1, turning.scale1), 0, 4 * epsilon<R>);
  EXPECT_EQ(turning.scale1, turning.scale2);
  EXPECT_EQ(turning.wr1, turning.wr2);
  // Of the square root of a number below the range that squares may have.
  const Values<R> close({0, 1, tiny<R> / 4, 0, 1, 0, 1}, tiny<R>),
      close_pair({0, 1, -tiny<R> / 4, 0, 1, 0, 1}, tiny<R>);
  const double root = std::sqrt(double(tiny<R>)) / 2;
  EXPECT_NEAR(value(close.wr1, close.scale1) / root, 1, 10 * epsilon<R>);
  EXPECT_NEAR(value(close.wr2, close.scale2) / root, -1, 10 * epsilon<R>);
  EXPECT_NEAR(value(close_pair.wi, close_pair.scale1) / root, 1, 10 * epsilon<R>);
  const Values<R> both_zero({0, 1, 0, 0, 1, 0, 1}, tiny<R>);
  EXPECT_EQ(both_zero.wr1, 0);
  EXPECT_EQ(both_zero.wr2, 0);
  EXPECT_EQ(both_zero.wi, 0);
}

/// A B that is singular is taken for one that is hardly so: an eigenvalue is huge then, and the other one right.
TYPED_TEST(PencilOfOrderTwo, HasAHugeEigenvalueWhereBIsSingular) {
  using R = TypeParam;
  for (const bool first : {true, false}) {
    const Two<R> p{3, 1, 2, 5, R(first ? 0 : 2), 1, R(first ? 2 : 0)};
    const Values<R> v(p, tiny<R>);
    EXPECT_EQ(v.wi, 0);
    const double one = double(v.wr1) / double(v.scale1), other = double(v.wr2) / double(v.scale2);
    // det(A - w B) = 13 - w (a11 b22 + a22 b11 - a21 b12)
    const double expected = first ? 13.0 / (3 * 2 - 2) : 13.0 / (5 * 2 - 2);
    const double finite = std::min(std::abs(one), std::abs(other)), huge = std::max(std::abs(one), std::abs(other));
    EXPECT_NEAR(finite, expected, 100 * epsilon<R> * expected);
    EXPECT_GT(huge, 1 / (1000 * std::sqrt(double(tiny<R>))));
  }
  const Two<R> none{3, 1, 2, 5, 0, 0, 0};
  const Values<R> v(none, tiny<R>);
  for (const R x : {v.scale1, v.scale2, v.wr1, v.wr2, v.wi}) EXPECT_TRUE(std::isfinite(x));
}

TYPED_TEST(PencilOfOrderTwo, GivesNaNForNaN) {
  using R = TypeParam;
  constexpr R nan = std::numeric_limits<R>::quiet_NaN(), inf = std::numeric_limits<R>::infinity();
  for (int place = 0; place < 7; ++place) {
    for (const R odd : {nan, inf}) {
      R x[7] = {3, 1, 2, 5, 2, 1, 2};
      x[place] = odd;
      const Values<R> v({x[0], x[1], x[2], x[3], x[4], x[5], x[6]}, tiny<R>);
      if (std::isnan(odd)) {
        EXPECT_TRUE(std::isnan(v.scale1) || std::isnan(v.wr1) || std::isnan(v.wi)) << place;
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- Schur form

template <RealScalar R>
struct SchurOfTwo {
  Two<R> given, form;
  R alphar[2] = {99, 99}, alphai[2] = {99, 99}, beta[2] = {99, 99}, csl = 99, snl = 99, csr = 99, snr = 99;

  explicit SchurOfTwo(const Two<R>& p) : given(p), form(p) {
    routine_call::lagv2(Matrix<R>(form.a, form.ld), Matrix<R>(form.b, form.ld), alphar, alphai, beta, csl, snl, csr,
                        snr);
  }

  R S(Int i, Int j) const { return form.a[(i - 1) + 3 * (j - 1)]; }
  R P(Int i, Int j) const { return form.b[(i - 1) + 3 * (j - 1)]; }

  /// Left M Right against a matrix of the form, relative to the norm.
  double error(R m11, R m12, R m21, R m22, R (SchurOfTwo::*found)(Int, Int) const) const {
    const Quad l[2][2] = {{csl, snl}, {-Quad(snl), csl}}, r[2][2] = {{csr, -Quad(snr)}, {snr, csr}};
    const Quad m[2][2] = {{m11, m12}, {m21, m22}};
    Quad largest = 0, norm = 0;
    for (int i = 0; i < 2; ++i) {
      for (int j = 0; j < 2; ++j) {
        Quad sum = 0;
        for (int k = 0; k < 2; ++k) {
          for (int n = 0; n < 2; ++n) sum += l[i][k] * m[k][n] * r[n][j];
        }
        largest = std::max(largest, magnitude_of(sum - (this->*found)(i + 1, j + 1)));
        norm = std::max(norm, magnitude_of(m[i][j]));
      }
    }
    return norm == 0 ? double(largest) : double(largest / (norm * epsilon<R>));
  }

  void expect_right() const {
    const Two<R>& p = given;
    SCOPED_TRACE(testing::Message() << p.a11 << ' ' << p.a12 << ' ' << p.a21 << ' ' << p.a22 << "; " << p.b11 << ' '
                                    << p.b12 << ' ' << p.b22);
    EXPECT_TRUE(form.margins_unchanged());
    EXPECT_LT(error(p.a11, p.a12, p.a21, p.a22, &SchurOfTwo::S), 10);
    EXPECT_LT(error(p.b11, p.b12, 0, p.b22, &SchurOfTwo::P), 10);
    EXPECT_NEAR(csl * csl + snl * snl, 1, 10 * epsilon<R>);
    EXPECT_NEAR(csr * csr + snr * snr, 1, 10 * epsilon<R>);
    EXPECT_EQ(P(2, 1), 0);
    if (alphai[0] == 0) {
      EXPECT_EQ(S(2, 1), 0);
      EXPECT_EQ(alphai[1], 0);
      for (Int i = 1; i <= 2; ++i) {
        EXPECT_EQ(alphar[i - 1], S(i, i));
        EXPECT_EQ(beta[i - 1], P(i, i));
      }
    } else {
      EXPECT_NE(S(2, 1), 0);
      EXPECT_EQ(P(1, 2), 0);
      EXPECT_GE(std::abs(P(1, 1)), std::abs(P(2, 2)));
      EXPECT_GT(alphai[0], 0);
      EXPECT_EQ(alphai[1], -alphai[0]);
      EXPECT_EQ(alphar[1], alphar[0]);
      EXPECT_EQ(beta[0], 1);
      EXPECT_EQ(beta[1], 1);
      const Two<R> plain{p.a11, p.a12, p.a21, p.a22, p.b11, p.b12, p.b22};
      EXPECT_LT(determinant_error(plain, beta[0], alphar[0], alphai[0]), 10);
    }
  }
};

TYPED_TEST(PencilOfOrderTwo, ComesToSchurForm) {
  using R = TypeParam;
  int pairs = 0;
  for (int round = 0; round < 2000; ++round) {
    const SchurOfTwo<R> schur(random_two<R>(this->random));
    schur.expect_right();
    pairs += schur.alphai[0] != 0;
  }
  EXPECT_GT(pairs, 200);
  EXPECT_LT(pairs, 1800);
}

TYPED_TEST(PencilOfOrderTwo, ComesToSchurFormNearTheLimitsOfNumbers) {
  using R = TypeParam;
  const int most = std::numeric_limits<R>::max_exponent - 4, least = std::numeric_limits<R>::min_exponent + 40;
  for (int round = 0; round < 1000; ++round) {
    const int in_a = this->random.integer(least, most), in_b = this->random.integer(least, most);
    // Quotients of the two are to be in range.
    if (std::abs(in_a - in_b) > most - 8) continue;
    SchurOfTwo<R>(scaled(random_two<R>(this->random), in_a, in_b)).expect_right();
  }
}

/// What is negligible is set to zero, each case in its own way.
TYPED_TEST(PencilOfOrderTwo, TakesNegligibleElementsForZero) {
  using R = TypeParam;
  const R negligible = epsilon<R> / 8;
  const SchurOfTwo<R> triangular({3, 1, negligible, 5, 2, 1, 2});
  triangular.expect_right();
  EXPECT_EQ(triangular.S(2, 1), 0);
  EXPECT_EQ(triangular.csl, 1);
  EXPECT_EQ(triangular.csr, 1);
  EXPECT_EQ(triangular.snl, 0);
  EXPECT_EQ(triangular.snr, 0);

  const SchurOfTwo<R> first({3, 1, 2, 5, negligible, 1, 2});
  first.expect_right();
  EXPECT_EQ(first.beta[0], 0);
  EXPECT_EQ(first.csr, 1);
  const SchurOfTwo<R> second({3, 1, 2, 5, 2, 1, negligible});
  second.expect_right();
  EXPECT_EQ(second.beta[1], 0);
  EXPECT_EQ(second.csl, 1);

  const SchurOfTwo<R> no_b({3, 1, 2, 5, 0, 0, 0});
  no_b.expect_right();
  EXPECT_EQ(no_b.beta[0], 0);
  EXPECT_EQ(no_b.beta[1], 0);
  const SchurOfTwo<R> nothing({0, 0, 0, 0, 0, 0, 0});
  nothing.expect_right();
  EXPECT_EQ(nothing.alphar[0], 0);
  EXPECT_EQ(nothing.alphar[1], 0);
}

/// Both rows of s A - w B are as long as each other: from the first one, the cosine is positive.
TYPED_TEST(PencilOfOrderTwo, TakesTheFirstOfTwoRowsOfOneLength) {
  using R = TypeParam;
  const SchurOfTwo<R> schur({1, 2, 2, 1, 1, 0, 1});
  schur.expect_right();
  EXPECT_NEAR(schur.alphar[0] / schur.beta[0], 3, 10 * epsilon<R>);
  EXPECT_GT(schur.csr, 0);
}

TYPED_TEST(PencilOfOrderTwo, EndsWhateverTheNumbers) {
  using R = TypeParam;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (int place = 0; place < 7; ++place) {
      R x[7] = {3, 1, 2, 5, 2, 1, 2};
      x[place] = odd;
      const Deadline deadline(20, "lagv2 with an odd number");
      const SchurOfTwo<R> schur({x[0], x[1], x[2], x[3], x[4], x[5], x[6]});
      EXPECT_TRUE(schur.form.margins_unchanged());
      EXPECT_FALSE(std::isfinite(schur.alphar[0] + schur.alphar[1] + schur.beta[0] + schur.beta[1] + schur.S(1, 2) +
                                 schur.P(1, 2)))
          << place;
    }
  }
}

}  // namespace
}  // namespace nuv::test
