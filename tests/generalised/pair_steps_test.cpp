// What the iteration for generalised singular values is made of: lags2 and lapll.

#include <array>
#include <cmath>
#include <limits>

#include "routines.hpp"
#include "support/deadline.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

// -------------------------------------------------------------------------------------------------------------- lags2

template <class T>
class PairTwoByTwo : public testing::Test {};
TYPED_TEST_SUITE(PairTwoByTwo, Precisions, PrecisionLetter);

template <Scalar T>
struct Triangle {
  Real<T> first;
  T beside;
  Real<T> last;

  WideMatrix<T> matrix(bool upper) const {
    WideMatrix<T> A = WideMatrix<T>::Zero(2, 2);
    A(0, 0) = Wide<T>(first);
    A(1, 1) = Wide<T>(last);
    A(upper ? 0 : 1, upper ? 1 : 0) = wide(beside);
    return A;
  }
};

template <Scalar T>
struct Turn {
  Real<T> cs;
  T sn;

  WideMatrix<T> matrix() const {
    WideMatrix<T> G(2, 2);
    G(0, 0) = G(1, 1) = Wide<T>(cs);
    G(0, 1) = wide(sn);
    G(1, 0) = -wide(conjugate(sn));
    return G;
  }
  double error() const {
    return double(std::abs(WideReal<T>(cs) * WideReal<T>(cs) + std::norm(wide(sn)) - 1) / epsilon<T>);
  }
};

template <Scalar T>
struct Turns {
  Turn<T> u, v, q;

  Turns(bool upper, const Triangle<T>& A, const Triangle<T>& B) {
    routine_call::lags2(to_logical(upper), A.first, A.beside, A.last, B.first, B.beside, B.last, u.cs, u.sn, v.cs, v.sn,
                        q.cs, q.sn);
  }
};

/// How often each kind of pair was met, and such whose rows have lost much more in one matrix than in the other.
struct Kinds {
  std::array<int, 4> ways{};
  std::array<int, 2> unequal{};
};

/// A row that Q turns, of a matrix that U or V has turned.
struct RowBeforeQ {
  double loss = 0;   ///< the terms of the element that Q takes out, over the size of the row
  double error = 0;  ///< what Q leaves of it, over that size, in units of eps

  template <Scalar T>
  RowBeforeQ(bool upper, const Turn<T>& left, const Turn<T>& q, const Triangle<T>& triangle) {
    const int row = upper ? 0 : 1, out = 1 - row;
    const WideMatrix<T> L = left.matrix().adjoint(), X = triangle.matrix(upper), Q = q.matrix();
    const auto element = [&](int j) { return L(row, 0) * X(0, j) + L(row, 1) * X(1, j); };
    const auto size = std::abs(element(0)) + std::abs(element(1));
    if (size == 0) return;
    loss = double((std::abs(L(row, 0) * X(0, out)) + std::abs(L(row, 1) * X(1, out))) / size);
    error = double(std::abs(element(0) * Q(0, out) + element(1) * Q(1, out)) / size / epsilon<T>);
  }
};

/// Q comes from the row that has lost less.
template <Scalar T>
void expect_better_row(bool upper, const Turns<T>& turns, const Triangle<T>& A, const Triangle<T>& B, Kinds& kinds) {
  constexpr double much = 50;
  const RowBeforeQ a(upper, turns.u, turns.q, A), b(upper, turns.v, turns.q, B);
  if (a.loss == 0 || b.loss == 0) return;
  if (b.loss > much * a.loss) {
    EXPECT_LT(a.error, threshold * std::max(a.loss, 1.0));
    if (b.loss > much) ++kinds.unequal[0];
  } else if (a.loss > much * b.loss) {
    EXPECT_LT(b.error, threshold * std::max(b.loss, 1.0));
    if (a.loss > much) ++kinds.unequal[1];
  }
}

/// The rotations take out what they should, up to rounding beside each of the matrices, leave real diagonals, and make
/// the rows parallel.
template <Scalar T>
void expect_turned(bool upper, const Triangle<T>& A, const Triangle<T>& B, Kinds& kinds) {
  const Turns<T> turns(upper, A, B);
  for (const Turn<T>& turn : {turns.u, turns.v, turns.q}) ASSERT_LT(turn.error(), threshold);
  const auto turned = [&](const Turn<T>& left, const Triangle<T>& X) {
    const WideMatrix<T> Y =
        product<T>(WideMatrix<T>(left.matrix().adjoint()), product<T>(X.matrix(upper), turns.q.matrix()));
    const double size = one_norm<T>(X.matrix(upper));
    return WideMatrix<T>(Y / Wide<T>(size == 0 ? 1 : size));
  };
  const WideMatrix<T> a = turned(turns.u, A), b = turned(turns.v, B);
  const double eps = epsilon<T>;
  const int row = upper ? 0 : 1, column = 1 - row;
  EXPECT_LT(double(std::abs(a(row, column))), threshold * eps);
  EXPECT_LT(double(std::abs(b(row, column))), threshold * eps);
  for (int i = 0; i < 2; ++i) {
    EXPECT_LT(double(std::abs(std::imag(a(i, i)))), threshold * eps) << i;
    EXPECT_LT(double(std::abs(std::imag(b(i, i)))), threshold * eps) << i;
    EXPECT_LT(double(std::abs(a(i, 0) * b(i, 1) - a(i, 1) * b(i, 0))), threshold * eps) << i;
  }

  // Which of the four ways it went: by the larger entries of the decomposition of A adj(B).
  const WideMatrix<T> product_of_both = [&] {
    WideMatrix<T> adjugate = B.matrix(upper);
    std::swap(adjugate(0, 0), adjugate(1, 1));
    adjugate(0, 1) = -adjugate(0, 1);
    adjugate(1, 0) = -adjugate(1, 0);
    return product<T>(A.matrix(upper), adjugate);
  }();
  const auto part = [&, size = std::max(double(one_norm<T>(product_of_both)), 1e-300)](int i, int j) {
    return double(std::abs(product_of_both(i, j))) / size;
  };
  double smaller, larger, sr, cr, sl, cl;
  routine_call::lasv2(part(0, 0), part(row, column), part(1, 1), smaller, larger, sr, cr, sl, cl);
  const bool kept = std::abs(cl) >= std::abs(sl) || std::abs(cr) >= std::abs(sr);
  ++kinds.ways[std::size_t((upper ? 0 : 2) + (kept ? 0 : 1))];
  // One of U and V turns by an eighth at most.
  const auto is_small = [](const Turn<T>& turn) {
    return std::abs(turn.cs) >= std::abs(turn.sn) * (1 - 4 * epsilon<T>);
  };
  EXPECT_TRUE(is_small(turns.u) || is_small(turns.v));
  expect_better_row(upper, turns, A, B, kinds);
}

/// Elements of sizes that have nothing to do with each other.
template <Scalar T>
Triangle<T> random_graded(Random& random, int grades) {
  const auto size = [&] { return std::ldexp(Real<T>(1), int(random.integer(-grades, grades))); };
  return {size() * std::real(random.scalar<T>()), size() * random.scalar<T>(), size() * std::real(random.scalar<T>())};
}

TYPED_TEST(PairTwoByTwo, TurnsTrianglesIntoTheOtherKind) {
  using T = TypeParam;
  Random random(841);
  Kinds kinds;
  for (int count = 0; count < 12000; ++count) {
    const int grades = count % 3 == 0 ? 0 : count % 3 == 1 ? 6 : 20;
    const Triangle<T> A = random_graded<T>(random, grades), B = random_graded<T>(random, grades);
    expect_turned(count % 2 == 0, A, B, kinds);
    if (this->HasFailure())
      FAIL() << count << ", A " << A.first << ' ' << A.beside << ' ' << A.last << ", B " << B.first << ' ' << B.beside
             << ' ' << B.last;
  }
  for (const int way : kinds.ways) EXPECT_GT(way, 500);
  for (const int unequal : kinds.unequal) EXPECT_GT(unequal, 50);
}

/// A pair of triangles of whose rows that Q could come from one has lost two to four times as much as the other. More
/// is not at stake where the size of one term of the element that is taken out is mistaken.
struct UnequalRows {
  bool upper, a_is_better;
  std::array<double, 6> elements;
};
constexpr UnequalRows unequal_rows[] = {{true, true, {0.140625, 6, -0.46875, -0.203125, 7.5, -0.5}},
                                        {true, true, {-0.3125, -8, 12, -0.234375, 13, 0.34375}},
                                        {true, false, {-0.171875, 4.5, 15, -0.15625, -5, -0.21875}},
                                        {false, false, {0.25, -10, 0.15625, -1.625, -10, -0.125}},
                                        {false, false, {-1, -13, 0.140625, 10, 8, 0.15625}},
                                        {false, true, {-1, 13, 0.5, -10, -3.25, 0.15625}}};

/// Rounding hides it in a single pair, but not in the sum of many: Q takes more out of the row that it comes from.
TYPED_TEST(PairTwoByTwo, ChoosesBetweenRowsThatHaveLostLittle) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(847);
  for (const auto& [upper, a_is_better, elements] : unequal_rows) {
    double of_better = 0, of_worse = 0;
    for (int count = 0; count < 400; ++count) {
      const auto near = [&](double x) { return R(x) * (1 + R(random.real()) / 16); };
      const T direction = random.divisor<T>(), unit = direction / std::abs(direction);
      const auto& x = elements;
      const Triangle<T> A{near(x[0]), near(x[1]) * unit, near(x[2])}, B{near(x[3]), near(x[4]) * unit, near(x[5])};
      const Turns<T> turns(upper, A, B);
      const RowBeforeQ a(upper, turns.u, turns.q, A), b(upper, turns.v, turns.q, B);
      const RowBeforeQ &better = a_is_better ? a : b, &worse = a_is_better ? b : a;
      EXPECT_GT(worse.loss, 1.5 * better.loss);
      of_better += better.error;
      of_worse += worse.error;
    }
    EXPECT_LT(of_better, 0.75 * of_worse) << upper << a_is_better << elements[0];
  }
}

/// All small integers, among them singular matrices and multiples of each other.
TYPED_TEST(PairTwoByTwo, TurnsTrianglesOfSmallIntegers) {
  using T = TypeParam;
  using R = Real<T>;
  Kinds kinds;
  const auto each = [](auto visit) {
    for (int x = -2; x <= 2; ++x) visit(R(x));
  };
  each([&](R a1) {
    each([&](R a2) {
      each([&](R a3) {
        each([&](R b1) {
          each([&](R b2) {
            each([&](R b3) {
              // Where B is singular the rows of A are not to be parallel to anything.
              if (b1 == 0 || b3 == 0 || this->HasFailure()) return;
              for (const bool upper : {true, false}) {
                SCOPED_TRACE(testing::Message()
                             << upper << ' ' << a1 << ' ' << a2 << ' ' << a3 << ", " << b1 << ' ' << b2 << ' ' << b3);
                expect_turned<T>(upper, {a1, T(a2), a3}, {b1, T(b2), b3}, kinds);
              }
            });
          });
        });
      });
    });
  });
}

/// Scales of either matrix change nothing: products of elements would leave the range.
TYPED_TEST(PairTwoByTwo, DoesNotDependOnScales) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(843);
  using Limits = std::numeric_limits<R>;
  const R large = std::ldexp(R(1), Limits::max_exponent - 4);
  const R small = std::ldexp(R(1), Limits::min_exponent + Limits::digits);
  for (int count = 0; count < 200; ++count) {
    const Triangle<T> A = random_graded<T>(random, 0), B = random_graded<T>(random, 0);
    const bool upper = count % 2 == 0;
    const Turns<T> expected(upper, A, B);
    for (const R scale_of_a : {R(1), large, small}) {
      for (const R scale_of_b : {R(1), large, small}) {
        const auto scaled = [](const Triangle<T>& X, R scale) {
          return Triangle<T>{X.first * scale, X.beside * scale, X.last * scale};
        };
        const Turns<T> turns(upper, scaled(A, scale_of_a), scaled(B, scale_of_b));
        const auto expect_equal = [](const Turn<T>& turn, const Turn<T>& other) {
          EXPECT_LE(std::abs(turn.cs - other.cs), 64 * epsilon<T>);
          EXPECT_LE(std::abs(turn.sn - other.sn), 64 * epsilon<T>);
        };
        expect_equal(turns.u, expected.u);
        expect_equal(turns.v, expected.v);
        expect_equal(turns.q, expected.q);
      }
    }
  }
}

TYPED_TEST(PairTwoByTwo, EndsForNumbersThatAreNotFinite) {
  using T = TypeParam;
  using R = Real<T>;
  const R inf = std::numeric_limits<R>::infinity(), nan = std::numeric_limits<R>::quiet_NaN();
  for (const bool upper : {true, false}) {
    for (const R value : {inf, -inf, nan}) {
      for (int place = 0; place < 6; ++place) {
        Triangle<T> A{1, T(2), 3}, B{4, T(-3), 2};
        Triangle<T>& X = place < 3 ? A : B;
        if (place % 3 == 0) X.first = value;
        if (place % 3 == 1) X.beside = T(value);
        if (place % 3 == 2) X.last = value;
        const Deadline deadline(20, "lags2");
        const Turns<T> turns(upper, A, B);
        int lost = 0;
        for (const Turn<T>& turn : {turns.u, turns.v, turns.q}) {
          if (!(turn.error() < threshold)) ++lost;
          EXPECT_TRUE(turn.error() < threshold || std::isnan(turn.error())) << upper << ' ' << value << ' ' << place;
        }
        if (std::isnan(value)) {
          EXPECT_GT(lost, 0) << upper << ' ' << place;
        }
      }
    }
  }
}

/// Only the lowest bit of a logical counts.
TYPED_TEST(PairTwoByTwo, TakesLogicalsOfAnyKind) {
  using T = TypeParam;
  const auto cosine = [](Logical upper) {
    Turn<T> u, v, q;
    routine_call::lags2(upper, Real<T>(1), T(2), Real<T>(5), Real<T>(3), T(-1), Real<T>(2), u.cs, u.sn, v.cs, v.sn,
                        q.cs, q.sn);
    return u.cs;
  };
  EXPECT_EQ(cosine(1), cosine(-1));
  EXPECT_EQ(cosine(2), cosine(0));
  EXPECT_NE(cosine(0), cosine(1));
}

// -------------------------------------------------------------------------------------------------------------- lapll

template <class T>
class ParallelVectors : public testing::Test {
 protected:
  Random random{851};
};
TYPED_TEST_SUITE(ParallelVectors, Precisions, PrecisionLetter);

template <Scalar T>
Real<T> distance_of(GuardedVector<T> x, GuardedVector<T> y) {
  Real<T> ssmin = -7;
  routine_call::lapll(x.size(), x, y, ssmin);
  EXPECT_TRUE(x.guards_unchanged());
  EXPECT_TRUE(y.guards_unchanged());
  return ssmin;
}

template <Scalar T>
WideMatrix<T> two_columns(const GuardedVector<T>& x, const GuardedVector<T>& y) {
  WideMatrix<T> A(x.size(), 2);
  A.col(0) = wide(x).col(0);
  A.col(1) = wide(y).col(0);
  return A;
}

TYPED_TEST(ParallelVectors, HaveTheSmallerSingularValueOfBoth) {
  using T = TypeParam;
  for (const Int n : {2, 3, 4, 9, 40}) {
    for (const Int incx : {1, 3}) {
      for (const Int incy : {1, 2}) {
        for (const double share : {1.0, 1e-3, 0.0}) {
          SCOPED_TRACE(testing::Message() << n << ' ' << incx << ' ' << incy << ' ' << share);
          GuardedVector<T> x = random_vector<T>(this->random, n, incx), y = random_vector<T>(this->random, n, incy);
          const T factor = this->random.template scalar<T>();
          for (Int i = 1; i <= n; ++i) y(i) = Real<T>(share) * y(i) + factor * x(i);
          y.seal();
          const WideVector<T> exact = wide_singular_values<T>(two_columns(x, y));
          const double error = double(std::abs(WideReal<T>(distance_of(x, y)) - exact(1)));
          EXPECT_LT(error, threshold * n * double(exact(0)) * epsilon<T>);
        }
      }
    }
  }
}

TYPED_TEST(ParallelVectors, OfOneElementOrNoneAreParallel) {
  using T = TypeParam;
  for (const Int n : {-1, 0, 1}) {
    GuardedVector<T> x = random_vector<T>(this->random, 1, 1), y = random_vector<T>(this->random, 1, 1);
    Real<T> ssmin = -7;
    routine_call::lapll(n, x, y, ssmin);
    EXPECT_TRUE(same_bits(ssmin, Real<T>(0)));
    EXPECT_TRUE(x.unchanged() && y.unchanged());
  }
}

TYPED_TEST(ParallelVectors, OfExactNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const auto vector = [](R first, R second) {
    GuardedVector<T> x(2);
    x(1) = T(first);
    x(2) = T(second);
    x.seal();
    return x;
  };
  EXPECT_EQ(distance_of<T>(vector(3, 0), vector(-2, 0)), 0);
  EXPECT_EQ(distance_of<T>(vector(0, 0), vector(1, 5)), 0);
  EXPECT_NEAR(distance_of<T>(vector(3, 0), vector(0, 2)), 2, 2 * epsilon<T>);
  EXPECT_NEAR(distance_of<T>(vector(0, 3), vector(4, 0)), 3, 8 * epsilon<T>);
}

TYPED_TEST(ParallelVectors, ShowsNaN) {
  using T = TypeParam;
  const Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
  for (Int i = 1; i <= 3; ++i) {
    GuardedVector<T> x = random_vector<T>(this->random, 3, 1), y = random_vector<T>(this->random, 3, 1), z = x;
    z(i) = T(nan);
    EXPECT_TRUE(std::isnan(distance_of(z, y)));
    EXPECT_TRUE(std::isnan(distance_of(x, z)));
  }
}

}  // namespace
}  // namespace nuv::test
