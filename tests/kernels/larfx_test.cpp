// The kernels dlarfx and clarfx.

#include <algorithm>
#include <cmath>
#include <limits>

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

/// Columns at the same place in a line each, in all places that there are, give what columns at any places give.
TYPED_TEST(Larfx, AppliesAReflectorToRowsInLines) {
  using T = TypeParam;
  const T tau = T(Real<T>(0.03));
  for (const char side : sides) {
    for (Int m = 11; m <= 120; m += 7) {
      for (Int above = 0; above < 16; ++above) {
        SCOPED_TRACE(testing::Message() << side << ", " << m << " rows below " << above);
        const Int n = is_left(side) ? 9 : 13, order = is_left(side) ? m : n;
        const GuardedVector<T> v = random_vector<T>(this->random, order, 1);
        GuardedMatrix<T> plain = random_matrix<T>(this->random, m, n, m | 1), in_lines(m + above, n, 160);
        GuardedVector<T> work(std::max(m, n));
        for (Int j = 1; j <= n; ++j) std::copy_n(&plain(1, j), m, &in_lines(above + 1, j));
        in_lines.seal();
        blas::larfx(side, m, n, v.data(), tau, plain, work.data());
        blas::larfx(side, m, n, v.data(), tau, block(Matrix<T>(in_lines), above + 1, 1), work.data());
        EXPECT_TRUE(in_lines.unchanged_except([&](Int i, Int) { return i > above; }));
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= m; ++i) {
            EXPECT_TRUE(same_bits(plain(i, j), in_lines(above + i, j)));
          }
        }
      }
    }
  }
}

/// Infinite elements, which a product with zero would change.
TYPED_TEST(Larfx, LooksAtNothingForAZeroTau) {
  using T = TypeParam;
  for (const char side : sides) {
    for (const Int order : {3, 15, 90}) {
      GuardedMatrix<T> C(order, order, order);
      GuardedVector<T> v(order), work(order);
      for (Int j = 1; j <= order; ++j) {
        v(j) = T(1);
        for (Int i = 1; i <= order; ++i) C(i, j) = T(std::numeric_limits<Real<T>>::infinity());
      }
      C.seal();
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
