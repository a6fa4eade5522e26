// Complex symmetric matrices of order two: A V = V diag(rt1, rt2) with V^T V = I, unless V would be too long.

#include <array>

#include "environment/quad.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <class T>
class ComplexSymmetric : public testing::Test {};
TYPED_TEST_SUITE(ComplexSymmetric, ComplexPrecisions, PrecisionLetter);

template <ComplexScalar T>
struct Matrix2 {
  T a, b, c;

  friend std::ostream& operator<<(std::ostream& out, const Matrix2& A) {
    return out << "[" << A.a << " " << A.b << "; " << A.c << "]";
  }
};

template <ComplexScalar T>
struct Eigenpairs {
  T rt1 = guard<T>(), rt2 = rt1, evscal = rt1, cs1 = rt1, sn1 = rt1;

  explicit Eigenpairs(const Matrix2<T>& A) { routine_call::laesy(A.a, A.b, A.c, rt1, rt2, evscal, cs1, sn1); }

  bool has_unit_vectors() const { return evscal != T(0); }
};

/// || A (x, y) - rt (x, y) || / (|| A || || (x, y) || eps) in maxima of magnitudes.
template <ComplexScalar T>
double residual(const Matrix2<T>& A, T rt, T x_, T y_) {
  const QuadComplex a(A.a), b(A.b), c(A.c), x(x_), y(y_), value(rt);
  const Quad first = magnitude(a * x + b * y - value * x), second = magnitude(b * x + c * y - value * y);
  const Quad norm = std::max({magnitude(a), magnitude(b), magnitude(c)});
  const Quad length = std::max(magnitude(x), magnitude(y));
  return double(std::max(first, second) / (norm * length * Quad(epsilon<T>)));
}

/// |x^2 + y^2 - 1| / (|| (x, y) ||^2 eps)
template <ComplexScalar T>
double distance_from_unit(T x_, T y_) {
  const QuadComplex x(x_), y(y_);
  const Quad square = squared(magnitude(x)) + squared(magnitude(y));
  return double(magnitude(x * x + y * y - QuadComplex(1)) / (square * Quad(epsilon<T>)));
}

TYPED_TEST(ComplexSymmetric, EigenvaluesAndVectors) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(61);
  Worst first_error, second_error, unit_error, length_error;
  int scaled = 0, unscaled = 0;
  constexpr int limit = std::numeric_limits<R>::max_exponent / 4;
  NumberSource<R> source(random, -limit, limit);
  const auto next = [&] {
    const R re = source.next();
    return T(re, source.next());
  };
  for (int count = 0; count < cases / 4; ++count) {
    source.next_group();
    const T a = next(), b = next(), c = next();
    // Now and then a matrix that has a double eigenvalue but for a few roundings, or near that.
    const T nearly_defective = a + b * T(0, 2) * (1 + random.integer(-3, 3) * (count % 3 == 0 ? epsilon<T> : R(0.001)));
    const Matrix2<T> A{a, b, count % 4 == 0 ? nearly_defective : c};
    const Eigenpairs<T> pairs(A);
    ASSERT_GE(magnitude(QuadComplex(pairs.rt1)) * (1 + Quad(epsilon<T>)), magnitude(QuadComplex(pairs.rt2))) << A;
    if (A.a == T(0) && A.b == T(0) && A.c == T(0)) continue;
    first_error.note(residual(A, pairs.rt1, pairs.cs1, pairs.sn1), A);
    if (pairs.has_unit_vectors()) {
      ++scaled;
      second_error.note(residual(A, pairs.rt2, -pairs.sn1, pairs.cs1), A);
      unit_error.note(distance_from_unit(pairs.cs1, pairs.sn1), A);
      ASSERT_GE(pairs.evscal.real(), 0) << A;
      ASSERT_TRUE(b == T(0) ? pairs.evscal == T(1) : pairs.cs1 == pairs.evscal) << A;
      ASSERT_LE(magnitude(QuadComplex(pairs.evscal)), Quad(10) * (1 + 2 * Quad(epsilon<T>))) << A;
    } else {
      ++unscaled;
      ASSERT_EQ(pairs.cs1, T(1)) << A;
      const QuadComplex y(pairs.sn1);
      length_error.note(double(magnitude(y * y + QuadComplex(1))) / 0.01, A);
    }
  }
  EXPECT_TRUE(first_error.is_within(10));
  EXPECT_TRUE(second_error.is_within(10));
  EXPECT_TRUE(unit_error.is_within(10));
  EXPECT_TRUE(length_error.is_within(1 + 1000 * epsilon<T>));
  EXPECT_GT(scaled, cases / 8);
  EXPECT_GT(unscaled, cases / 100);
}

TYPED_TEST(ComplexSymmetric, DiagonalMatricesAreOnlyPutInOrder) {
  using T = TypeParam;
  using R = Real<T>;
  const T tie(5);
  const struct {
    T a, c;
    bool exchanges;
  } cases[] = {{T(2), T(0, 1), false},    {T(0, 1), T(2), true}, {T(3, -4), tie, false}, {tie, T(3, -4), false},
               {T(0), T(R(0), -1), true}, {T(0), T(0), false},   {T(4, 4), T(5), false}};
  for (const T b : {T(0), T(R(-0.0), 0), T(0, R(-0.0))}) {
    for (const auto& [a, c, exchanges] : cases) {
      const Eigenpairs<T> pairs({a, b, c});
      EXPECT_TRUE(same_bits(pairs.rt1, exchanges ? c : a) && same_bits(pairs.rt2, exchanges ? a : c)) << a << c;
      EXPECT_TRUE(same_bits(pairs.cs1, T(exchanges ? 0 : 1)) && same_bits(pairs.sn1, T(exchanges ? 1 : 0))) << a << c;
      EXPECT_TRUE(same_bits(pairs.evscal, T(1)));
    }
  }
}

TYPED_TEST(ComplexSymmetric, MatricesOfKnownEigenvalues) {
  using T = TypeParam;
  using R = Real<T>;
  // A real matrix, as it is and turned in the complex plane; the diagonal in both orders.
  for (const T turn : {T(1), T(0, 1), T(-1), T(1, 1)}) {
    const Eigenpairs<T> first({T(7) * turn, T(2) * turn, T(4) * turn}), second({T(4) * turn, T(2) * turn, T(7) * turn});
    for (const Eigenpairs<T>& pairs : {first, second}) {
      EXPECT_LE(std::abs(pairs.rt1 - T(8) * turn), 8 * epsilon<T>);
      EXPECT_LE(std::abs(pairs.rt2 - T(3) * turn), 8 * epsilon<T>);
    }
    const R root = 1 / std::sqrt(R(5));
    EXPECT_LE(std::abs(first.cs1 - 2 * root) + std::abs(first.sn1 - root), 4 * epsilon<T>);
    EXPECT_LE(std::abs(second.cs1 - root) + std::abs(second.sn1 - 2 * root), 4 * epsilon<T>);
  }
}

TYPED_TEST(ComplexSymmetric, DefectiveMatricesHaveNoUnitVector) {
  using T = TypeParam;
  // Both eigenvalues are (a + c) / 2, of the vector (1, i) or (1, -i), whose square is zero.
  const T i(0, 1);
  for (const T b : {i, T(0, -1)}) {
    for (const T mean : {T(0), T(3), T(-2, 5)}) {
      const Eigenpairs<T> pairs({mean + T(1), b, mean - T(1)});
      EXPECT_EQ(pairs.rt1, mean);
      EXPECT_EQ(pairs.rt2, mean);
      EXPECT_EQ(pairs.evscal, T(0));
      EXPECT_EQ(pairs.cs1, T(1));
      EXPECT_EQ(pairs.sn1, b);
    }
  }
}

TYPED_TEST(ComplexSymmetric, VectorsUpToTenTimesAsLongAreScaled) {
  using T = TypeParam;
  using R = Real<T>;
  // The eigenvalues 10 + w and 10 - w; the square of the vector (1, y) for the first is 2 w / (1 + w).
  for (const auto& [w, scales] : {std::pair(0.004, false), std::pair(0.0049, false), std::pair(0.0051, true),
                                  std::pair(0.006, true), std::pair(0.1, true)}) {
    const Matrix2<T> A{T(11), T(0, R(std::sqrt(1 - w * w))), T(9)};
    const Eigenpairs<T> pairs(A);
    EXPECT_EQ(pairs.has_unit_vectors(), scales) << w;
    EXPECT_LE(residual(A, pairs.rt1, pairs.cs1, pairs.sn1), 10) << w;
    // A unit in the last place of b or of a square is 1 / (2 w) of them in w, which moves 1 / sqrt(w) by that over 2 w.
    const double expected = std::sqrt((1 + w) / (2 * w));
    if (scales) {
      EXPECT_NEAR(std::abs(pairs.evscal), expected, double(epsilon<T>) * expected / (w * w)) << w;
    }
  }
}

TYPED_TEST(ComplexSymmetric, NaNShowsInBothEigenvalues) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr R nan = std::numeric_limits<R>::quiet_NaN();
  const auto is_nan = [](T z) { return std::isnan(z.real()) || std::isnan(z.imag()); };
  for (const T bad : {T(nan, 1), T(1, nan), T(nan, 0), T(0, nan)}) {
    for (const Matrix2<T>& A : {Matrix2<T>{bad, T(1), T(2)}, {T(1), bad, T(2)}, {T(1), T(2), bad}, {T(0), bad, T(0)}}) {
      const Eigenpairs<T> pairs(A);
      EXPECT_TRUE(is_nan(pairs.rt1) && is_nan(pairs.rt2) && is_nan(pairs.sn1)) << A;
      EXPECT_EQ(pairs.evscal, T(0)) << A;
    }
    // The eigenvalues of a diagonal matrix stand on it.
    EXPECT_TRUE(is_nan(Eigenpairs<T>({bad, T(0), T(2)}).rt1));
    EXPECT_TRUE(is_nan(Eigenpairs<T>({T(1), T(0), bad}).rt2));
  }
}

/// lacrt with the matrix [c s; -s c], which need not be orthogonal.
TYPED_TEST(ComplexSymmetric, RotatesPairsOfElements) {
  using T = TypeParam;
  const T c{1, 2}, s{3, -1};
  for (const Int incx : {1, 2, -1}) {
    for (const Int incy : {1, 3, -2}) {
      constexpr Int n = 3;
      GuardedVector<T> x(n * std::abs(incx)), y(n * std::abs(incy));
      const auto place = [](Int i, Int inc) { return inc > 0 ? 1 + i * inc : 1 + (i - n + 1) * inc; };
      for (Int i = 0; i < n; ++i) {
        x(place(i, incx)) = T(i + 1, 1);
        y(place(i, incy)) = T(2, i - 1);
      }
      x.seal();
      y.seal();
      routine_call::lacrt(n, x.data(), incx, y.data(), incy, c, s);
      for (Int i = 0; i < n; ++i) {
        const T x0(i + 1, 1), y0(2, i - 1);
        EXPECT_EQ(x(place(i, incx)), c * x0 + s * y0);
        EXPECT_EQ(y(place(i, incy)), c * y0 - s * x0);
      }
      EXPECT_TRUE(x.guards_unchanged() && y.guards_unchanged());
    }
  }
  T x{1, 1}, y{2, 2};
  routine_call::lacrt(0, &x, 1, &y, 1, c, s);
  EXPECT_EQ(x, T(1, 1));
  EXPECT_EQ(y, T(2, 2));
}

}  // namespace
}  // namespace nuv::test
