// The vector kernels that replace elements by linear combinations: ?copy, ?swap, ?scal, ?axpy, ?rot, ?rotm.

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/streaming.hpp"
#include "blas.hpp"
#include "kernels/vector_cases.hpp"
#include "support/sparse_array.hpp"

namespace nuv::test {
namespace {

template <class T>
class LinearKernels : public testing::Test {
 protected:
  Random random{21};
};
TYPED_TEST_SUITE(LinearKernels, Precisions, PrecisionLetter);

template <class T>
class RealLinearKernels : public LinearKernels<T> {};
TYPED_TEST_SUITE(RealLinearKernels, RealPrecisions, PrecisionLetter);

template <class T>
class ComplexLinearKernels : public LinearKernels<T> {};
TYPED_TEST_SUITE(ComplexLinearKernels, ComplexPrecisions, PrecisionLetter);

constexpr Int lowest = std::numeric_limits<Int>::min();

/// x := xx x + xy y, y := yx x + yy y
template <Scalar T>
struct Combination {
  T xx, xy, yx, yy;
};

/// What should become of two vectors, by a plain loop in the wide type.
template <Scalar T>
class Expectation {
 public:
  Expectation(Int n, const Operand<T>& x, const Operand<T>& y, const Combination<T>& by)
      : x_(x, rounding(by.xx, by.xy)),
        y_(y, rounding(by.yx, by.yy)),
        rounds_(x.stored() < n || y.stored() < n ? n : 1) {
    for (Int i = 0; i < n; ++i) {
      const Int j = x.slot(i), k = y.slot(i);
      combine(x_.value[j], y_.value[k], wide(by.xx), wide(by.xy), wide(by.yx), wide(by.yy));
      combine(x_.size[j], y_.size[k], size_of(wide(by.xx)), size_of(wide(by.xy)), size_of(wide(by.yx)),
              size_of(wide(by.yy)));
    }
  }

  void expect(const Operand<T>& x, const Operand<T>& y) const {
    SCOPED_TRACE("x");
    x_.expect(x, rounds_);
    SCOPED_TRACE("y");
    y_.expect(y, rounds_);
  }

 private:
  struct Side {
    std::vector<Wide<T>> value;
    std::vector<WideReal<T>> size;  // of the terms that were added up
    double rounding;

    Side(const Operand<T>& x, double rounding_) : rounding(rounding_) {
      for (Int i = 0; i < x.stored(); ++i) {
        value.push_back(wide(x[i]));
        size.push_back(size_of(wide(x[i])));
      }
    }

    void expect(const Operand<T>& x, Int rounds) const {
      for (Int i = 0; i < x.stored(); ++i) {
        ASSERT_LE(std::abs(wide(x[i]) - value[i]), rounding * rounds * epsilon<T> * size[i]) << "element " << i;
      }
    }
  };

  /// What one combination may lose, in units of eps times the size of its terms: nothing where it only moves numbers.
  static double rounding(T first, T second) {
    const bool moves = (first == T(0) || first == T(1)) && (second == T(0) || second == T(1)) && first != second;
    return moves ? 0 : 4;
  }

  template <class W>
  static void combine(W& x, W& y, W xx, W xy, W yx, W yy) {
    const W combined = xx * x + xy * y;
    y = yx * x + yy * y;
    x = combined;
  }

  Side x_, y_;
  Int rounds_;
};

/// The results of a kernel in the first shape in which it was run for a length.
template <Scalar T>
class FirstResult {
 public:
  /// An element's result depends on its operands alone: it has the same bits in any shape.
  void expect_same(Int n, const Operand<T>& x, const Operand<T>& y) {
    if (n != n_) {
      n_ = n;
      x_.clear(), y_.clear();
      for (Int i = 0; i < n; ++i) x_.push_back(x[i]), y_.push_back(y[i]);
    }
    for (Int i = 0; i < n; ++i) {
      ASSERT_TRUE(same_bits(x[i], x_[i])) << "x, element " << i;
      ASSERT_TRUE(same_bits(y[i], y_[i])) << "y, element " << i;
    }
  }

 private:
  Int n_ = -1;
  std::vector<T> x_, y_;
};

/// Runs kernel(n, x, y) on pairs of all shapes.
template <Scalar T, class Kernel>
void expect_combination(const Combination<T>& by, Kernel kernel) {
  FirstResult<T> first_result;
  const auto run = [&](const Shape& shape) {
    SCOPED_TRACE(shape.text());
    Random random(static_cast<std::uint64_t>(shape.n));
    Operand<T> x(random, shape.n, shape.incx, shape.offset_x), y(random, shape.n, shape.incy, shape.offset_y);
    const Expectation<T> expectation(shape.n, x, y, by);
    kernel(shape.n, x, y);
    EXPECT_TRUE(x.guards_unchanged());
    EXPECT_TRUE(y.guards_unchanged());
    expectation.expect(x, y);
    if (x.stored() == shape.n && y.stored() == shape.n) first_result.expect_same(shape.n, x, y);
  };
  for (const Shape& shape : shapes()) run(shape);
  for (const Shape& shape : degenerate_shapes()) run(shape);

  Random random(0);
  Operand<T> x(random, 3, 1), y(random, 3, 1);
  for (const Int n : {0, -1, lowest}) {
    for (const Int inc : {1, -1, 2, 0}) {
      kernel(n, Vector<T>{Vector<T>(x).data, inc}, Vector<T>{Vector<T>(y).data, inc});
    }
  }
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.unchanged());
}

TYPED_TEST(LinearKernels, Copies) {
  using T = TypeParam;
  expect_combination<T>({1, 0, 1, 0}, [](Int n, Vector<T> x, Vector<T> y) { blas::copy(n, x, y); });
}

// What is too long for the caches is written past them, as soon as addresses allow it. Complex numbers may begin at any
// address of a real one.
TYPED_TEST(LinearKernels, CopiesWhatIsTooLongForTheCaches) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr std::ptrdiff_t parts = sizeof(T) / sizeof(R), beyond = 8;
  const Int n = Int(streaming_bytes / sizeof(T)) + 5;
  std::vector<R> x(n * parts);
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = R(i % 8191);
  for (const std::ptrdiff_t offset : {0, 1, 2, 3}) {
    SCOPED_TRACE(offset);
    std::vector<R> y(x.size() + beyond, R(-1));
    blas::copy(n, {reinterpret_cast<const T*>(x.data()), 1}, {reinterpret_cast<T*>(y.data() + offset), 1});
    const auto from = y.begin() + offset, until = from + n * parts;
    EXPECT_TRUE(std::equal(x.begin(), x.end(), from));
    EXPECT_EQ(std::count(y.begin(), from, R(-1)), offset);
    EXPECT_EQ(std::count(until, y.end(), R(-1)), beyond - offset);
  }
}

TYPED_TEST(LinearKernels, Swaps) {
  using T = TypeParam;
  expect_combination<T>({0, 1, 1, 0}, [](Int n, Vector<T> x, Vector<T> y) { blas::swap(n, x, y); });
}

TYPED_TEST(LinearKernels, MovesAnyBits) {
  using T = TypeParam;
  for (const Int inc : {1, 2}) {
    GuardedVector<T> nothing(21, inc), x = random_vector<T>(this->random, 21, inc), y = x;
    blas::copy(21, nothing, y);
    EXPECT_TRUE(y.same_as(nothing));
    blas::swap(21, x, y);
    EXPECT_TRUE(x.same_as(nothing));
    blas::swap(21, x, y);
    EXPECT_TRUE(y.same_as(nothing));
    EXPECT_TRUE(x.unchanged());
  }
}

TYPED_TEST(LinearKernels, AddsAMultiple) {
  using T = TypeParam;
  for (const T alpha : {number<T>(0.7, -0.4), T(1), T(-3)}) {
    expect_combination<T>({1, 0, alpha, 1}, [=](Int n, Vector<T> x, Vector<T> y) { blas::axpy(n, alpha, x, y); });
  }
}

TYPED_TEST(LinearKernels, AddsNothingForAZeroFactor) {
  using T = TypeParam;
  for (const Int n : {1, 5, 70}) {
    GuardedVector<T> not_read(n, 1), y = random_vector<T>(this->random, n, 1);
    blas::axpy(n, T(0), not_read, y);
    EXPECT_TRUE(y.unchanged());
  }
}

TYPED_TEST(LinearKernels, Rotates) {
  using T = TypeParam;
  const auto c = Real<T>(0.6);
  for (const T s : {number<T>(0.48, 0.64), T(Real<T>(-0.8)), T(0)}) {
    expect_combination<T>({T(c), s, -conjugate(s), T(c)},
                          [=](Int n, Vector<T> x, Vector<T> y) { blas::rot(n, x, y, c, s); });
  }
}

TYPED_TEST(ComplexLinearKernels, RotatesWithARealSine) {
  using T = TypeParam;
  const auto c = Real<T>(0.6), s = Real<T>(-0.8);
  expect_combination<T>({T(c), T(s), T(-s), T(c)}, [=](Int n, Vector<T> x, Vector<T> y) { blas::rot(n, x, y, c, s); });
}

TYPED_TEST(RealLinearKernels, AppliesModifiedRotations) {
  using T = TypeParam;
  const T h11 = T(1.25), h21 = T(-0.3), h12 = T(0.7), h22 = T(-2.5), hole = guard<T>();
  const auto expect_form = [&](const Combination<T>& by, const std::vector<T>& param) {
    SCOPED_TRACE(testing::Message() << "flag " << param[0]);
    const T* const data = param.data();
    expect_combination<T>(by, [=](Int n, Vector<T> x, Vector<T> y) { blas::rotm(n, x, y, data); });
  };
  expect_form({1, 0, 0, 1}, {-2, hole, hole, hole, hole});
  expect_form({h11, h12, h21, h22}, {-1, h11, h21, h12, h22});
  expect_form({1, h12, h21, 1}, {0, hole, h21, h12, hole});
  expect_form({h11, 1, -1, h22}, {1, h11, hole, hole, h22});
}

// -------------------------------------------------------------------------------------------------------------- scal

/// Runs kernel(n, x), which scales x by a factor, on vectors of all shapes.
template <Scalar T, class Kernel>
void expect_scaling(Random& random, T factor, Kernel kernel) {
  for (const Shape& shape : shapes()) {
    if (shape.incx < 1 || shape.incy != 1) continue;
    SCOPED_TRACE(shape.text());
    Operand<T> x(random, shape.n, shape.incx, shape.offset_x);
    kernel(shape.n, x);
    EXPECT_TRUE(x.guards_unchanged());
    for (Int i = 0; i < shape.n; ++i) {
      const Wide<T> expected = wide(factor) * wide(x.sealed(i));
      ASSERT_LE(std::abs(wide(x[i]) - expected), 2 * epsilon<T> * size_of(wide(factor)) * size_of(wide(x.sealed(i))));
      if constexpr (RealScalar<T>) {
        ASSERT_EQ(x[i], factor * x.sealed(i));
      }
    }
  }
  Operand<T> x(random, 4, 1);
  for (const auto& [n, inc] : {std::pair{0, 1}, {-2, 1}, {lowest, 1}, {3, 0}, {3, -1}, {3, -2}}) {
    kernel(n, Vector<T>{Vector<T>(x).data + 2, inc});
  }
  EXPECT_TRUE(x.unchanged());
}

TYPED_TEST(LinearKernels, Scales) {
  using T = TypeParam;
  for (const T alpha : {T(0), T(1), T(-1), number<T>(0.3, -1.7), number<T>(0, 2)}) {
    SCOPED_TRACE(testing::Message() << "alpha " << alpha);
    expect_scaling<T>(this->random, alpha, [=](Int n, Vector<T> x) { blas::scal(n, alpha, x); });
  }
}

TYPED_TEST(ComplexLinearKernels, ScalesByARealFactor) {
  using T = TypeParam;
  for (const Real<T> alpha : {Real<T>(0), Real<T>(1), Real<T>(-1.7)}) {
    SCOPED_TRACE(testing::Message() << "alpha " << alpha);
    expect_scaling<T>(this->random, T(alpha), [=](Int n, Vector<T> x) { blas::scal(n, alpha, x); });
  }
}

TYPED_TEST(LinearKernels, KeepsWhatIsNotANumberWhenItScalesByZero) {
  using T = TypeParam;
  for (const Int inc : {1, 3}) {
    GuardedVector<T> x = random_vector<T>(this->random, 37, inc);
    x(5) = guard<T>();
    blas::scal(37, T(0), x);
    for (Int i = 1; i <= 37; ++i) ASSERT_EQ(std::isnan(std::real(x(i))), i == 5);
  }
}

// ------------------------------------------------------------------------------------------------------- far elements

TYPED_TEST(LinearKernels, ReachesElementsFarApart) {
  using T = TypeParam;
  if constexpr (sizeof(void*) == 8) {
    // Element 3 of each vector lies behind the range of a 32-bit count of elements.
    constexpr Int inc = 1'100'000'000;
    SparseArray<T> far_x(2 * std::size_t{inc} + 1), far_y(2 * std::size_t{inc} + 1);
    for (std::size_t i = 0; i < 3; ++i) far_x.data()[i * inc] = T(Real<T>(i + 1));
    const Vector<T> x{far_x.data(), inc}, y{far_y.data(), inc}, backwards{far_y.data(), -inc};
    blas::copy(3, x, y);
    blas::axpy(3, T(10), x, backwards);
    blas::scal(3, T(2), y);
    EXPECT_EQ(y.data[0], T(62));
    EXPECT_EQ(y.data[std::size_t{inc}], T(44));
    EXPECT_EQ(y.data[2 * std::size_t{inc}], T(26));
    EXPECT_EQ(blas::iamax(3, y), 1);
    EXPECT_EQ(blas::iamin(3, y), 3);
  }
}

}  // namespace
}  // namespace nuv::test
