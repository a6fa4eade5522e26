// Extreme singular values of triangles that grow by a column: laic1.

#include <cmath>
#include <limits>
#include <vector>

#include "orthogonal/factored.hpp"
#include "routines.hpp"
#include "support/wide_spectrum.hpp"

namespace nuv::test {
namespace {

constexpr Int to_the_largest = 1, to_the_smallest = 2;

template <class T>
class IncrementalCondition : public testing::Test {
 protected:
  Random random{211};

  /// A number of that magnitude; complex ones have any phase.
  T with_phase(Real<T> size) {
    if constexpr (ComplexScalar<T>) {
      return std::polar(size, Real<T>(4 * random.real()));
    } else {
      return random.real() < 0 ? -size : size;
    }
  }
};
TYPED_TEST_SUITE(IncrementalCondition, Precisions, PrecisionLetter);

template <Scalar T>
struct Estimate {
  Real<T> sestpr = -1;
  T s = T(77), c = T(77);
};

template <Scalar T>
Estimate<T> estimate(Int job, const GuardedVector<T>& x, Real<T> sest, const GuardedVector<T>& w, T gamma) {
  Estimate<T> result;
  routine_call::laic1(job, x.size(), x.data(), sest, w.data(), gamma, result.sestpr, result.s, result.c);
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(w.unchanged());
  return result;
}

/// One element, for triangles of order two.
template <Scalar T>
GuardedVector<T> single(T x) {
  GuardedVector<T> vector(1);
  vector(1) = x;
  vector.seal();
  return vector;
}

/// The columns of a triangle without its last one, the vector that is known for them, and the last column.
template <Scalar T>
struct Growth {
  WideMatrix<T> R;  ///< j by j
  GuardedVector<T> x, w;
  T gamma;

  Real<T> sest() const { return Real<T>((wide(x).adjoint() * R).norm()); }

  Estimate<T> next(Int job) const { return estimate(job, x, sest(), w, gamma); }

  WideMatrix<T> grown() const {
    const Eigen::Index j = R.rows();
    WideMatrix<T> result = WideMatrix<T>::Zero(j + 1, j + 1);
    result.topLeftCorner(j, j) = R;
    if (j > 0) result.topRightCorner(j, 1) = wide(w);
    result(j, j) = wide(gamma);
    return result;
  }

  WideMatrix<T> grown_vector(const Estimate<T>& found) const {
    WideMatrix<T> result(R.rows() + 1, 1);
    for (Int i = 1; i <= x.size(); ++i) result(i - 1, 0) = wide(found.s) * wide(x(i));
    result(R.rows(), 0) = wide(found.c);
    return result;
  }

  /// The extreme lengths of (s x, c)^H R+, the smaller one without cancellation: their product is sest |gamma|.
  struct Extremes {
    WideReal<T> smallest, largest;
  };
  Extremes extremes() const {
    const auto size = wide(sest()), g = std::abs(wide(gamma));
    const WideMatrix<T> products = wide(x).adjoint() * wide(w);
    const auto a = x.size() == 0 ? WideReal<T>(0) : std::abs(products(0, 0));
    const WideReal<T> sum = std::hypot(a, g + size);
    const WideReal<T> difference = std::hypot(a, g - size);
    const WideReal<T> largest = (sum + difference) / 2;
    return {largest == 0 ? 0 : size * (g / largest), largest};
  }
};

template <Scalar T>
void expect_extreme(const Growth<T>& growth, Int job) {
  const Estimate<T> found = growth.next(job);
  const auto [smallest, largest] = growth.extremes();
  const WideReal<T> allowed = threshold * epsilon<T>;
  const WideReal<T> expected = job == to_the_largest ? largest : smallest;
  EXPECT_LE(std::abs(wide(found.sestpr) - expected), allowed * largest) << found.sestpr << " is not " << expected;
  // The vector that it speaks of.
  const WideMatrix<T> vector = growth.grown_vector(found);
  const WideReal<T> length = (vector.adjoint() * growth.grown()).norm();
  EXPECT_LE(std::abs(wide(found.sestpr) - length), allowed * largest) << found.sestpr << " is not " << length;
  if (growth.x.size() > 0) {
    EXPECT_LE(std::abs(std::norm(wide(found.s)) + std::norm(wide(found.c)) - 1), allowed);
  }
}

/// Everything that may be negligible beside the others, on both sides of where it is.
template <Scalar T>
std::vector<Real<T>> sizes() {
  const Real<T> eps = epsilon<T> / 2, root = std::sqrt(eps);
  return {0, eps * eps, eps / 4, eps, 3 * eps, root, Real<T>(0.75), 1, Real<T>(1.25), 1 / root, 1 / (3 * eps), 4 / eps};
}

TYPED_TEST(IncrementalCondition, FindsTheExtremeOfTwoByTwo) {
  using T = TypeParam;
  for (const Real<T> sest : sizes<T>()) {
    for (const Real<T> alpha : sizes<T>()) {
      for (const Real<T> gamma : sizes<T>()) {
        SCOPED_TRACE(testing::Message() << "sest " << sest << ", alpha " << alpha << ", gamma " << gamma);
        const Growth<T> growth{WideMatrix<T>::Constant(1, 1, wide(this->with_phase(sest))), single(this->with_phase(1)),
                               single(this->with_phase(alpha)), this->with_phase(gamma)};
        expect_extreme(growth, to_the_largest);
        expect_extreme(growth, to_the_smallest);
      }
    }
  }
}

TYPED_TEST(IncrementalCondition, FindsTheExtremeOfAVectorAndAColumn) {
  using T = TypeParam;
  for (const Int j : {2, 3, 9, 30}) {
    for (int repeat = 0; repeat < 10; ++repeat) {
      SCOPED_TRACE(testing::Message() << "order " << j);
      GuardedVector<T> x = random_vector<T>(this->random, j, 1);
      const auto norm = Real<T>(wide(x).norm());
      for (Int i = 1; i <= j; ++i) x(i) /= norm;
      x.seal();
      const Growth<T> growth{wide_triangle(random_triangle<T>(this->random, true, false, j, j), true, false), x,
                             random_vector<T>(this->random, j, 1), this->random.template scalar<T>()};
      expect_extreme(growth, to_the_largest);
      expect_extreme(growth, to_the_smallest);
    }
  }
}

/// Column after column, as those who look for the rank do.
TYPED_TEST(IncrementalCondition, BoundsTheSingularValuesOfATriangle) {
  using T = TypeParam;
  for (const Int n : {5, 40}) {
    for (int repeat = 0; repeat < 5; ++repeat) {
      const GuardedMatrix<T> R = random_triangle<T>(this->random, true, false, n, n + 1);
      for (const Int job : {to_the_largest, to_the_smallest}) {
        GuardedVector<T> x(n);
        x(1) = T(1);
        Real<T> sest = std::abs(R(1, 1));
        for (Int j = 1; j < n; ++j) {
          Estimate<T> next;
          routine_call::laic1(job, j, x.data(), sest, &R(1, j + 1), R(j + 1, j + 1), next.sestpr, next.s, next.c);
          for (Int i = 1; i <= j; ++i) x(i) *= next.s;
          x(j + 1) = next.c;
          sest = next.sestpr;
        }
        const WideMatrix<T> triangle = wide_triangle(R, true, false);
        const WideVector<T> values = wide_singular_values<T>(triangle);
        const WideReal<T> rounding = n * threshold * epsilon<T> * values(0);
        // It is a true length, and not far off: less than a factor of three or so (C. H. Bischof).
        EXPECT_LE(std::abs((wide(x).adjoint() * triangle).norm() - sest), rounding);
        if (job == to_the_largest) {
          EXPECT_LE(sest, values(0) + rounding);
          EXPECT_GE(sest, values(0) / 3);
        } else {
          EXPECT_GE(sest, values(n - 1) - rounding);
          EXPECT_LE(sest, values(n - 1) * 5);
        }
      }
    }
  }
}

template <Scalar T>
void expect_exactly(const Estimate<T>& found, Real<T> sestpr, T s, T c) {
  EXPECT_EQ(found.sestpr, sestpr);
  EXPECT_EQ(found.s, s);
  EXPECT_EQ(found.c, c);
}

TYPED_TEST(IncrementalCondition, LeavesOutWhatIsNegligible) {
  using T = TypeParam;
  using R = Real<T>;
  const R eps = epsilon<T> / 2, above = 2 * eps;
  const T none(0), one(1);
  const auto next = [&](Int job, R sest, R alpha, R gamma) {
    return estimate(job, single(one), sest, single(T(alpha)), T(gamma));
  };
  // Nothing at all.
  expect_exactly(next(to_the_largest, 0, 0, 0), R(0), none, one);
  expect_exactly(next(to_the_smallest, 0, 0, 0), R(0), one, none);
  // A diagonal element of eps is; one of twice that counts.
  expect_exactly(next(to_the_largest, 1, 0.75, eps), R(1.25), one, none);
  expect_exactly(next(to_the_smallest, 1, 0.75, eps), eps, none, one);
  EXPECT_NE(next(to_the_largest, 1, 0.75, above).c, none);
  EXPECT_NE(next(to_the_smallest, 1, 0.75, above).s, none);
  // A column beside the diagonal likewise.
  for (const R gamma : {R(0.5), R(1), R(2)}) {
    const bool by_gamma = gamma > 1;
    expect_exactly(next(to_the_largest, 1, eps, gamma), std::max(R(1), gamma), by_gamma ? none : one,
                   by_gamma ? one : none);
    expect_exactly(next(to_the_smallest, 1, eps, gamma), std::min(R(1), gamma), by_gamma ? one : none,
                   by_gamma ? none : one);
    EXPECT_NE(next(to_the_largest, 1, above, gamma).s * next(to_the_largest, 1, above, gamma).c, none);
    EXPECT_NE(next(to_the_smallest, 1, above, gamma).s * next(to_the_smallest, 1, above, gamma).c, none);
  }
  // What was there, beside the new column: its length is all that there is, and across it the old estimate counts.
  expect_exactly(next(to_the_largest, eps, 0.75, 1), R(1.25), T(R(0.6)), T(R(0.8)));
  expect_exactly(next(to_the_largest, eps, 1, 0.75), R(1.25), T(R(0.8)), T(R(0.6)));
  expect_exactly(next(to_the_smallest, eps, 0.75, 1), eps / R(1.25), T(R(-0.8)), T(R(0.6)));
  expect_exactly(next(to_the_smallest, eps, 1, 0.75), eps * R(0.6), T(R(-0.6)), T(R(0.8)));
}

/// A power of two leaves all digits alone, near both ends of the range, too.
TYPED_TEST(IncrementalCondition, IsIndependentOfScale) {
  using T = TypeParam;
  using R = Real<T>;
  const R eps = epsilon<T>;
  const R values[] = {0, eps / 4, eps * 3, R(0.3), 1, R(1.7)};
  constexpr int exponent = std::numeric_limits<R>::max_exponent - 4;
  for (const R scale : {std::ldexp(R(1), exponent), std::ldexp(R(1), 3 * std::numeric_limits<R>::digits - exponent)}) {
    for (const Int job : {to_the_largest, to_the_smallest}) {
      for (const R sest : values) {
        for (const R alpha : values) {
          for (const R gamma : values) {
            SCOPED_TRACE(testing::Message() << "scale " << scale << ", job " << job << ", sest " << sest << ", alpha "
                                            << alpha << ", gamma " << gamma);
            const T x(1), a = this->with_phase(alpha), g = this->with_phase(gamma);
            const Estimate<T> plain = estimate(job, single(x), sest, single(a), g);
            const Estimate<T> scaled = estimate(job, single(x), sest * scale, single(a * scale), g * scale);
            expect_exactly(scaled, plain.sestpr * scale, plain.s, plain.c);
          }
        }
      }
    }
  }
}

TYPED_TEST(IncrementalCondition, TakesTheMagnitudeOfANegativeEstimate) {
  using T = TypeParam;
  for (const Int job : {to_the_largest, to_the_smallest}) {
    const Estimate<T> plain = estimate<T>(job, single(T(1)), Real<T>(0.5), single(T(2)), T(3));
    const Estimate<T> found = estimate<T>(job, single(T(1)), Real<T>(-0.5), single(T(2)), T(3));
    expect_exactly(found, plain.sestpr, plain.s, plain.c);
  }
}

TYPED_TEST(IncrementalCondition, GivesNaNForNaN) {
  using T = TypeParam;
  using R = Real<T>;
  const T nan(std::numeric_limits<R>::quiet_NaN());
  const GuardedVector<T> one = single(T(1)), zero = single(T(0)), bad = single(nan);
  for (const R sest : {R(0), R(1)}) {
    EXPECT_TRUE(std::isnan(estimate(to_the_largest, one, sest, bad, T(1)).sestpr));
    EXPECT_TRUE(std::isnan(estimate(to_the_largest, one, sest, bad, T(0)).sestpr));
    EXPECT_TRUE(std::isnan(estimate(to_the_largest, bad, sest, one, T(1)).sestpr));
    EXPECT_TRUE(std::isnan(estimate(to_the_largest, one, sest, one, nan).sestpr));
    EXPECT_TRUE(std::isnan(std::abs(estimate(to_the_smallest, one, sest, bad, T(1)).s)));
    EXPECT_TRUE(std::isnan(std::abs(estimate(to_the_smallest, one, sest, one, nan).c)));
  }
  EXPECT_TRUE(std::isnan(estimate(to_the_largest, one, std::real(nan), one, T(1)).sestpr));
  EXPECT_TRUE(std::isnan(estimate(to_the_smallest, one, std::real(nan), one, T(1)).sestpr));
  EXPECT_TRUE(std::isnan(std::abs(estimate(to_the_largest, one, R(0), zero, nan).c)));
}

TYPED_TEST(IncrementalCondition, TakesInfinity) {
  using T = TypeParam;
  using R = Real<T>;
  const R infinity = std::numeric_limits<R>::infinity();
  const GuardedVector<T> one = single(T(1));
  EXPECT_EQ(estimate(to_the_largest, one, R(1), one, T(infinity)).sestpr, infinity);
  // A complex product with infinity may be NaN.
  if constexpr (RealScalar<T>) {
    EXPECT_EQ(estimate(to_the_largest, one, R(1), single(infinity), T(1)).sestpr, infinity);
  }
  EXPECT_EQ(estimate(to_the_smallest, one, R(1), one, T(infinity)).sestpr, R(1));
}

TYPED_TEST(IncrementalCondition, BeginsWithTheFirstColumn) {
  using T = TypeParam;
  const GuardedVector<T> none(0);
  for (const Int job : {to_the_largest, to_the_smallest}) {
    const T gamma = this->with_phase(Real<T>(0.5));
    const Estimate<T> found = estimate(job, none, Real<T>(0), none, gamma);
    EXPECT_EQ(found.sestpr, job == to_the_largest ? Real<T>(0.5) : Real<T>(0));
  }
}

TYPED_TEST(IncrementalCondition, DoesNothingForOtherJobs) {
  using T = TypeParam;
  for (const Int job : {0, 3, -1}) {
    expect_exactly(estimate(job, single(T(1)), Real<T>(1), single(T(1)), T(1)), Real<T>(-1), T(77), T(77));
  }
}

}  // namespace
}  // namespace nuv::test
