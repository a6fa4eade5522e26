// The kernels that construct plane rotations, ?rotg and ?rotmg, and the one that applies many, ?lartv.

#include <cmath>
#include <limits>

#include "blas.hpp"
#include "kernels/vector_cases.hpp"

namespace nuv::test {
namespace {

template <class T>
class Rotations : public testing::Test {
 protected:
  Random random{23};
};
TYPED_TEST_SUITE(Rotations, Precisions, PrecisionLetter);

template <class T>
class RealRotations : public Rotations<T> {};
TYPED_TEST_SUITE(RealRotations, RealPrecisions, PrecisionLetter);

template <class T>
class ComplexRotations : public Rotations<T> {};
TYPED_TEST_SUITE(ComplexRotations, ComplexPrecisions, PrecisionLetter);

// -------------------------------------------------------------------------------------------------------------- rotg

/// Exponents from the smallest number of a precision to where the length of a pair still can't overflow.
template <RealScalar R>
std::vector<int> exponents() {
  using Limits = std::numeric_limits<R>;
  std::vector<int> all;
  for (int e = Limits::min_exponent - Limits::digits; e < Limits::max_exponent; e += Limits::max_exponent / 16) {
    all.push_back(e);
  }
  all.push_back(Limits::max_exponent - 2);
  return all;
}

template <Scalar T>
T scaled(T x, int exponent) {
  if constexpr (ComplexScalar<T>) {
    return {std::ldexp(x.real(), exponent), std::ldexp(x.imag(), exponent)};
  } else {
    return std::ldexp(x, exponent);
  }
}

/// Expects that the rotation takes (a, b) to (r, 0) and is one.
template <Scalar T>
void expect_rotation(T a, T b, Real<T> c, T s, T r) {
  using Limits = std::numeric_limits<Real<T>>;
  const WideReal<T> size = std::hypot(std::abs(wide(a)), std::abs(wide(b)));
  const WideReal<T> bound = 8 * epsilon<T> * size + 4 * Limits::denorm_min();
  const Wide<T> wide_c = wide(T(c));
  EXPECT_LE(std::abs(wide_c * wide(a) + wide(s) * wide(b) - wide(r)), bound);
  EXPECT_LE(std::abs(wide_c * wide(b) - wide(conjugate(s)) * wide(a)), bound);
  EXPECT_LE(std::abs(std::abs(wide(r)) - size), bound);
  EXPECT_LE(std::abs(std::norm(wide_c) + std::norm(wide(s)) - 1), 8 * epsilon<T>);
}

template <Scalar T, class Visit>
void for_each_pair_of_magnitudes(Random& random, Visit visit) {
  for (const int a_exponent : exponents<Real<T>>()) {
    for (const int b_exponent : exponents<Real<T>>()) {
      for (int repetition = 0; repetition < 4; ++repetition) {
        const T a = scaled(random.divisor<T>(), a_exponent - 1), b = scaled(random.divisor<T>(), b_exponent - 1);
        SCOPED_TRACE(testing::Message() << a << " and " << b);
        visit(a, b);
      }
    }
  }
}

TYPED_TEST(RealRotations, BringsTheSecondNumberToZero) {
  using T = TypeParam;
  for_each_pair_of_magnitudes<T>(this->random, [](const T a, const T b) {
    T r = a, z = b, c = 0, s = 0;
    blas::rotg(r, z, c, s);
    expect_rotation<T>(a, b, c, s, r);
    EXPECT_EQ(std::signbit(r), std::signbit(std::abs(a) > std::abs(b) ? a : b));
    EXPECT_EQ(z, std::abs(a) > std::abs(b) ? s : c != 0 ? 1 / c : T(1));
  });
}

TYPED_TEST(RealRotations, EncodesTheRotation) {
  using T = TypeParam;
  for (int repetition = 0; repetition < 100; ++repetition) {
    T r = this->random.real(), z = this->random.real(), c = 0, s = 0;
    blas::rotg(r, z, c, s);
    const T found_c = std::abs(z) < 1 ? std::sqrt(1 - z * z) : 1 / z;
    const T found_s = std::abs(z) < 1 ? z : std::sqrt(1 - found_c * found_c);
    EXPECT_NEAR(std::abs(found_c), std::abs(c), 8 * epsilon<T>);
    EXPECT_NEAR(std::abs(found_s), std::abs(s), 8 * epsilon<T> / std::abs(s));
  }
}

TYPED_TEST(RealRotations, NeedsNoRotationForZeros) {
  using T = TypeParam;
  struct Case {
    T a, b, c, s, r, z;
  };
  for (const Case& one :
       {Case{0, 0, 1, 0, 0, 0}, {3, 0, 1, 0, 3, 0}, {-3, 0, 1, 0, -3, 0}, {0, 4, 0, 1, 4, 1}, {0, -4, 0, 1, -4, 1}}) {
    T a = one.a, b = one.b, c = 7, s = 7;
    blas::rotg(a, b, c, s);
    EXPECT_EQ(a, one.r);
    EXPECT_EQ(b, one.z);
    EXPECT_EQ(c, one.c);
    EXPECT_EQ(s, one.s);
  }
}

TYPED_TEST(RealRotations, RotatesTheClassicTriangle) {
  using T = TypeParam;
  T a = 3, b = 4, c = 0, s = 0;
  blas::rotg(a, b, c, s);
  EXPECT_EQ(a, 5);
  EXPECT_EQ(c, T(0.6));
  EXPECT_EQ(s, T(0.8));
  EXPECT_EQ(b, 1 / T(0.6));
}

TYPED_TEST(ComplexRotations, BringsTheSecondNumberToZero) {
  using T = TypeParam;
  for_each_pair_of_magnitudes<T>(this->random, [](const T a, const T b) {
    T r = a, s = 0;
    Real<T> c = 0;
    blas::rotg(r, b, c, s);
    expect_rotation<T>(a, b, c, s, r);
    EXPECT_GE(c, 0);
    // r has the direction of a.
    const Wide<T> direction = wide(a) / std::abs(wide(a));
    EXPECT_LE(std::abs(wide(r) - direction * std::abs(wide(r))),
              8 * epsilon<T> * std::abs(wide(r)) + 4 * std::numeric_limits<Real<T>>::denorm_min());
  });
}

TYPED_TEST(ComplexRotations, NeedsNoRotationForZeros) {
  using T = TypeParam;
  struct Case {
    T a, b;
    Real<T> c;
    T s, r;
  };
  for (const Case& one : {Case{{3, -4}, 0, 1, 0, {3, -4}}, {0, {0, 2}, 0, 1, {0, 2}}, {0, 0, 0, 1, 0}}) {
    T a = one.a, s = 7;
    Real<T> c = 7;
    blas::rotg(a, one.b, c, s);
    EXPECT_EQ(a, one.r);
    EXPECT_EQ(c, one.c);
    EXPECT_EQ(s, one.s);
  }
}

// ------------------------------------------------------------------------------------------------------------- rotmg

/// The rotation of five numbers as a matrix: h11, h21, h12, h22.
template <RealScalar T>
std::vector<WideReal<T>> modified_rotation(const T* param) {
  if (param[0] == -2) return {1, 0, 0, 1};
  if (param[0] == -1) return {param[1], param[2], param[3], param[4]};
  if (param[0] == 0) return {1, param[2], param[3], 1};
  return {param[1], -1, 1, param[4]};
}

TYPED_TEST(RealRotations, BringsTheSecondWeightedNumberToZero) {
  using T = TypeParam;
  int seen[3] = {};
  for (int repetition = 0; repetition < 4000; ++repetition) {
    const auto positive = [&](int range) {
      return std::ldexp(T(1 + std::abs(this->random.real())), this->random.integer(-range, range));
    };
    const int range = repetition % 2 == 0 ? 2 : std::numeric_limits<T>::max_exponent / 5;
    const T d1 = positive(range), d2 = positive(range) * (repetition % 5 == 0 ? -1 : 1);
    const T x1 = T(this->random.real() < 0 ? -1 : 1) * positive(3),
            y1 = T(this->random.real() < 0 ? -1 : 1) * positive(3);
    SCOPED_TRACE(testing::Message() << "weights " << d1 << ", " << d2 << ", numbers " << x1 << ", " << y1);
    T new_d1 = d1, new_d2 = d2, new_x1 = x1, param[7];
    std::fill(param, param + 7, guard<T>());
    blas::rotmg(new_d1, new_d2, new_x1, y1, param + 1);
    EXPECT_TRUE(same_bits(param[0], guard<T>()));
    EXPECT_TRUE(same_bits(param[6], guard<T>()));
    const T flag = param[1];
    ASSERT_TRUE(flag == -1 || flag == 0 || flag == 1) << flag;
    ++seen[int(flag) + 1];
    // What the form implies is not written.
    for (const int diagonal : {1, 4}) EXPECT_EQ(same_bits(param[1 + diagonal], guard<T>()), flag == 0);
    for (const int other : {2, 3}) EXPECT_EQ(same_bits(param[1 + other], guard<T>()), flag == 1);

    using W = WideReal<T>;
    const W q1 = W(d1) * x1 * x1, q2 = W(d2) * y1 * y1;
    if (q2 < 0 && std::abs(q1) <= std::abs(q2)) {
      // There is no rotation.
      EXPECT_EQ(flag, -1);
      for (const T zero : {new_d1, new_d2, new_x1, param[2], param[3], param[4], param[5]}) EXPECT_EQ(zero, 0);
      continue;
    }
    for (const T weight : {new_d1, std::abs(new_d2)}) {
      EXPECT_GT(weight, T(1) / (4096 * 4096));
      EXPECT_LT(weight, T(4096 * 4096));
    }
    const std::vector<W> h = modified_rotation(param + 1);
    // With negative weights the terms cancel; so errors are counted against the terms.
    const W tolerance = 40 * epsilon<T>, size = std::abs(q1) + std::abs(q2), ratio = size / std::abs(q1 + q2);
    EXPECT_LE(std::abs(h[0] * x1 + h[2] * y1 - new_x1), tolerance * (std::abs(h[0] * x1) + std::abs(h[2] * y1)));
    EXPECT_LE(std::abs(h[1] * x1 + h[3] * y1), tolerance * (std::abs(h[1] * x1) + std::abs(h[3] * y1)));
    EXPECT_LE(std::abs(W(new_d1) * new_x1 * new_x1 - (q1 + q2)), tolerance * ratio * size);
    // The rotation keeps the weighted form: H^T diag(new d) H = diag(d).
    EXPECT_LE(std::abs(new_d1 * h[0] * h[0] + new_d2 * h[1] * h[1] - d1),
              tolerance * ratio * (std::abs(new_d1 * h[0] * h[0]) + std::abs(new_d2 * h[1] * h[1])));
    EXPECT_LE(std::abs(new_d1 * h[2] * h[2] + new_d2 * h[3] * h[3] - d2),
              tolerance * ratio * (std::abs(new_d1 * h[2] * h[2]) + std::abs(new_d2 * h[3] * h[3])));
    EXPECT_LE(std::abs(new_d1 * h[0] * h[2] + new_d2 * h[1] * h[3]),
              tolerance * ratio * (std::abs(new_d1 * h[0] * h[2]) + std::abs(new_d2 * h[1] * h[3])));
  }
  for (const int count : seen) EXPECT_GT(count, 100);
}

TYPED_TEST(RealRotations, NeedsNoModifiedRotationForZeros) {
  using T = TypeParam;
  for (const auto& [d2, y1] : {std::pair<T, T>{0, 3}, {2, 0}, {-2, 0}}) {
    T d1 = 5, weight = d2, x1 = 7, param[5];
    std::fill(param, param + 5, guard<T>());
    blas::rotmg(d1, weight, x1, y1, param);
    EXPECT_EQ(param[0], -2);
    for (int i = 1; i < 5; ++i) EXPECT_TRUE(same_bits(param[i], guard<T>()));
    EXPECT_EQ(d1, 5);
    EXPECT_EQ(weight, d2);
    EXPECT_EQ(x1, 7);
  }
}

TYPED_TEST(RealRotations, GivesUpOnANegativeFirstWeight) {
  using T = TypeParam;
  T d1 = -1, d2 = 2, x1 = 3, param[5];
  std::fill(param, param + 5, guard<T>());
  blas::rotmg(d1, d2, x1, T(4), param);
  EXPECT_EQ(param[0], -1);
  for (const T zero : {d1, d2, x1, param[1], param[2], param[3], param[4]}) EXPECT_EQ(zero, 0);
}

TYPED_TEST(RealRotations, EndsOnInfiniteWeights) {
  using T = TypeParam;
  const T infinity = std::numeric_limits<T>::infinity();
  for (const auto& [one, other] : {std::pair<T, T>{infinity, 1}, {1, infinity}, {infinity, infinity}}) {
    T d1 = one, d2 = other, x1 = 1, param[5] = {};
    blas::rotmg(d1, d2, x1, T(1), param);
    EXPECT_FALSE(std::isfinite(d1) && std::isfinite(d2) && d1 != 0 && d2 != 0);
  }
}

TYPED_TEST(RealRotations, ConstructsWhatTheOtherKernelApplies) {
  using T = TypeParam;
  T d1 = 2, d2 = 3, x1 = T(0.75), param[5] = {};
  const T y1 = T(-1.5);
  T x[] = {x1}, y[] = {y1};
  blas::rotmg(d1, d2, x1, y1, param);
  blas::rotm(1, {x, 1}, {y, 1}, param);
  EXPECT_NEAR(x[0], x1, 4 * epsilon<T> * std::abs(x1));
  EXPECT_NEAR(y[0], 0, 4 * epsilon<T>);
}

// ------------------------------------------------------------------------------------------------------------- lartv

TYPED_TEST(Rotations, AppliesManyRotations) {
  using T = TypeParam;
  constexpr Int increments[] = {1, 2, 5};
  for (const Int n : {0, 1, 2, 3, 8, 17, 70}) {
    for (const Int incx : increments) {
      for (const Int incy : increments) {
        for (const Int incc : increments) {
          SCOPED_TRACE(testing::Message() << n << " pairs, increments " << incx << ", " << incy << ", " << incc);
          Operand<T> x(this->random, n, incx), y(this->random, n, incy);
          const Operand<Real<T>> c(this->random, n, incc);
          const Operand<T> s(this->random, n, incc);
          blas::lartv(n, x, y, Vector<const Real<T>>(c).data, Vector<const T>(s).data, incc);
          EXPECT_TRUE(x.guards_unchanged());
          EXPECT_TRUE(y.guards_unchanged());
          EXPECT_TRUE(c.unchanged());
          EXPECT_TRUE(s.unchanged());
          for (Int i = 0; i < n; ++i) {
            const Wide<T> xi = wide(x.sealed(i)), yi = wide(y.sealed(i)), ci = wide(T(c[i])), si = wide(s[i]);
            const WideReal<T> bound = 8 * epsilon<T> * (size_of(xi) + size_of(yi));
            ASSERT_LE(std::abs(wide(x[i]) - (ci * xi + si * yi)), bound) << i;
            ASSERT_LE(std::abs(wide(y[i]) - (ci * yi - wide(conjugate(s[i])) * xi)), bound) << i;
          }
        }
      }
    }
  }
  Operand<T> x(this->random, 2, 1), y(this->random, 2, 1);
  const Real<T> c[] = {2};
  const T s[] = {T(3)};
  for (const Int n : {0, -1, std::numeric_limits<Int>::min()}) blas::lartv(n, x, y, c, s, 1);
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.unchanged());
}

}  // namespace
}  // namespace nuv::test
