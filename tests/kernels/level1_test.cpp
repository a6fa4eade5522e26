// The vector kernels i?amax, ?scal and ?swap.

#include "blas.hpp"
#include "support/kernel_cases.hpp"
#include "support/random.hpp"
#include "support/reported_errors.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class Level1 : public ReportingTest {
 protected:
  Random random{12};
};
TYPED_TEST_SUITE(Level1, Precisions, PrecisionLetter);

/// The sizes of all kernels and some that only long loops see.
std::vector<Int> lengths() {
  std::vector<Int> all = kernel_sizes();
  all.insert(all.end(), {127, 128, 1000});
  return all;
}

// ------------------------------------------------------------------------------------------------------------- iamax

/// A vector among numbers larger than any of its own, where an unread guard would not be told from a read one.
template <Scalar T>
class VectorAmongGiants {
 public:
  VectorAmongGiants(Int n, Int inc)
      : inc_(inc), store_(margin + std::size_t(std::max(n, 0)) * std::size_t(inc) + margin, T(Real<T>(1e30))) {}

  T& operator()(Int i) { return store_[margin + std::size_t(i - 1) * std::size_t(inc_)]; }
  operator Vector<const T>() const { return {store_.data() + margin, inc_}; }

 private:
  static constexpr std::size_t margin = 64;

  Int inc_;
  std::vector<T> store_;
};

TYPED_TEST(Level1, FindsTheFirstOfTheLargest) {
  using T = TypeParam;
  for (const Int n : lengths()) {
    for (const Int inc : {1, 2, 7}) {
      VectorAmongGiants<T> x(n, inc);
      const auto fill = [&] {
        for (Int i = 1; i <= n; ++i) x(i) = this->random.template scalar<T>();
      };
      for (int place = 0; place < (n > 0 ? 8 : 0); ++place) {
        fill();
        const Int first = this->random.integer(1, n), second = this->random.integer(first, n);
        x(first) = T(-5);
        x(second) = T(5);
        EXPECT_EQ(blas::iamax(n, x), first) << n << " elements, increment " << inc;
      }
      fill();
      Int expected = n > 0 ? 1 : 0;
      const auto size = [&](Int i) { return std::abs(std::real(x(i))) + std::abs(std::imag(x(i))); };
      for (Int i = 2; i <= n; ++i) expected = size(i) > size(expected) ? i : expected;
      EXPECT_EQ(blas::iamax(n, x), expected) << n << " elements, increment " << inc;
    }
  }
}

TYPED_TEST(Level1, FindsTheFirstOfAllZeros) {
  using T = TypeParam;
  for (const Int n : {1, 2, 9, 70}) {
    VectorAmongGiants<T> x(n, 1);
    for (Int i = 1; i <= n; ++i) x(i) = T(0);
    EXPECT_EQ(blas::iamax(n, x), 1);
  }
}

TYPED_TEST(Level1, MeasuresByTheSumOfParts) {
  using T = TypeParam;
  VectorAmongGiants<T> x(4, 1);
  for (Int i = 1; i <= 4; ++i) x(i) = T(1);
  x(2) = T(-6);
  x(4) = factor_of<T>(-3, 4);  // shorter than 6, but 7 by its parts
  EXPECT_EQ(blas::iamax(4, x), ComplexScalar<T> ? 4 : 2);
}

TYPED_TEST(Level1, FindsNothingInNoVector) {
  using T = TypeParam;
  const T x[] = {T(1), T(2), T(3)};
  EXPECT_EQ(blas::iamax(0, {x, 1}), 0);
  EXPECT_EQ(blas::iamax(-3, {x, 1}), 0);
  EXPECT_EQ(blas::iamax(2, {x, 0}), 0);
  EXPECT_EQ(blas::iamax(2, {x + 2, -1}), 0);
}

// -------------------------------------------------------------------------------------------------------------- scal

TYPED_TEST(Level1, Scales) {
  using T = TypeParam;
  for (const T alpha : {T(0), T(1), T(-1), factor_of<T>(0.3, -1.7)}) {
    for (const Int n : lengths()) {
      for (const Int inc : {1, 2, 7}) {
        SCOPED_TRACE(std::to_string(n) + " elements, increment " + std::to_string(inc));
        GuardedVector<T> x = random_vector<T>(this->random, n, inc);
        const Sum<T> expected = Sum<T>(n, 1).add(alpha, wide(x));
        blas::scal(n, alpha, x);
        EXPECT_TRUE(x.guards_unchanged());
        EXPECT_LT(expected.error_of(wide(x)), 4);
        if constexpr (RealScalar<T>) {
          for (Int i = 1; i <= n; ++i) ASSERT_EQ(x(i), alpha * x.sealed(i));
        }
      }
    }
  }
}

TYPED_TEST(Level1, ScalesNothingWithoutElements) {
  using T = TypeParam;
  GuardedVector<T> x = random_vector<T>(this->random, 4, 1);
  for (const auto& [n, inc] : {std::pair{0, 1}, {-2, 1}, {3, 0}, {3, -1}, {3, -2}}) {
    blas::scal(n, T(2), {x.data() + 3, inc});
    EXPECT_TRUE(x.unchanged()) << n << " elements, increment " << inc;
  }
}

// -------------------------------------------------------------------------------------------------------------- swap

TYPED_TEST(Level1, Swaps) {
  using T = TypeParam;
  for (const Int n : lengths()) {
    for (const Int incx : increments) {
      for (const Int incy : increments) {
        SCOPED_TRACE(std::to_string(n) + " elements, increments " + std::to_string(incx) + ", " + std::to_string(incy));
        GuardedVector<T> x = random_vector<T>(this->random, n, incx), y = random_vector<T>(this->random, n, incy);
        blas::swap(n, x, y);
        EXPECT_TRUE(x.guards_unchanged());
        EXPECT_TRUE(y.guards_unchanged());
        for (Int i = 1; i <= n; ++i) {
          ASSERT_TRUE(same_bits(x(i), y.sealed(i)));
          ASSERT_TRUE(same_bits(y(i), x.sealed(i)));
        }
      }
    }
  }
}

TYPED_TEST(Level1, SwapsNothingWithoutElements) {
  using T = TypeParam;
  GuardedVector<T> x = random_vector<T>(this->random, 2, 1), y = random_vector<T>(this->random, 2, 1);
  for (const Int n : {0, -1, -5}) {
    for (const Int inc : {1, -1, 2}) blas::swap(n, {x.data() + 1, inc}, {y.data(), inc});
  }
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.unchanged());
}

}  // namespace
}  // namespace nuv::test
