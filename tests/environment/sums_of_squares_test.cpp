// Sums of squares and the norms of two and three numbers.

#include <vector>

#include "environment/quad.hpp"
#include "routines.hpp"
#include "support/sparse_array.hpp"

namespace nuv::test {
namespace {

template <RealScalar R>
constexpr R inf = std::numeric_limits<R>::infinity();
template <RealScalar R>
constexpr R nan = std::numeric_limits<R>::quiet_NaN();

template <class T>
class SumOfSquares : public testing::Test {};
TYPED_TEST_SUITE(SumOfSquares, Precisions, PrecisionLetter);

template <class R>
class Norm : public testing::Test {};
TYPED_TEST_SUITE(Norm, RealPrecisions, PrecisionLetter);

template <RealScalar R>
struct Sum {
  R scale = 0, sumsq = 1;

  bool operator==(const Sum& other) const { return same_bits(scale, other.scale) && same_bits(sumsq, other.sumsq); }
  friend std::ostream& operator<<(std::ostream& out, const Sum& sum) {
    return out << sum.scale << "^2 * " << sum.sumsq;
  }

  /// The rule for one more part.
  void add(R part) {
    if (part == 0) return;
    const R a = std::abs(part);
    if (a > scale) {
      const volatile R ratio = scale / a, squared_ratio = ratio * ratio, term = sumsq * squared_ratio;
      sumsq = 1 + term;
      scale = a;
    } else {
      const volatile R ratio = a / scale, squared_ratio = ratio * ratio;
      sumsq = sumsq + squared_ratio;
    }
  }
};

template <Scalar T>
Sum<Real<T>> sum_of(Int n, const T* x, Int incx, Sum<Real<T>> sum = {}) {
  routine_call::lassq(n, {x, incx}, sum.scale, sum.sumsq);
  return sum;
}

template <Scalar T>
T pair_of(Real<T> re, [[maybe_unused]] Real<T> im) {
  if constexpr (ComplexScalar<T>) return {re, im};
  else return re;
}

TYPED_TEST(SumOfSquares, AddsOneAfterTheOther) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(31);
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R>);
  for (int count = 0; count < cases / 10; ++count) {
    const Int n = random.integer(0, 20);
    const Int incx = random.pick(std::array{1, 2, 5, -1, -3});
    source.next_group();
    GuardedVector<T> x(n, incx);
    for (Int i = 1; i <= n; ++i) {
      const R re = source.next();
      x(i) = pair_of<T>(re, source.next());
    }
    x.seal();
    Sum<R> start;
    if (random.integer(0, 1) == 0) start = {std::abs(source.next()), R(1 + std::abs(random.real()))};
    Sum<R> expected = start;
    for (Int i = 1; i <= n; ++i) {
      expected.add(std::real(x(i)));
      if constexpr (ComplexScalar<T>) expected.add(std::imag(x(i)));
    }
    // Unlike in the kernels, the pointer is to the element that is taken first.
    const T* const first = n > 0 ? &x(1) : x.data();
    ASSERT_EQ(sum_of(n, first, incx, start), expected) << n << ", " << incx;
    ASSERT_TRUE(x.unchanged());
  }
}

// With u = eps / 2: a term is off by 3 u, and each of the terms that follow adds u, or 4 u where it moves the scale.
// The parts differ in size by so little that no term underflows.
TYPED_TEST(SumOfSquares, IsNearTheExactSum) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(32);
  constexpr int parts = ComplexScalar<T> ? 2 : 1;
  Worst error;
  for (int count = 0; count < cases / 10; ++count) {
    const Int n = random.integer(1, 12);
    std::vector<T> x;
    const int size = random.integer(least_exponent<R> + 60, largest_exponent<R> - 20);
    Quad exact = 0;
    for (Int i = 0; i < n; ++i) {
      const R re = of_size<R>(random, size - 10, size + 10);
      x.push_back(pair_of<T>(re, of_size<R>(random, size - 10, size + 10)));
      exact += squared(std::real(x.back())) + squared(std::imag(x.back()));
    }
    const Sum<R> sum = sum_of(n, x.data(), 1);
    const Quad value = squared(sum.scale) * sum.sumsq;
    error.note(double(magnitude(value - exact) / (exact * epsilon<T>)) / (2.5 * parts * n + 1.5), n, x[0]);
  }
  EXPECT_TRUE(error.is_within(1));
}

TYPED_TEST(SumOfSquares, WithNothingToAddStays) {
  using T = TypeParam;
  using R = Real<T>;
  const T untouchable = guard<T>();
  for (const Sum<R> start : {Sum<R>{0, 1}, Sum<R>{3, R(1.25)}, Sum<R>{nan<R>, nan<R>}, Sum<R>{-1, 0}}) {
    for (const Int n : {0, -1, std::numeric_limits<Int>::min()}) EXPECT_EQ(sum_of(n, &untouchable, 1, start), start);
    const T zeros[] = {T(0), T(0), T(R(-0.0))};
    EXPECT_EQ(sum_of(3, zeros, 1, start), start);
  }
}

TYPED_TEST(SumOfSquares, OfPythagoreanNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const T up[] = {T(3), T(0), T(4)}, down[] = {T(4), T(3)};
  EXPECT_EQ(sum_of(2, down, 1), (Sum<R>{4, R(1.5625)}));
  EXPECT_EQ(sum_of(3, up, 1).scale, 4);
  EXPECT_NEAR(sum_of(3, up, 1).sumsq, 1.5625, epsilon<T>);
  if constexpr (ComplexScalar<T>) {
    const T z(4, -3);
    EXPECT_EQ(sum_of(1, &z, 1), (Sum<R>{4, R(1.5625)}));
  }
}

TYPED_TEST(SumOfSquares, TakesInEveryNaN) {
  using T = TypeParam;
  using R = Real<T>;
  for (const T bad :
       {pair_of<T>(nan<R>, 1), pair_of<T>(nan<R>, nan<R>), ComplexScalar<T> ? pair_of<T>(2, nan<R>) : T(nan<R>)}) {
    for (int place = 0; place < 3; ++place) {
      T x[] = {T(2), T(1), T(0)};
      x[place] = bad;
      const Sum<R> sum = sum_of(3, x, 1);
      EXPECT_TRUE(std::isnan(sum.sumsq)) << place;
      R largest = 0;
      for (const T element : x) largest = std::fmax(largest, std::fmax(std::real(element), std::imag(element)));
      EXPECT_EQ(sum.scale, largest) << place;
    }
  }
}

#if UINTPTR_MAX > UINT32_MAX
TYPED_TEST(SumOfSquares, ReachesElementsBeyondThirtyTwoBits) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 9, incx = 1 << 29;
  SparseArray<T> x(std::size_t{n - 1} * incx + 1);
  x.data()[0] = T(1);
  x.data()[std::size_t{n - 1} * incx] = T(1);
  EXPECT_EQ(sum_of(n, x.data(), incx), (Sum<R>{1, 2}));
  EXPECT_EQ(sum_of(n, x.data() + std::size_t{n - 1} * incx, -incx), (Sum<R>{1, 2}));
}
#endif

// With u = eps / 2: a ratio squared is off by 3 u, of which at most half counts in the sum, the sum by 2.5 u, its root
// by 2.25 u, the product by 3.25 u.
TYPED_TEST(Norm, OfTwoIsNearTheExactOne) {
  using R = TypeParam;
  Random random(33);
  Worst error;
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R>);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R x = source.next(), y = source.next();
    const R norm = routine_call::lapy2(x, y);
    error.note(error_of(norm, root(squared(x) + squared(y))), x, y);
    ASSERT_TRUE(same_bits(norm, routine_call::lapy2(y, x)) && same_bits(norm, routine_call::lapy2(-x, y)));
  }
  EXPECT_TRUE(error.is_within(1.625));
}

TYPED_TEST(Norm, OfTwoIsTheFormula) {
  using R = TypeParam;
  Random random(34);
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R>);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R x = source.next(), y = source.next();
    const R w = std::max(std::abs(x), std::abs(y)), z = std::min(std::abs(x), std::abs(y));
    const volatile R ratio = z / w, ratio2 = ratio * ratio, sum = 1 + ratio2, norm = w * std::sqrt(R(sum));
    const R expected = z == 0 ? w : R(norm);
    ASSERT_TRUE(same_bits(routine_call::lapy2(x, y), expected)) << x << ", " << y;
  }
}

TYPED_TEST(Norm, OfTwoAtTheEdges) {
  using R = TypeParam;
  using routine_call::lapy2;
  EXPECT_TRUE(same_bits(lapy2(R(-0.0), R(-0.0)), R(0)));
  EXPECT_TRUE(same_bits(lapy2(R(-0.0), R(-7)), R(7)));
  EXPECT_TRUE(same_bits(lapy2(R(3), R(-4)), R(5)));
  EXPECT_EQ(lapy2(inf<R>, R(1)), inf<R>);
  EXPECT_EQ(lapy2(R(0), -inf<R>), inf<R>);
  EXPECT_TRUE(std::isnan(lapy2(inf<R>, inf<R>)));
  for (const R other : {R(0), R(1), inf<R>, nan<R>}) {
    EXPECT_TRUE(std::isnan(lapy2(nan<R>, other))) << other;
    EXPECT_TRUE(std::isnan(lapy2(other, nan<R>))) << other;
  }
}

// As above, with two ratios squared that are off and one sum more: 5 u in the sum, 3.5 u in its root, 4.5 u in the end.
TYPED_TEST(Norm, OfThreeIsNearTheExactOne) {
  using R = TypeParam;
  Random random(35);
  Worst error;
  NumberSource<R> source(random, least_exponent<R>, largest_exponent<R>);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R x = source.next(), y = source.next(), z = source.next();
    const R norm = routine_call::lapy3(x, y, z);
    error.note(error_of(norm, root(squared(x) + squared(y) + squared(z))), x, y, z);
    ASSERT_TRUE(same_bits(norm, routine_call::lapy3(-x, -y, -z)));
  }
  EXPECT_TRUE(error.is_within(2.25));
}

TYPED_TEST(Norm, OfThreeIsTheFormula) {
  using R = TypeParam;
  Random random(36);
  for (int count = 0; count < cases; ++count) {
    const R x = R(random.real()), y = R(random.real()), z = R(random.real());
    const R w = std::max({std::abs(x), std::abs(y), std::abs(z)});
    const volatile R rx = std::abs(x) / w, ry = std::abs(y) / w, rz = std::abs(z) / w;
    const volatile R xx = rx * rx, yy = ry * ry, zz = rz * rz, xy = xx + yy, sum = xy + zz,
                     norm = w * std::sqrt(R(sum));
    ASSERT_TRUE(same_bits(routine_call::lapy3(x, y, z), R(norm))) << x << ", " << y << ", " << z;
  }
}

TYPED_TEST(Norm, OfThreeAtTheEdges) {
  using R = TypeParam;
  using routine_call::lapy3;
  EXPECT_TRUE(same_bits(lapy3(R(0), R(-0.0), R(0)), R(0)));
  EXPECT_TRUE(same_bits(lapy3(R(-0.0), R(-0.0), R(-0.0)), R(0)));
  EXPECT_TRUE(same_bits(lapy3(R(0), R(-7), R(0)), R(7)));
  for (const R other : {R(0), R(1), inf<R>}) {
    EXPECT_TRUE(std::isnan(lapy3(nan<R>, other, other))) << other;
    EXPECT_TRUE(std::isnan(lapy3(other, nan<R>, other))) << other;
    EXPECT_TRUE(std::isnan(lapy3(other, other, nan<R>))) << other;
  }
}

}  // namespace
}  // namespace nuv::test
