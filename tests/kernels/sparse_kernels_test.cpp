// The kernels for a full vector y and a compressed one: ?axpyi, ?doti, ?dotui, ?dotci, ?gthr, ?gthrz, ?roti, ?sctr.

#include <algorithm>
#include <cmath>
#include <limits>

#include "blas.hpp"
#include "kernels/vector_cases.hpp"

namespace nuv::test {
namespace {

/// nz random elements, and distinct random places for them in a y of 3 nz + 5. Between the places y holds guards.
template <Scalar T>
struct SparseCase {
  Int nz;
  GuardedVector<T> x, y;
  GuardedVector<Int> indx;

  SparseCase(Random& random, Int nz_) : nz(nz_), x(random_vector<T>(random, nz, 1)), y(3 * nz + 5), indx(nz) {
    std::vector<Int> places;
    for (Int place = 1; place <= y.size(); ++place) places.push_back(place);
    for (Int i = 1; i <= nz; ++i) {
      std::swap(places[i - 1], places[random.integer(i - 1, Int(places.size()) - 1)]);
      indx(i) = places[i - 1];
      y(indx(i)) = random.scalar<T>();
    }
    y.seal();
    indx.seal();
  }

  /// The element of y that belongs to element i of x, as it is and as it was.
  const T& at(Int i) const { return y(indx(i)); }
  const T& was(Int i) const { return y.sealed(indx(i)); }

  /// Whether nothing was written but elements of x and the elements of y at the places.
  testing::AssertionResult rest_unchanged() const {
    GuardedVector<T> others = y;
    for (Int i = 1; i <= nz; ++i) others(indx(i)) = was(i);
    if (!indx.unchanged() || !x.guards_unchanged()) return testing::AssertionFailure() << "indx or around x";
    return others.unchanged();
  }
};

std::vector<Int> counts() {
  return {0, 1, 2, 3, 4, 5, 8, 13, 31, 100, 1000};
}

template <class T>
class SparseKernels : public testing::Test {
 protected:
  Random random{24};
};
TYPED_TEST_SUITE(SparseKernels, Precisions, PrecisionLetter);

TYPED_TEST(SparseKernels, AddsAMultiple) {
  using T = TypeParam;
  for (const Int nz : counts()) {
    for (const T alpha : {number<T>(0.7, -0.4), T(1)}) {
      SparseCase<T> one(this->random, nz);
      blas::axpyi(nz, alpha, one.x.data(), one.indx.data(), one.y.data());
      EXPECT_TRUE(one.x.unchanged());
      EXPECT_TRUE(one.rest_unchanged());
      for (Int i = 1; i <= nz; ++i) {
        const Wide<T> product = wide(alpha) * wide(one.x(i));
        ASSERT_LE(std::abs(wide(one.at(i)) - (product + wide(one.was(i)))),
                  4 * epsilon<T> * (size_of(product) + size_of(wide(one.was(i)))));
      }
    }
    SparseCase<T> one(this->random, nz);
    const GuardedVector<T> not_read(nz);
    blas::axpyi(nz, T(0), not_read.data(), one.indx.data(), one.y.data());
    EXPECT_TRUE(one.y.unchanged());
  }
}

TYPED_TEST(SparseKernels, MultipliesVectors) {
  using T = TypeParam;
  for (const Int nz : counts()) {
    const SparseCase<T> one(this->random, nz);
    const T *x = one.x.data(), *y = one.y.data();
    const Int* indx = one.indx.data();
    Wide<T> expected = 0, conjugate_expected = 0;
    WideReal<T> size = 0;
    for (Int i = 1; i <= nz; ++i) {
      expected += wide(one.x(i)) * wide(one.at(i));
      conjugate_expected += wide(conjugate(one.x(i))) * wide(one.at(i));
      size += size_of(wide(one.x(i))) * size_of(wide(one.at(i)));
    }
    const WideReal<T> bound = (2 + std::sqrt(nz)) * epsilon<T> * size;
    if constexpr (ComplexScalar<T>) {
      EXPECT_LE(std::abs(wide(blas::dotui(nz, x, indx, y)) - expected), bound);
      EXPECT_LE(std::abs(wide(blas::dotci(nz, x, indx, y)) - conjugate_expected), bound);
    } else {
      EXPECT_LE(std::abs(wide(blas::doti(nz, x, indx, y)) - expected), bound);
    }
  }
}

TYPED_TEST(SparseKernels, Gathers) {
  using T = TypeParam;
  for (const Int nz : counts()) {
    SparseCase<T> one(this->random, nz);
    blas::gthr(nz, one.y.data(), one.x.data(), one.indx.data());
    EXPECT_TRUE(one.y.unchanged());
    EXPECT_TRUE(one.rest_unchanged());
    for (Int i = 1; i <= nz; ++i) ASSERT_TRUE(same_bits(one.x(i), one.was(i)));
  }
}

TYPED_TEST(SparseKernels, GathersAndSetsToZero) {
  using T = TypeParam;
  for (const Int nz : counts()) {
    SparseCase<T> one(this->random, nz);
    blas::gthrz(nz, one.y.data(), one.x.data(), one.indx.data());
    EXPECT_TRUE(one.rest_unchanged());
    for (Int i = 1; i <= nz; ++i) {
      ASSERT_TRUE(same_bits(one.x(i), one.was(i)));
      ASSERT_TRUE(same_bits(one.at(i), T(0)));
    }
  }
}

TYPED_TEST(SparseKernels, Scatters) {
  using T = TypeParam;
  for (const Int nz : counts()) {
    SparseCase<T> one(this->random, nz);
    blas::sctr(nz, one.x.data(), one.indx.data(), one.y.data());
    EXPECT_TRUE(one.x.unchanged());
    EXPECT_TRUE(one.rest_unchanged());
    for (Int i = 1; i <= nz; ++i) ASSERT_TRUE(same_bits(one.at(i), one.x(i)));
  }
}

TYPED_TEST(SparseKernels, Rotates) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    const T c = T(0.6), s = T(-0.8);
    for (const Int nz : counts()) {
      SparseCase<T> one(this->random, nz);
      blas::roti(nz, one.x.data(), one.indx.data(), one.y.data(), c, s);
      EXPECT_TRUE(one.rest_unchanged());
      for (Int i = 1; i <= nz; ++i) {
        const Wide<T> x = wide(one.x.sealed(i)), y = wide(one.was(i));
        const WideReal<T> bound = 4 * epsilon<T> * (std::abs(x) + std::abs(y));
        ASSERT_LE(std::abs(wide(one.x(i)) - (wide(c) * x + wide(s) * y)), bound);
        ASSERT_LE(std::abs(wide(one.at(i)) - (wide(c) * y - wide(s) * x)), bound);
      }
    }
  }
}

TYPED_TEST(SparseKernels, DoesNothingWithoutElements) {
  using T = TypeParam;
  SparseCase<T> one(this->random, 3);
  T *x = one.x.data(), *y = one.y.data();
  const Int* indx = one.indx.data();
  for (const Int nz : {0, -1, std::numeric_limits<Int>::min()}) {
    blas::axpyi(nz, T(2), x, indx, y);
    blas::gthr(nz, y, x, indx);
    blas::gthrz(nz, y, x, indx);
    blas::sctr(nz, x, indx, y);
    if constexpr (ComplexScalar<T>) {
      EXPECT_EQ(blas::dotui(nz, x, indx, y), T(0));
      EXPECT_EQ(blas::dotci(nz, x, indx, y), T(0));
    } else {
      EXPECT_EQ(blas::doti(nz, x, indx, y), T(0));
      blas::roti(nz, x, indx, y, T(0), T(1));
    }
  }
  EXPECT_TRUE(one.x.unchanged());
  EXPECT_TRUE(one.y.unchanged());
}

}  // namespace
}  // namespace nuv::test
