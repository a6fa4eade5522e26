// The kernels ?rot2 and ?rot3.

#include <cmath>

#include "blas.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Rot3 : public testing::Test {
 protected:
  Random random{23};
};
TYPED_TEST_SUITE(Rot3, Precisions, PrecisionLetter);

constexpr Int increments_of_vectors[] = {1, 1, -1, 2, -3, 41};

std::vector<Int> lengths() {
  std::vector<Int> all;
  for (Int n = 0; n <= 70; ++n) all.push_back(n);
  all.insert(all.end(), {511, 1000});
  return all;
}

/// One element after the reflector and how large the terms were that it was computed from.
template <Scalar T>
struct Expected {
  Wide<T> value;
  WideReal<T> magnitude;
};

template <Scalar T>
void expect_near(T computed, const Expected<T>& expected) {
  const auto error = std::abs(wide(computed) - expected.value);
  EXPECT_LE(error, 10 * epsilon<T> * expected.magnitude);
}

/// The three elements x, y, z after the reflector; with v3 = 0 for two.
template <Scalar T>
void reflect(const T (&x)[3], T t, T v2, T v3, Expected<T> (&expected)[3]) {
  const Wide<T> v[3] = {1, wide(v2), wide(v3)};
  Wide<T> sum = 0;
  WideReal<T> magnitude = 0;
  for (int k = 0; k < 3; ++k) {
    sum += v[k] * wide(x[k]);
    magnitude += std::abs(v[k] * wide(x[k]));
  }
  sum *= wide(t);
  magnitude *= std::abs(wide(t));
  for (int k = 0; k < 3; ++k) {
    Wide<T> conjugated = v[k];
    if constexpr (ComplexScalar<T>) conjugated = std::conj(v[k]);
    expected[k] = {wide(x[k]) - sum * conjugated, std::abs(wide(x[k])) + magnitude * std::abs(v[k])};
  }
}

TYPED_TEST(Rot3, ReflectsTriples) {
  using T = TypeParam;
  for (const Int n : lengths()) {
    for (int repetition = 0; repetition < 6; ++repetition) {
      const Int incx = this->random.pick(increments_of_vectors);
      const Int incy = repetition < 3 ? incx : this->random.pick(increments_of_vectors);
      const Int incz = repetition < 3 ? incx : this->random.pick(increments_of_vectors);
      SCOPED_TRACE(testing::Message() << n << " elements, increments " << incx << ", " << incy << ", " << incz);
      const T t = this->random.template scalar<T>(), v2 = this->random.template scalar<T>(),
              v3 = this->random.template scalar<T>();
      GuardedVector<T> x = random_vector<T>(this->random, n, incx), y = random_vector<T>(this->random, n, incy),
                       z = random_vector<T>(this->random, n, incz);
      blas::rot3(n, x, y, z, t, v2, v3);
      for (Int i = 1; i <= n; ++i) {
        Expected<T> expected[3];
        reflect<T>({x.sealed(i), y.sealed(i), z.sealed(i)}, t, v2, v3, expected);
        expect_near(x(i), expected[0]);
        expect_near(y(i), expected[1]);
        expect_near(z(i), expected[2]);
      }
      EXPECT_TRUE(x.guards_unchanged());
      EXPECT_TRUE(y.guards_unchanged());
      EXPECT_TRUE(z.guards_unchanged());
    }
  }
}

TYPED_TEST(Rot3, ReflectsPairs) {
  using T = TypeParam;
  for (const Int n : lengths()) {
    for (int repetition = 0; repetition < 6; ++repetition) {
      const Int incx = this->random.pick(increments_of_vectors);
      const Int incy = repetition < 3 ? incx : this->random.pick(increments_of_vectors);
      SCOPED_TRACE(testing::Message() << n << " elements, increments " << incx << ", " << incy);
      const T t = this->random.template scalar<T>(), v2 = this->random.template scalar<T>();
      GuardedVector<T> x = random_vector<T>(this->random, n, incx), y = random_vector<T>(this->random, n, incy);
      blas::rot2(n, x, y, t, v2);
      for (Int i = 1; i <= n; ++i) {
        Expected<T> expected[3];
        reflect<T>({x.sealed(i), y.sealed(i), T(0)}, t, v2, T(0), expected);
        expect_near(x(i), expected[0]);
        expect_near(y(i), expected[1]);
      }
      EXPECT_TRUE(x.guards_unchanged());
      EXPECT_TRUE(y.guards_unchanged());
    }
  }
}

TYPED_TEST(Rot3, DoesNothingForEmptyVectors) {
  using T = TypeParam;
  GuardedVector<T> x(2), y(2), z(2);
  blas::rot2(-1, x, y, T(1), T(1));
  blas::rot3(-1, x, y, z, T(1), T(1), T(1));
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.unchanged());
  EXPECT_TRUE(z.unchanged());
}

}  // namespace
}  // namespace nuv::test
