// Elements of random matrices: ?latm2, ?latm3.

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "routines.hpp"
#include "spectrum_cases.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"

namespace nuv::test {
namespace {

template <class T>
class RandomEntries : public testing::Test {
 protected:
  static constexpr Int m = 5, n = 7;

  void SetUp() override {
    for (std::vector<T>* x : {&d, &dl, &dr}) {
      x->resize(7);
      for (T& element : *x) element = random.template divisor<T>();
    }
  }

  T in_place(Int i, Int j) {
    return routine_call::latm2(m, n, i, j, kl, ku, idist, seed.data(), d.data(), igrade, dl.data(), dr.data(), ipvtng,
                               permutation.data(), sparse);
  }

  T moved(Int i, Int j, Int& isub, Int& jsub) {
    return routine_call::latm3(m, n, i, j, isub, jsub, kl, ku, idist, seed.data(), d.data(), igrade, dl.data(),
                               dr.data(), ipvtng, permutation.data(), sparse);
  }

  /// Row and column of an index after pivoting.
  Int row(Int i) const { return ipvtng == 1 || ipvtng == 3 ? permutation[std::size_t(i - 1)] : i; }
  Int column(Int j) const { return ipvtng == 2 || ipvtng == 3 ? permutation[std::size_t(j - 1)] : j; }

  Random random{17};
  Seed seed = first_seed;
  std::vector<T> d, dl, dr;
  // The first five are a permutation too.
  std::array<Int, 7> permutation = {3, 1, 2, 5, 4, 7, 6};
  Int kl = m - 1, ku = n - 1, idist = 1, igrade = 0, ipvtng = 0;
  Real<T> sparse = 0;
};
TYPED_TEST_SUITE(RandomEntries, Precisions, PrecisionLetter);

/// The next number of a distribution, and the state behind it.
template <Scalar T>
T next(Int idist, Seed& seed) {
  return routine_call::larnd<T>(idist, seed.data());
}

TYPED_TEST(RandomEntries, AreDrawnFromADistribution) {
  using T = TypeParam;
  for (Int idist = 1; idist <= (ComplexScalar<T> ? 5 : 3); ++idist) {
    this->idist = idist;
    Seed expected_seed = this->seed;
    const T expected = next<T>(idist, expected_seed);
    EXPECT_EQ(this->in_place(2, 4), expected) << idist;
    EXPECT_EQ(this->seed, expected_seed);

    Int isub = 0, jsub = 0;
    const T other = next<T>(idist, expected_seed);
    EXPECT_EQ(this->moved(4, 2, isub, jsub), other) << idist;
    EXPECT_EQ(this->seed, expected_seed);
    EXPECT_EQ(isub, 4);
    EXPECT_EQ(jsub, 2);
  }
}

TYPED_TEST(RandomEntries, TakeTheDiagonalAsGiven) {
  for (Int i = 1; i <= 5; ++i) {
    Int isub, jsub;
    EXPECT_EQ(this->in_place(i, i), this->d[std::size_t(i - 1)]);
    EXPECT_EQ(this->moved(i, i, isub, jsub), this->d[std::size_t(i - 1)]);
  }
  EXPECT_EQ(this->seed, first_seed);
}

TYPED_TEST(RandomEntries, OutsideTheMatrixAreZeroAndDrawNothing) {
  using T = TypeParam;
  this->ipvtng = 3;
  this->sparse = Real<T>(0.5);
  for (const auto& [i, j] : {std::pair(0, 1), std::pair(6, 1), std::pair(1, 0), std::pair(1, 8), std::pair(-3, 9)}) {
    Int isub = 99, jsub = 99;
    EXPECT_EQ(this->in_place(i, j), T(0));
    EXPECT_EQ(this->moved(i, j, isub, jsub), T(0));
    EXPECT_EQ(isub, i);
    EXPECT_EQ(jsub, j);
  }
  EXPECT_EQ(this->seed, first_seed);
}

TYPED_TEST(RandomEntries, OutsideTheBandAreZeroAndDrawNothing) {
  using T = TypeParam;
  this->kl = 1;
  this->ku = 2;
  this->sparse = Real<T>(0.1);
  for (this->ipvtng = 0; this->ipvtng <= 3; ++this->ipvtng) {
    for (Int j = 1; j <= 5; ++j) {
      for (Int i = 1; i <= 5; ++i) {
        SCOPED_TRACE(testing::Message() << this->ipvtng << ": " << i << ", " << j);
        const auto in_band = [](Int r, Int c) { return c - r <= 2 && r - c <= 1; };
        Seed before = this->seed;
        const T x = this->in_place(i, j);
        EXPECT_EQ(this->seed != before, in_band(i, j));
        if (!in_band(i, j)) {
          EXPECT_EQ(x, T(0));
        }

        // The band of what moves is that of its new place.
        before = this->seed;
        Int isub, jsub;
        const T y = this->moved(i, j, isub, jsub);
        EXPECT_EQ(isub, this->row(i));
        EXPECT_EQ(jsub, this->column(j));
        EXPECT_EQ(this->seed != before, in_band(isub, jsub));
        if (!in_band(isub, jsub)) {
          EXPECT_EQ(y, T(0));
        }
      }
    }
  }
}

TYPED_TEST(RandomEntries, BandsMayBeAsWideAsNumbersGo) {
  using T = TypeParam;
  this->kl = this->ku = std::numeric_limits<Int>::max();
  Seed expected_seed = first_seed;
  const T right = next<T>(1, expected_seed), left = next<T>(1, expected_seed);
  Int isub, jsub;
  EXPECT_EQ(this->in_place(1, 7), right);
  EXPECT_EQ(this->moved(5, 1, isub, jsub), left);
}

TYPED_TEST(RandomEntries, AreDroppedWithAProbability) {
  using T = TypeParam;
  using R = Real<T>;
  for (const double sparse : {0.25, 0.75}) {
    this->sparse = R(sparse);
    int dropped = 0;
    constexpr int draws = 4000;
    for (int k = 0; k < draws; ++k) {
      Seed expected_seed = this->seed;
      const bool drops = routine_call::laran<R>(expected_seed.data()) < R(sparse);
      const T expected = drops ? T(0) : next<T>(1, expected_seed);
      Int isub, jsub;
      EXPECT_EQ(k % 2 == 0 ? this->in_place(1, 2) : this->moved(1, 2, isub, jsub), expected);
      ASSERT_EQ(this->seed, expected_seed);
      dropped += drops;
    }
    // Four standard deviations.
    EXPECT_NEAR(dropped / double(draws), sparse, 4 * std::sqrt(sparse * (1 - sparse) / draws));
  }
  this->sparse = 1;
  Int isub, jsub;
  for (Int i = 1; i <= 5; ++i) {
    EXPECT_EQ(this->in_place(i, i), T(0));
    EXPECT_EQ(this->moved(i, 3, isub, jsub), T(0));
  }
}

/// What a grading makes of x at (i, j), counted from one.
template <Scalar T>
T grade(Int igrade, T x, Int i, Int j, const std::vector<T>& dl, const std::vector<T>& dr) {
  const T left = dl[std::size_t(i - 1)], mirror = dl[std::size_t(j - 1)], right = dr[std::size_t(j - 1)];
  switch (igrade) {
    case 1:
      return x * left;
    case 2:
      return x * right;
    case 3:
      return x * left * right;
    case 4:
      return x * left / mirror;
    case 5:
      return x * left * conjugate(mirror);
    default:
      return x * left * mirror;
  }
}

TYPED_TEST(RandomEntries, AreGradedByTheirPlaceBeforePivoting) {
  using T = TypeParam;
  for (this->ipvtng = 0; this->ipvtng <= 3; ++this->ipvtng) {
    for (this->igrade = 1; this->igrade <= (ComplexScalar<T> ? 6 : 5); ++this->igrade) {
      for (Int j = 1; j <= 5; ++j) {
        for (Int i = 1; i <= 5; ++i) {
          SCOPED_TRACE(testing::Message() << this->ipvtng << this->igrade << ": " << i << ", " << j);
          const auto expect_grade = [&](T x, Int r, Int c, Seed seed) {
            const T plain = r == c ? this->d[std::size_t(r - 1)] : next<T>(1, seed);
            const T expected = grade(this->igrade, plain, r, c, this->dl, this->dr);
            // Two products, or a product and a quotient, of numbers below 5.
            EXPECT_LE(std::abs(x - expected), 16 * epsilon<T> * std::abs(expected));
            EXPECT_EQ(this->seed, seed);
          };
          Seed before = this->seed;
          const T x = this->in_place(i, j);
          expect_grade(x, this->row(i), this->column(j), before);
          before = this->seed;
          Int isub, jsub;
          const T y = this->moved(i, j, isub, jsub);
          expect_grade(y, i, j, before);
        }
      }
    }
  }
}

TYPED_TEST(RandomEntries, SimilarGradingKeepsTheDiagonal) {
  this->igrade = 4;
  for (Int i = 1; i <= 5; ++i) {
    Int isub, jsub;
    EXPECT_EQ(this->in_place(i, i), this->d[std::size_t(i - 1)]);
    EXPECT_EQ(this->moved(i, i, isub, jsub), this->d[std::size_t(i - 1)]);
  }
}

}  // namespace
}  // namespace nuv::test
