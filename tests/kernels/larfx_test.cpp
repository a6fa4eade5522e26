// The kernels dlarfx and clarfx.

#include <cmath>

#include "blas.hpp"
#include "orthogonal/reflectors.hpp"
#include "support/options.hpp"

namespace nuv::test {
namespace {

template <class T>
class Larfx : public testing::Test {
 protected:
  Random random{24};
};
using LarfxPrecisions = testing::Types<double, std::complex<float>>;
TYPED_TEST_SUITE(Larfx, LarfxPrecisions, PrecisionLetter);

TYPED_TEST(Larfx, AppliesAReflector) {
  using T = TypeParam;
  std::vector<std::pair<Int, Int>> shapes = {{70, 33}, {33, 70}, {200, 9}, {9, 200}, {200, 11}, {11, 200}, {130, 65}};
  for (Int m = 1; m <= 20; ++m) {
    for (Int n = 1; n <= 20; ++n) shapes.emplace_back(m, n);
  }
  for (const auto& [m, n] : shapes) {
    for (const char side : {'L', 'R', 'l', 'r'}) {
      SCOPED_TRACE(testing::Message() << side << ", " << m << " by " << n);
      const auto apply = [&, m = m, n = n](Vector<const T> v, T tau, Matrix<T> C, T* work) {
        blas::larfx(side, m, n, v.data, tau, C, work);
      };
      EXPECT_LT(error_of_reflection<T>(this->random, is_left(side), m, n, 1, apply), 2);
    }
  }
}

TYPED_TEST(Larfx, LooksAtNothingForAZeroTau) {
  using T = TypeParam;
  for (const char side : sides) {
    for (const Int order : {3, 15}) {
      GuardedMatrix<T> C(order, order, order);
      GuardedVector<T> v(order), work(order);
      blas::larfx(side, order, order, v.data(), T(0), C, work.data());
      EXPECT_TRUE(C.unchanged());
    }
  }
}

TYPED_TEST(Larfx, SpreadsATauThatIsNotANumber) {
  using T = TypeParam;
  GuardedMatrix<T> C = random_matrix<T>(this->random, 3, 2, 3);
  const GuardedVector<T> v = random_vector<T>(this->random, 3, 1);
  GuardedVector<T> work(2);
  blas::larfx('L', 3, 2, v.data(), guard<T>(), C, work.data());
  for (Int j = 1; j <= 2; ++j) {
    for (Int i = 1; i <= 3; ++i) EXPECT_TRUE(std::isnan(std::real(C(i, j))));
  }
}

TYPED_TEST(Larfx, DoesNothingForEmptyMatrices) {
  using T = TypeParam;
  for (const char side : sides) {
    for (const auto& [m, n] : {std::pair<Int, Int>{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {0, 0}}) {
      GuardedMatrix<T> C(2, 2, 2);
      const GuardedVector<T> v = random_vector<T>(this->random, 2, 1);
      GuardedVector<T> work(2);
      blas::larfx(side, m, n, v.data(), T(1), C, work.data());
      EXPECT_TRUE(C.unchanged());
      EXPECT_TRUE(work.unchanged());
    }
  }
}

}  // namespace
}  // namespace nuv::test
