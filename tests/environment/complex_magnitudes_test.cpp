// Sums and maxima of true magnitudes: i?max1, ?sum1.

#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class ComplexMagnitudes : public testing::Test {
 protected:
  using R = Real<T>;
  static constexpr R not_a_number = std::numeric_limits<R>::quiet_NaN();

  Int place(std::vector<T> x) { return routine_call::imax1(Int(x.size()), Vector<const T>(x.data(), 1)); }

  Random random{28};
};
using ComplexPrecisions = testing::Types<std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(ComplexMagnitudes, ComplexPrecisions, PrecisionLetter);

TYPED_TEST(ComplexMagnitudes, FindsTheFirstOfTheLargest) {
  using T = TypeParam;
  EXPECT_EQ(this->place({}), 0);
  EXPECT_EQ(this->place({T(0)}), 1);
  EXPECT_EQ(this->place({T(3, 4), T(-5, 0), T(4, -3)}), 1);
  EXPECT_EQ(this->place({T(1), T(3, 4), T(-5, 0)}), 2);
  // The sum of parts would choose the first.
  EXPECT_EQ(this->place({T(3, 3), T(0, 5)}), 2);
  EXPECT_EQ(routine_call::imax1(-3, Vector<const T>(nullptr, 1)), 0);
}

TYPED_TEST(ComplexMagnitudes, LetsNaNReplaceTheBestAndBeReplaced) {
  using T = TypeParam;
  const T nan(this->not_a_number, 0);
  EXPECT_EQ(this->place({T(7), T(1), nan}), 3);
  EXPECT_EQ(this->place({T(7), nan, T(1)}), 3);
  EXPECT_EQ(this->place({nan, T(2), T(1)}), 2);
  EXPECT_EQ(this->place({nan}), 1);
}

TYPED_TEST(ComplexMagnitudes, AreSafeFromOverflowAndUnderflow) {
  using T = TypeParam;
  using R = Real<T>;
  for (const int power : {std::numeric_limits<R>::max_exponent - 4, std::numeric_limits<R>::min_exponent + 4}) {
    const R unit = std::ldexp(R(1), power);
    const std::vector<T> x = {T(3 * unit, 3 * unit), T(3 * unit, -4 * unit), T(0, unit)};
    EXPECT_EQ(this->place(x), 2);
    const auto expected = (1 + 5 + std::sqrt(WideReal<T>(18))) * unit;
    const R sum = routine_call::sum1(3, Vector<const T>(x.data(), 1));
    EXPECT_LE(std::abs(sum - expected), 3 * epsilon<T> * expected);
  }
}

TYPED_TEST(ComplexMagnitudes, AgreeWithWideMagnitudes) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 17, 300}) {
    for (const Int incx : {1, 2, 5}) {
      const GuardedVector<T> x = random_vector<T>(this->random, n, incx);
      WideReal<T> sum = 0, largest = -1;
      Int best = 0;
      for (Int i = 1; i <= n; ++i) {
        const auto a = std::abs(wide(x(i)));
        sum += a;
        if (a > largest) best = i;
        largest = std::max(a, largest);
      }
      EXPECT_EQ(routine_call::imax1(n, x), best);
      EXPECT_LE(std::abs(routine_call::sum1(n, x) - sum), (n / 2 + 2) * epsilon<T> * sum);
    }
  }
}

}  // namespace
}  // namespace nuv::test
