// Roots of secular equations of singular values: ?lasd4 and ?lasd5 against bisection in quadruple precision.

#include <algorithm>
#include <limits>

#include "routines.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/secular_problems.hpp"
#include "symmetric/secular_root.hpp"

namespace nuv::test {
namespace {

/// With the least pole at zero, as merges have it.
template <RealScalar R>
SecularProblem<R> from_zero(SecularProblem<R> problem) {
  const R least = problem.d.front();
  for (R& pole : problem.d) pole -= least;
  return problem;
}

/// Without any pole at zero.
template <RealScalar R>
SecularProblem<R> from_one(SecularProblem<R> problem) {
  problem = from_zero(problem);
  for (R& pole : problem.d) pole += 1;
  const bool is_increasing =
      std::adjacent_find(problem.d.begin(), problem.d.end(), std::greater_equal<>()) == problem.d.end();
  return is_increasing ? problem : from_zero(problem);
}

template <class R>
class SecularValues : public testing::Test {
 protected:
  static constexpr R eps = std::numeric_limits<R>::epsilon();

  struct Root {
    R value;
    GuardedVector<R> differences, sums;
    Int info;
  };

  static Root find(const SecularProblem<R>& problem, Int i) {
    const Int n = problem.order();
    Root root{guard<R>(), GuardedVector<R>(n), GuardedVector<R>(n), 99};
    routine_call::lasd4(n, i, problem.d.data(), problem.z.data(), root.differences.data(), problem.rho, root.value,
                        root.sums.data(), root.info);
    EXPECT_TRUE(root.differences.guards_unchanged() && root.sums.guards_unchanged());
    return root;
  }

  /// The function at a computed root is within the rounding errors of its own evaluation, in which each distance is
  /// made of two differences; the distances from all poles belong to the root, and it is the nearest pole plus its
  /// distance.
  static void expect_root(const SecularProblem<R>& problem, Int i) {
    SCOPED_TRACE(problem.name + ", root " + std::to_string(i));
    const Int n = problem.order();
    const Root root = find(problem, i);
    ASSERT_EQ(root.info, 0);
    const Int origin = nearest_pole(root.differences, i);
    const ExactRoot exact = bisect<SquaredPoles>(problem, i - 1, origin - 1);
    const Quad pole = problem.d[std::size_t(origin - 1)], distance = -Quad(root.differences(origin));
    const Quad tau = distance * (2 * pole + distance);
    EXPECT_LT(exact.error_of(tau) / eps, 15);
    for (Int j = 1; j <= n; ++j) {
      const Quad other = problem.d[std::size_t(j - 1)];
      const Quad difference = (other - pole) - distance, sum = (other + pole) + distance;
      EXPECT_LT(double(magnitude((Quad(root.differences(j)) - difference) / difference) / eps), 4) << j;
      EXPECT_LT(double(magnitude((Quad(root.sums(j)) - sum) / sum) / eps), 4) << j;
    }
    EXPECT_LE(double(magnitude(Quad(root.value) - (pole + distance))),
              eps * double(magnitude(pole) + magnitude(distance)));
  }

  Random random{65};
};
TYPED_TEST_SUITE(SecularValues, RealPrecisions, PrecisionLetter);

TYPED_TEST(SecularValues, AreThoseOfTheFunction) {
  for (const Int n : {2, 3, 4, 5, 6, 9, 22}) {
    for (const auto& problem : problems_of_order<TypeParam>(n, this->random)) {
      for (Int i = 1; i <= n; ++i) {
        this->expect_root(from_zero(problem), i);
        this->expect_root(from_one(problem), i);
      }
    }
  }
}

/// More poles than the sums take in one go, on either side, and a root beyond them all.
TYPED_TEST(SecularValues, SumAnyNumberOfPoles) {
  const auto problem = from_zero(problems_of_order<TypeParam>(301, this->random).front());
  for (const Int i : {1, 2, 3, 150, 151, 152, 153, 299, 300, 301}) this->expect_root(problem, i);
}

/// Far below the limit: the interpolation follows the function between squares as it does between plain poles.
TYPED_TEST(SecularValues, TakeFewSteps) {
  using R = TypeParam;
  for (const Int n : {3, 9, 22, 80}) {
    std::vector<R> delta(std::size_t(n), R(0));
    for (const auto& problem : problems_of_order<R>(n, this->random)) {
      const auto [name, d, z, rho] = from_zero(problem);
      for (Int i = 1; i <= n; ++i) {
        SecularRoot<R, SquaredPoles> root(n, i, d.data(), z.data(), delta.data(), rho);
        EXPECT_TRUE(root.find());
        EXPECT_LE(root.steps(), name.starts_with("tiny z") ? 16 : 9) << name << ", root " << i;
      }
    }
  }
}

/// The exponents of an equation of order three with the least pole at zero.
struct SlowProblem {
  Int root;
  int rho, d[2], z[3];
};

/// Problems that no merge has, since it would deflate, can take any number of steps.
template <RealScalar R>
constexpr SlowProblem slow_problems[] = {{2, -3, {-227, -29}, {-68, -131, -22}},
                                         {2, 28, {-181, -10}, {-70, -198, -132}}};
template <>
constexpr SlowProblem slow_problems<float>[] = {{1, -9, {-38, -8}, {-32, -45, -58}},
                                                {1, 27, {-40, -3}, {-18, -59, -15}}};

/// Forty steps beside the first are enough, or they are not, and the root is where the last one left it.
TYPED_TEST(SecularValues, HaveALimitOfSteps) {
  using R = TypeParam;
  constexpr int limit = 41;
  for (int more = 0; more < 2; ++more) {
    const auto [i, rho, d, z] = slow_problems<R>[more];
    const auto power = [](int exponent) { return std::ldexp(R(1), exponent); };
    const SecularProblem<R> problem{
        "slow", {R(0), power(d[0]), power(d[1])}, {power(z[0]), power(z[1]), power(z[2])}, power(rho)};
    std::vector<R> delta(3, R(0));
    SecularRoot<R, SquaredPoles> all(3, i, problem.d.data(), problem.z.data(), delta.data(), problem.rho), some = all;
    EXPECT_TRUE(all.find(100));
    EXPECT_EQ(all.steps(), limit + more);
    EXPECT_EQ(some.find(limit), more == 0);
    const auto root = this->find(problem, i);
    EXPECT_EQ(root.info, more);
    const R pole = problem.d[std::size_t(some.origin() - 1)];
    EXPECT_NEAR(root.value, std::sqrt(pole * pole + some.tau()), 8 * this->eps * root.value);
  }
}

TYPED_TEST(SecularValues, OfOnePoleAreALength) {
  using R = TypeParam;
  const auto root = this->find({"one pole", {R(3)}, {R(-1)}, R(16)}, 1);
  EXPECT_EQ(root.info, 0);
  EXPECT_EQ(root.value, R(5));
  EXPECT_EQ(root.differences(1), R(1));
  EXPECT_EQ(root.sums(1), R(1));
}

TYPED_TEST(SecularValues, OfTwoPolesHaveAClosedForm) {
  using R = TypeParam;
  const SecularProblem<R> problem{"two poles", {R(0), R(0.75)}, {R(0.6), R(-0.8)}, R(1.5)};
  for (const Int i : {1, 2}) {
    const auto root = this->find(problem, i);
    GuardedVector<R> differences(2), sums(2);
    R value = guard<R>();
    routine_call::lasd5(i, problem.d.data(), problem.z.data(), differences.data(), problem.rho, value, sums.data());
    EXPECT_EQ(value, root.value);
    EXPECT_TRUE(differences.same_as(root.differences) && sums.same_as(root.sums));
  }
}

TYPED_TEST(SecularValues, WithANumberThatIsNoneEndInFailure) {
  expect_failure_without_numbers(from_zero(problems_of_order<TypeParam>(9, this->random).front()), this->find);
}

}  // namespace
}  // namespace nuv::test
