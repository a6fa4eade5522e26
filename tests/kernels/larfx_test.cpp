// The kernels dlarfx and clarfx.

#include <cmath>

#include "blas.hpp"
#include "support/options.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Larfx : public testing::Test {
 protected:
  Random random{24};
};
using LarfxPrecisions = testing::Types<double, std::complex<float>>;
TYPED_TEST_SUITE(Larfx, LarfxPrecisions, PrecisionLetter);

/// H C or C H for H = I - tau v v^H, and what a careful computation may be off by, in units of eps.
template <Scalar T>
struct Expected {
  WideMatrix<T> value;
  WideMatrix<Real<T>> unit;

  Expected(bool left, const WideMatrix<T>& C, const WideMatrix<T>& v, T tau) {
    const auto magnitude_of_v = v.cwiseAbs().eval();
    const auto magnitude_of_C = C.cwiseAbs().eval();
    if (left) {
      value = C - wide(tau) * (v * (v.adjoint() * C));
      unit = magnitude_of_C + std::abs(wide(tau)) * (magnitude_of_v * (magnitude_of_v.transpose() * magnitude_of_C));
    } else {
      value = C - wide(tau) * ((C * v) * v.adjoint());
      unit = magnitude_of_C + std::abs(wide(tau)) * ((magnitude_of_C * magnitude_of_v) * magnitude_of_v.transpose());
    }
    unit *= double(v.rows() + 3);
  }

  double error_of(const WideMatrix<T>& computed) const {
    double worst = 0;
    for (Eigen::Index j = 0; j < computed.cols(); ++j) {
      for (Eigen::Index i = 0; i < computed.rows(); ++i) {
        const double error = double(std::abs(computed(i, j) - value(i, j)) / (unit(i, j) * epsilon<T>));
        if (std::isnan(error)) return error;
        worst = std::max(worst, error);
      }
    }
    return worst;
  }
};

TYPED_TEST(Larfx, AppliesAReflector) {
  using T = TypeParam;
  std::vector<std::pair<Int, Int>> shapes = {{70, 33}, {33, 70}, {200, 9}, {9, 200}, {200, 11}, {11, 200}, {130, 65}};
  for (Int m = 1; m <= 20; ++m) {
    for (Int n = 1; n <= 20; ++n) shapes.emplace_back(m, n);
  }
  for (const auto& [m, n] : shapes) {
    for (const char side : {'L', 'R', 'l', 'r'}) {
      SCOPED_TRACE(testing::Message() << side << ", " << m << " by " << n);
      GuardedMatrix<T> C = random_matrix<T>(this->random, m, n, m + this->random.integer(0, 4));
      const GuardedVector<T> v = random_vector<T>(this->random, is_left(side) ? m : n, 1);
      const T tau = this->random.template scalar<T>();
      GuardedVector<T> work(is_left(side) ? n : m);
      const Expected<T> expected(is_left(side), wide(C), wide(v), tau);
      blas::larfx(side, m, n, v.data(), tau, C, work.data());
      EXPECT_LT(expected.error_of(wide(C)), 2);
      EXPECT_TRUE(C.guards_unchanged());
      EXPECT_TRUE(v.unchanged());
      EXPECT_TRUE(work.guards_unchanged());
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
