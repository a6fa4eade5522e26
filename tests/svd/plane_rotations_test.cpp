// One sweep of plane rotations, ?lasr, and the parallelogram of sweeps, ?lasr1.

#include <cctype>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/options.hpp"
#include "support/real_precisions.hpp"
#include "svd/rotation_sweeps.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class PlaneRotations : public ReportingTest {
 protected:
  Random random{61};
};
TYPED_TEST_SUITE(PlaneRotations, Precisions, PrecisionLetter);

TYPED_TEST(PlaneRotations, AreThoseOfTheSweepInItsOrder) {
  using T = TypeParam;
  for (const Int m : {0, 1, 2, 3, 8, 17}) {
    for (const Int n : {0, 1, 2, 3, 6, 20}) {
      for (const char side : sides) {
        for (const char pivot : {'V', 'T', 'B'}) {
          for (const char direct : {'F', 'B'}) {
            const Int planes = std::max(0, (side == 'L' ? m : n) - 1);
            const RotationSweeps<Real<T>> sweep(this->random, planes, 1, planes + 1, 0.2);
            GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m + 2);
            WideMatrix<T> expected = wide(A);
            turn<T>(side, pivot, direct, sweep.cosines(1), sweep.sines(1), expected);
            routine_call::lasr(this->random.in_some_case(side), this->random.in_some_case(pivot),
                               this->random.in_some_case(direct), m, n, sweep.cosines(1), sweep.sines(1), A);
            EXPECT_LT(rotation_error(A, expected, planes), threshold)
                << side << pivot << direct << ' ' << m << " by " << n;
            EXPECT_TRUE(A.guards_unchanged());
            EXPECT_TRUE(sweep.table().unchanged());
          }
        }
      }
    }
  }
}

/// From the right a rotation is carried out whatever it is, so that an infinity meets its neighbour.
TYPED_TEST(PlaneRotations, FromTheRightIncludeIdentities) {
  using T = TypeParam;
  for (const char direct : {'F', 'B'}) {
    GuardedMatrix<T> A(1, 3, 1);
    A(1, 1) = T(1);
    A(1, 2) = T(std::numeric_limits<Real<T>>::infinity());
    A(1, 3) = T(1);
    const Real<T> c[] = {1, 1}, s[] = {0, 0};
    routine_call::lasr('R', 'V', direct, 1, 3, c, s, A);
    EXPECT_TRUE(std::isnan(std::real(A(1, 1)))) << direct;
    EXPECT_TRUE(std::isnan(std::real(A(1, 3)))) << direct;
  }
}

template <Scalar T>
struct SweepCall {
  char side = 'R', pivot = 'V', direct = 'F';
  Int m = 3, n = 4, lda = 3;
  Random random{5};
  RotationSweeps<Real<T>> sweep{random, 3, 1, 3};
  GuardedMatrix<T> a = random_matrix<T>(random, 3, 4, 3);

  void run() {
    routine_call::lasr(side, pivot, direct, m, n, sweep.cosines(1), sweep.sines(1), Matrix<T>{a.data(), lda});
  }
  testing::AssertionResult unchanged() const { return a.unchanged(); }
};

TYPED_TEST(PlaneRotations, CheckTheirArgumentsInOrder) {
  using Call = SweepCall<TypeParam>;
  expect_argument_checks<Call>(reported_name<TypeParam>("LASR"), {{1, [](Call& c) { c.side = 'X'; }},
                                                                  {2, [](Call& c) { c.pivot = 'X'; }},
                                                                  {3, [](Call& c) { c.direct = 'X'; }},
                                                                  {4, [](Call& c) { c.m = -1; }},
                                                                  {5, [](Call& c) { c.n = -1; }},
                                                                  {9, [](Call& c) { c.lda = 2; }}});
}

template <class T>
class Parallelogram : public ReportingTest {
 protected:
  Random random{62};
};
TYPED_TEST_SUITE(Parallelogram, RealPrecisions, PrecisionLetter);

TYPED_TEST(Parallelogram, HasTheRotationsThatItsSweepsHaveInTheBand) {
  using T = TypeParam;
  for (const Int k : {0, 1, 2, 3, 4, 5, 8}) {
    for (const Int m : {0, 1, 2, 3, 9}) {
      for (const char direct : {'F', 'B'}) {
        const RotationSweeps<T> sweeps(this->random, std::max(0, 2 * k - 1), k, 2 * k + 2);
        GuardedMatrix<T> A = random_matrix<T>(this->random, m, 2 * k, m + 1);
        WideMatrix<T> expected = wide(A);
        for (Int s = 1; s <= k; ++s) {
          for (Int step = 0; step < k; ++step) {
            const Int p = direct == 'F' ? k - s + 1 + step : s + k - 1 - step;
            turn_lines(false, WideReal<T>(sweeps.cosines(s)[p - 1]), WideReal<T>(sweeps.sines(s)[p - 1]), p - 1, p,
                       expected);
          }
        }
        routine_call::lasr1('R', 'V', direct, m, -77, k, sweeps.table(), A);
        EXPECT_LT(rotation_error(A, expected, 2 * k), threshold) << direct << ", " << k << " sweeps, " << m << " rows";
        EXPECT_TRUE(A.guards_unchanged());
        EXPECT_TRUE(sweeps.table().unchanged());
      }
    }
  }
}

TYPED_TEST(Parallelogram, IsLeftAloneByOtherLetters) {
  using T = TypeParam;
  const RotationSweeps<T> sweeps(this->random, 3, 2, 3);
  GuardedMatrix<T> A = random_matrix<T>(this->random, 3, 4, 3);
  for (const char* letters : {"LVF", "rVF", "XVF", "RvF", "RTF", "RVf", "RVb", "RVX"}) {
    routine_call::lasr1(letters[0], letters[1], letters[2], 3, 0, 2, sweeps.table(), A);
    EXPECT_TRUE(A.unchanged()) << letters;
  }
}

}  // namespace
}  // namespace nuv::test
