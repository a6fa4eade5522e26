// The kernels ?lasr_l??: sweeps of plane rotations from the left.

#include <cmath>
#include <limits>
#include <numbers>

#include "blas.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Lasr : public testing::Test {
 protected:
  Random random{22};
};
TYPED_TEST_SUITE(Lasr, Precisions, PrecisionLetter);

template <Scalar T>
struct Kernel {
  char pivot, direct;
  void (*run)(Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A);
};

template <Scalar T>
constexpr Kernel<T> kernels[] = {
    {'V', 'F', [](Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) { blas::lasr_lvf(m, n, c, s, A); }},
    {'V', 'B', [](Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) { blas::lasr_lvb(m, n, c, s, A); }},
    {'T', 'F', [](Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) { blas::lasr_ltf(m, n, c, s, A); }},
    {'T', 'B', [](Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) { blas::lasr_ltb(m, n, c, s, A); }},
    {'B', 'F', [](Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) { blas::lasr_lbf(m, n, c, s, A); }},
    {'B', 'B', [](Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) { blas::lasr_lbb(m, n, c, s, A); }},
};

/// Angles of m - 1 rotations; every fourth or so is an identity where some are wanted.
template <Scalar T>
struct Rotations {
  GuardedVector<Real<T>> c, s;

  Rotations(Random& random, Int m, bool with_identities) : c(std::max(m - 1, 0)), s(std::max(m - 1, 0)) {
    for (Int r = 1; r < m; ++r) {
      const double angle = std::numbers::pi * random.real();
      const bool is_identity = with_identities && random.integer(0, 3) == 0;
      c(r) = Real<T>(is_identity ? 1 : std::cos(angle));
      s(r) = Real<T>(is_identity ? 0 : std::sin(angle));
    }
    c.seal();
    s.seal();
  }
};

/// The definition, rotation by rotation.
template <Scalar T>
WideMatrix<T> rotated(const Kernel<T>& kernel, const Rotations<T>& rotations, WideMatrix<T> A) {
  const Int m = Int(A.rows());
  for (Int step = 1; step < m; ++step) {
    const Int r = kernel.direct == 'F' ? step : m - step;
    const Int upper = kernel.pivot == 'T' ? 0 : r - 1, lower = kernel.pivot == 'V'   ? r
                                                               : kernel.pivot == 'T' ? r
                                                                                     : m - 1;
    const auto c = WideReal<T>(rotations.c(r)), s = WideReal<T>(rotations.s(r));
    for (Eigen::Index j = 0; j < A.cols(); ++j) {
      const Wide<T> x = A(upper, j), y = A(lower, j);
      A(upper, j) = s * y + c * x;
      A(lower, j) = c * y - s * x;
    }
  }
  return A;
}

/// Largest error of an element in units of eps, the number of rotations and the norm of its column.
template <Scalar T>
double error_of(const WideMatrix<T>& computed, const WideMatrix<T>& expected) {
  double worst = 0;
  for (Eigen::Index j = 0; j < computed.cols(); ++j) {
    const auto unit = expected.col(j).norm() * epsilon<T> * double(computed.rows());
    const double error = double((computed.col(j) - expected.col(j)).cwiseAbs().maxCoeff() / unit);
    if (std::isnan(error)) return error;
    worst = std::max(worst, error);
  }
  return worst;
}

TYPED_TEST(Lasr, AppliesTheRotationsOfASweep) {
  using T = TypeParam;
  std::vector<std::pair<Int, Int>> shapes = {{70, 33}, {130, 18}, {200, 5}, {65, 70}};
  for (Int m = 0; m <= 20; ++m) {
    for (Int n = 0; n <= 20; ++n) shapes.emplace_back(m, n);
  }
  for (Int m = 21; m <= 70; ++m) shapes.emplace_back(m, this->random.integer(1, 40));
  for (const auto& [m, n] : shapes) {
    for (const Kernel<T>& kernel : kernels<T>) {
      for (const bool with_identities : {false, true}) {
        SCOPED_TRACE(testing::Message() << kernel.pivot << kernel.direct << ", " << m << " by " << n
                                        << (with_identities ? ", some identities" : ""));
        const Rotations<T> rotations(this->random, m, with_identities);
        GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m + 1 + this->random.integer(0, 4));
        const WideMatrix<T> expected = rotated(kernel, rotations, wide(A));
        kernel.run(m, n, rotations.c.data(), rotations.s.data(), A);
        if (m > 0) {
          EXPECT_LT(error_of<T>(wide(A), expected), 2);
        }
        EXPECT_TRUE(A.guards_unchanged());
        EXPECT_TRUE(rotations.c.unchanged());
        EXPECT_TRUE(rotations.s.unchanged());
        if (m <= 1) {
          EXPECT_TRUE(A.unchanged());
        }
      }
    }
  }
}

// What a product with an identity would spoil stays: infinities, NaNs and negative zeros.
TYPED_TEST(Lasr, LeavesTheRowsOfIdentitiesAsTheyAre) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R infinity = std::numeric_limits<R>::infinity();
  for (const Int m : {2, 3, 8, 9, 17, 40}) {
    for (const Kernel<T>& kernel : kernels<T>) {
      SCOPED_TRACE(testing::Message() << kernel.pivot << kernel.direct << ", " << m << " rows");
      GuardedVector<R> c(m - 1), s(m - 1);
      for (Int r = 1; r < m; ++r) c(r) = 1, s(r) = 0;
      GuardedMatrix<T> A = random_matrix<T>(this->random, m, 21, m);
      for (Int j = 1; j <= 21; ++j) {
        A(this->random.integer(1, m), j) = infinity;
        A(this->random.integer(1, m), j) = guard<T>();
        A(this->random.integer(1, m), j) = T(R(-0.0));
      }
      A.seal();
      kernel.run(m, 21, c.data(), s.data(), A);
      EXPECT_TRUE(A.unchanged());
    }
  }
}

// The rotations before and behind a stretch of identities don't reach the rows inside it.
TYPED_TEST(Lasr, KeepsInfinitiesInsideAStretchOfIdentities) {
  using T = TypeParam;
  const Int m = 45, n = 19, first = 15, last = 30;
  for (const char direct : {'F', 'B'}) {
    Rotations<T> rotations(this->random, m, false);
    for (Int r = first; r <= last; ++r) rotations.c(r) = 1, rotations.s(r) = 0;
    GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = first + 1; i <= last; ++i) A(i, j) = std::numeric_limits<Real<T>>::infinity();
    }
    A.seal();
    const Kernel<T>& kernel = kernels<T>[direct == 'F' ? 0 : 1];
    kernel.run(m, n, rotations.c.data(), rotations.s.data(), A);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= m; ++i) {
        EXPECT_EQ(std::isfinite(std::real(A(i, j))), i <= first || i > last) << i << ", " << j;
        EXPECT_EQ(A.is_sealed(i, j), i > first && i <= last) << i << ", " << j;
      }
    }
  }
}

TYPED_TEST(Lasr, DoesNothingForEmptyMatrices) {
  using T = TypeParam;
  const Rotations<T> rotations(this->random, 4, false);
  for (const Kernel<T>& kernel : kernels<T>) {
    for (const auto& [m, n] : {std::pair<Int, Int>{-1, 3}, {0, 3}, {1, 3}, {3, 0}, {3, -1}}) {
      GuardedMatrix<T> A(4, 4, 4);
      kernel.run(m, n, rotations.c.data(), rotations.s.data(), A);
      EXPECT_TRUE(A.unchanged());
    }
  }
}

}  // namespace
}  // namespace nuv::test
