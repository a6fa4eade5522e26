// The vector kernels with a value: dot products, sums, norms, places of extreme elements.

#include <cmath>
#include <limits>

#include "blas.hpp"
#include "kernels/vector_cases.hpp"

namespace nuv::test {
namespace {

template <class T>
class Reductions : public testing::Test {
 protected:
  Random random{22};
};
TYPED_TEST_SUITE(Reductions, Precisions, PrecisionLetter);

constexpr Int lowest = std::numeric_limits<Int>::min();

template <RealScalar R>
constexpr R nan = std::numeric_limits<R>::quiet_NaN();
template <RealScalar R>
constexpr R infinity = std::numeric_limits<R>::infinity();

// ---------------------------------------------------------------------------------------------------------- products

template <Scalar T>
T dot_product(bool conjugated, Int n, Vector<const T> x, Vector<const T> y) {
  if constexpr (ComplexScalar<T>) {
    return conjugated ? blas::dotc(n, x, y) : blas::dotu(n, x, y);
  } else {
    return blas::dot(n, x, y);
  }
}

TYPED_TEST(Reductions, MultipliesVectors) {
  using T = TypeParam;
  for (const bool conjugated : {false, true}) {
    std::vector<Shape> all = shapes();
    const std::vector<Shape> degenerate = degenerate_shapes();
    all.insert(all.end(), degenerate.begin(), degenerate.end());
    T at_aligned_addresses{};
    for (const Shape& shape : all) {
      SCOPED_TRACE(shape.text());
      Random random(static_cast<std::uint64_t>(shape.n));
      const Operand<T> x(random, shape.n, shape.incx, shape.offset_x), y(random, shape.n, shape.incy, shape.offset_y);
      Wide<T> expected = 0;
      WideReal<T> size = 0;
      for (Int i = 0; i < shape.n; ++i) {
        expected += (conjugated ? wide(conjugate(x[i])) : wide(x[i])) * wide(y[i]);
        size += size_of(wide(x[i])) * size_of(wide(y[i]));
      }
      const T result = dot_product<T>(conjugated, shape.n, x, y);
      EXPECT_LE(std::abs(wide(result) - expected), (2 + std::sqrt(shape.n)) * epsilon<T> * size);
      EXPECT_TRUE(x.unchanged());
      EXPECT_TRUE(y.unchanged());
      // The sum of contiguous vectors doesn't depend on where they lie.
      if (shape.incx == 1 && shape.incy == 1) {
        if (shape.offset_x == 0 && shape.offset_y == 0) at_aligned_addresses = result;
        EXPECT_TRUE(same_bits(result, at_aligned_addresses));
      }
    }
    const T x[] = {T(1), T(2)};
    for (const Int n : {0, -1, lowest}) {
      for (const Int inc : {1, -1, 0}) EXPECT_EQ(dot_product<T>(conjugated, n, {x, inc}, {x, inc}), T(0));
    }
  }
}

TYPED_TEST(Reductions, ConjugatesTheFirstVector) {
  using T = TypeParam;
  if constexpr (ComplexScalar<T>) {
    for (const Int inc : {1, 2}) {
      const T x[] = {T(1, 2), T(0), T(0, 1)}, y[] = {T(3, 4), T(0), T(5, 0)};
      EXPECT_EQ(blas::dotu(1, {x, inc}, {y, inc}), T(-5, 10));
      EXPECT_EQ(blas::dotc(1, {x, inc}, {y, inc}), T(11, -2));
      EXPECT_EQ(blas::dotc(1, {x + 2, inc}, {y + 2, inc}), T(0, -5));
    }
  }
}

TEST(MixedPrecision, MultipliesInDoublePrecision) {
  for (const Shape& shape : shapes()) {
    SCOPED_TRACE(shape.text());
    Random random(static_cast<std::uint64_t>(shape.n));
    const Operand<float> x(random, shape.n, shape.incx, shape.offset_x), y(random, shape.n, shape.incy, shape.offset_y);
    long double expected = 0, size = 0;
    for (Int i = 0; i < shape.n; ++i) {
      expected += static_cast<long double>(x[i]) * y[i];
      size += std::abs(static_cast<long double>(x[i]) * y[i]);
    }
    EXPECT_LE(std::abs(blas::dsdot(shape.n, x, y) - expected), (2 + std::sqrt(shape.n)) * epsilon<double> * size);
    const float b = 0.375f;
    EXPECT_LE(std::abs(blas::sdsdot(shape.n, b, x, y) - (b + expected)),
              epsilon<float> * std::abs(b + expected) + shape.n * epsilon<double> * size);
  }
  const float x[] = {1, 2};
  for (const Int n : {0, -1, lowest}) {
    EXPECT_EQ(blas::dsdot(n, {x, 1}, {x, 1}), 0);
    EXPECT_EQ(blas::sdsdot(n, 2.5f, {x, 1}, {x, 1}), 2.5f);
  }
}

TEST(MixedPrecision, LosesNoSmallTerms) {
  // 1e8 + 1 - 1e8: the one would be lost in single precision.
  std::vector<float> x(41, 0), y(41, 1);
  x[3] = 1e8f, x[20] = 1, x[40] = -1e8f;
  EXPECT_EQ(blas::dsdot(41, {x.data(), 1}, {y.data(), 1}), 1);
  EXPECT_EQ(blas::sdsdot(41, 1, {x.data(), 1}, {y.data(), 1}), 2);
  EXPECT_EQ(blas::dsdot(21, {x.data(), 2}, {y.data(), 1}), -99999999.0);
}

// ------------------------------------------------------------------------------------------------------ sums and norms

TYPED_TEST(Reductions, AddsMagnitudes) {
  using T = TypeParam;
  for (const Shape& shape : shapes()) {
    if (shape.incx < 1 || shape.incy != 1) continue;
    SCOPED_TRACE(shape.text());
    const Operand<T> x(this->random, shape.n, shape.incx, shape.offset_x);
    WideReal<T> expected = 0;
    for (Int i = 0; i < shape.n; ++i) expected += size_of(wide(x[i]));
    EXPECT_LE(std::abs(blas::asum(shape.n, x) - expected), (2 + std::sqrt(shape.n)) * epsilon<T> * expected);
  }
}

TYPED_TEST(Reductions, TakesNorms) {
  using T = TypeParam;
  for (const Shape& shape : shapes()) {
    if (shape.incx < 1 || shape.incy != 1) continue;
    SCOPED_TRACE(shape.text());
    const Operand<T> x(this->random, shape.n, shape.incx, shape.offset_x);
    WideReal<T> squares = 0;
    for (Int i = 0; i < shape.n; ++i) squares += std::norm(wide(x[i]));
    const WideReal<T> expected = std::sqrt(squares);
    EXPECT_LE(std::abs(blas::nrm2(shape.n, x) - expected), (2 + std::sqrt(shape.n) / 2) * epsilon<T> * expected);
  }
}

TYPED_TEST(Reductions, GivesZeroForNoVector) {
  using T = TypeParam;
  const T x[] = {T(1), T(2), T(3)};
  for (const auto& [n, inc] : {std::pair{0, 1}, {-3, 1}, {lowest, 1}, {2, 0}, {2, -1}}) {
    EXPECT_EQ(blas::asum(n, {x + 1, inc}), 0);
    EXPECT_EQ(blas::nrm2(n, {x + 1, inc}), 0);
    EXPECT_EQ(blas::iamax(n, {x + 1, inc}), 0);
    EXPECT_EQ(blas::iamin(n, {x + 1, inc}), 0);
  }
}

/// Scales all magnitudes of a precision: from its smallest number to where the norm itself overflows.
TYPED_TEST(Reductions, TakesNormsOfAnyMagnitude) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  for (int exponent = Limits::min_exponent - Limits::digits; exponent <= Limits::max_exponent; ++exponent) {
    for (const Int n : {1, 2, 3, 33, 130}) {
      for (const Int inc : {1, 2}) {
        SCOPED_TRACE(testing::Message() << n << " elements of magnitude 2^" << exponent << ", increment " << inc);
        Operand<T> x(this->random, n, inc);
        long double squares = 0;
        for (Int i = 0; i < n; ++i) {
          // Some elements far below the others, whose squares don't count or just about do.
          const int own = exponent - (i % 3 == 2 ? Limits::digits / 2 : 0);
          if constexpr (ComplexScalar<T>) {
            x[i] = {std::ldexp(x[i].real(), own), std::ldexp(x[i].imag(), own)};
          } else {
            x[i] = std::ldexp(x[i], own);
          }
          squares += std::norm(std::complex<long double>(x[i]));
        }
        const long double expected = std::sqrt(squares);
        const R result = blas::nrm2(n, x);
        if (expected >= static_cast<long double>(Limits::max()) * (1 + epsilon<T>)) {
          EXPECT_EQ(result, infinity<R>);
        } else if (expected <= static_cast<long double>(Limits::max()) * (1 - 8 * epsilon<T>)) {
          EXPECT_LE(std::abs(result - expected), 8 * epsilon<T> * expected + Limits::denorm_min());
        }
      }
    }
  }
}

TYPED_TEST(Reductions, TakesNormsOfMixedMagnitudes) {
  using T = TypeParam;
  using R = Real<T>;
  using Limits = std::numeric_limits<R>;
  const R huge = Limits::max() / 4, tiny = Limits::denorm_min();
  for (const Int n : {2, 9, 70}) {
    for (const Int inc : {1, 3}) {
      for (Int place = 1; place <= n; ++place) {
        GuardedVector<T> x(n, inc);
        for (Int i = 1; i <= n; ++i) x(i) = T(tiny);
        x(place) = T(-huge);
        ASSERT_EQ(blas::nrm2(n, x), huge);
        x(place) = T(1);
        ASSERT_EQ(blas::nrm2(n, x), 1);
        x(place) = number<T>(0, 0);
        ASSERT_NEAR(blas::nrm2(n, x), std::sqrt(R(n - 1)) * tiny, tiny);
      }
    }
  }
}

TYPED_TEST(Reductions, PassesOnWhatIsNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R scale : {R(1), std::numeric_limits<R>::max(), std::numeric_limits<R>::min()}) {
    for (const Int n : {1, 6, 40}) {
      for (const Int inc : {1, 2}) {
        for (Int place = 1; place <= n; ++place) {
          GuardedVector<T> x(n, inc), y(n, inc);
          for (Int i = 1; i <= n; ++i) x(i) = T(scale), y(i) = T(1);
          x(place) = T(-infinity<R>);
          ASSERT_EQ(blas::nrm2(n, x), infinity<R>);
          ASSERT_EQ(blas::asum(n, x), infinity<R>);
          x(n + 1 - place) = T(nan<R>);
          ASSERT_TRUE(std::isnan(blas::nrm2(n, x)));
          ASSERT_TRUE(std::isnan(blas::asum(n, x)));
          ASSERT_TRUE(std::isnan(std::real(dot_product<T>(true, n, x, y))));
          ASSERT_TRUE(std::isnan(std::real(dot_product<T>(false, n, y, x))));
        }
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------ extremes

/// A vector among numbers that would be preferred to any of its own, if they were read.
template <Scalar T>
class VectorAmongOthers {
 public:
  VectorAmongOthers(Int n, Int inc, Int offset, T other)
      : offset_(margin + std::size_t(offset)),
        inc_(inc),
        store_(offset_ + std::size_t(n) * std::size_t(inc) + margin, other) {}

  T& operator[](Int i) { return store_[offset_ + std::size_t(i) * std::size_t(inc_)]; }
  operator Vector<const T>() const { return {store_.data() + offset_, inc_}; }

 private:
  static constexpr std::size_t margin = 64;

  std::size_t offset_;
  Int inc_;
  std::vector<T, AlignedAllocator<T>> store_;
};

/// Runs a kernel against the loop by which it is defined; prefers(a, b) tells whether magnitude a takes the place of b.
template <Scalar T, class Kernel, class Prefers>
void expect_first(Random& random, T other, Kernel kernel, Prefers prefers) {
  using R = Real<T>;
  const R specials[] = {R(0),
                        -R(0),
                        nan<R>,
                        infinity<R>,
                        -infinity<R>,
                        std::numeric_limits<R>::max(),
                        std::numeric_limits<R>::denorm_min()};
  const auto small_integer = [&] { return R(random.integer(-9, 9)); };
  const auto any = [&] { return R(random.real()); };
  const auto with_specials = [&] { return random.integer(0, 5) == 0 ? random.pick(specials) : small_integer(); };
  const auto rarely_special = [&] { return random.integer(0, 99) == 0 ? random.pick(specials) : any(); };

  const auto expect_place = [&](Int n, const char* data, auto draw) {
    for (const Int inc : {1, 2, 7}) {
      for (const Int offset : {0, 1, 3}) {
        VectorAmongOthers<T> x(n, inc, offset, other);
        Int expected = 0;
        R best = 0;
        for (Int i = 0; i < n; ++i) {
          x[i] = draw();
          if constexpr (ComplexScalar<T>) x[i].imag(draw());
          const R candidate = size_of(x[i]);
          if (i == 0 || prefers(candidate, best)) {
            expected = i + 1;
            best = candidate;
          }
        }
        ASSERT_EQ(kernel(n, x), expected)
            << n << " elements, " << data << ", increment " << inc << ", offset " << offset;
      }
    }
  };
  std::vector<Int> lengths = vector_lengths();
  lengths.insert(lengths.end(), {2048, 5000});
  for (const Int n : lengths) {
    for (int repetition = 0; repetition < 3; ++repetition) {
      expect_place(n, "small integers", small_integer);
      expect_place(n, "any numbers", any);
      expect_place(n, "many special numbers", with_specials);
      expect_place(n, "few special numbers", rarely_special);
    }
    R next = 0;
    expect_place(n, "rising numbers", [&] { return next += 1; });
    expect_place(n, "falling numbers", [&] { return next -= 1; });
    expect_place(n, "zeros", [] { return R(0); });
    expect_place(n, "no numbers", [] { return nan<R>; });
  }
}

TYPED_TEST(Reductions, FindsTheFirstOfTheLargest) {
  using T = TypeParam;
  expect_first<T>(
      this->random, T(infinity<Real<T>>), [](Int n, Vector<const T> x) { return blas::iamax(n, x); },
      [](auto a, auto b) { return a > b; });
}

TYPED_TEST(Reductions, FindsTheFirstOfTheSmallest) {
  using T = TypeParam;
  expect_first<T>(
      this->random, T(0), [](Int n, Vector<const T> x) { return blas::iamin(n, x); },
      [](auto a, auto b) { return a < b; });
}

TEST(Magnitude, AddsThePartsOfANumber) {
  EXPECT_EQ(blas::dcabs1({-3, 4}), 7);
  EXPECT_EQ(blas::dcabs1({0, -0.5}), 0.5);
  EXPECT_EQ(blas::dcabs1({infinity<double>, -1}), infinity<double>);
  EXPECT_TRUE(std::isnan(blas::dcabs1({1, nan<double>})));
}

}  // namespace
}  // namespace nuv::test
