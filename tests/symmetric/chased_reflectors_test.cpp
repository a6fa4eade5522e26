// The reflectors of neighbouring chases, applied to a matrix: laeh2.

#include <algorithm>

#include "blas.hpp"
#include "layer.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

template <class T>
class ChasedReflectors : public testing::Test {
 protected:
  Random random{81};
};
TYPED_TEST_SUITE(ChasedReflectors, Precisions, PrecisionLetter);

/// Reflectors as kd chases along a band leave them. What no chase makes holds guards.
template <Scalar T>
struct Chases {
  Int n, kd;
  GuardedVector<T> tau;
  GuardedMatrix<T> V;

  Chases(Random& random, Int n_, Int kd_) : n(n_), kd(kd_), tau(std::max(0, n)), V(n, kd, std::max(1, n + 2)) {
    for_each([&](Int t, Int length, Int chase) {
      Real<T> square = 1;
      V(t, chase) = T(1);
      for (Int i = t + 1; i < t + length; ++i) {
        V(i, chase) = random.scalar<T>();
        square += std::norm(V(i, chase));
      }
      // H^H H = I for any point of the circle through zero around 1 / |v|^2.
      const T direction = random.divisor<T>();
      tau(t) = (T(1) + (ComplexScalar<T> ? direction / std::abs(direction) : T(1))) / square;
    });
    tau.seal();
    V.seal();
  }

  /// Calls visit(t, length, chase) for each reflector, a chase after the other.
  template <class Visit>
  void for_each(Visit visit) const {
    for (Int chase = 1; chase <= kd; ++chase) {
      for (Int t = chase; t < n && kd > 1; t += kd) visit(t, std::min(kd, n - t + 1), chase);
    }
  }

  /// Z H1 H2 ... in the order in which chases make them.
  WideMatrix<T> applied_to(WideMatrix<T> Z) const {
    for_each([&](Int t, Int length, Int chase) {
      WideMatrix<T> v(length, 1);
      for (Int i = 0; i < length; ++i) v(i, 0) = wide(V(t + i, chase));
      const WideMatrix<T> part = Z.middleCols(t - 1, length);
      Z.middleCols(t - 1, length) -= product<T>(product<T>(part, v) * wide(tau(t)), WideMatrix<T>(v.adjoint()));
    });
    return Z;
  }
};

struct Sizes {
  Int m, n, kd;
};

constexpr Sizes all_sizes[] = {{3, 0, 2},      {3, 1, 1},     {3, 1, 4},    {0, 9, 3},    {3, 2, 1},    {3, 2, 2},
                               {3, 2, 5},      {4, 3, 2},     {1, 4, 2},    {5, 7, 2},    {5, 7, 3},    {5, 8, 3},
                               {9, 9, 3},      {9, 10, 3},    {6, 10, 9},   {6, 10, 10},  {6, 10, 30},  {20, 41, 40},
                               {20, 42, 40},   {20, 80, 40},  {30, 81, 40}, {30, 82, 40}, {30, 83, 40}, {150, 130, 16},
                               {300, 100, 24}, {70, 200, 64}, {900, 50, 9}, {385, 20, 9}};

template <Scalar T, class Call>
void expect_product(Random& random, const Sizes& sizes, Call call) {
  const auto& [m, n, kd] = sizes;
  SCOPED_TRACE(testing::Message() << m << " by " << n << ", " << kd << " chases");
  const Chases<T> chases(random, n, kd);
  GuardedMatrix<T> Z = random_matrix<T>(random, m, n, std::max(1, m + random.integer(0, 2)));
  const WideMatrix<T> expected = chases.applied_to(wide(Z));
  GuardedVector<T> work(m);
  call(m, n, kd, static_cast<const T*>(chases.tau.data()), Matrix<const T>(chases.V), Matrix<T>(Z), work.data());
  EXPECT_TRUE(Z.guards_unchanged());
  EXPECT_TRUE(work.guards_unchanged());
  EXPECT_TRUE(chases.tau.unchanged());
  EXPECT_TRUE(chases.V.unchanged());
  if (m > 0 && n > 0) {
    const WideMatrix<T> I = WideMatrix<T>::Identity(n, n);
    EXPECT_LT(product_residual<T>(expected, wide(Z), I), 10);
  }
}

TYPED_TEST(ChasedReflectors, AreAppliedByTheLayer) {
  using T = TypeParam;
  for (const Sizes& sizes : all_sizes) {
    expect_product<T>(this->random, sizes, [](auto... arguments) { layer::laeh2(arguments...); });
  }
}

TYPED_TEST(ChasedReflectors, AreAppliedOneByOne) {
  using T = TypeParam;
  for (const Sizes& sizes : all_sizes) {
    expect_product<T>(this->random, sizes, [](auto... arguments) { x_variant::laeh2(arguments...); });
  }
}

/// From the last reflectors of all chases to the first, those of the first chase before those of the second.
TYPED_TEST(ChasedReflectors, ComeFromTheLastStepToTheFirst) {
  using T = TypeParam;
  for (const auto& [m, n, kd] : all_sizes) {
    const Chases<T> chases(this->random, n, kd);
    GuardedMatrix<T> Z = random_matrix<T>(this->random, m, n, std::max(1, m)), expected = Z;
    GuardedVector<T> work(m), product(m);
    x_variant::laeh2(m, n, kd, chases.tau.data(), chases.V, Z, work.data());
    for (Int start = (std::max(n, 2) - 2) / kd * kd + 1; start >= 1 && kd > 1; start -= kd) {
      for (Int chase = 1; chase <= kd && start + chase - 1 < n; ++chase) {
        const Int t = start + chase - 1, length = std::min(kd, n - t + 1);
        const Vector<const T> v = column(Matrix<const T>(chases.V), t, chase);
        const Matrix<T> part = block(Matrix<T>(expected), 1, t);
        blas::gemv('N', m, length, T(1), part, v, T(0), product);
        if constexpr (ComplexScalar<T>) {
          blas::gerc(m, length, negated(chases.tau(t)), product, v, part);
        } else {
          blas::ger(m, length, negated(chases.tau(t)), product, v, part);
        }
      }
    }
    EXPECT_TRUE(Z.same_as(expected)) << m << " by " << n << ", " << kd << " chases";
  }
}

}  // namespace
}  // namespace nuv::test
