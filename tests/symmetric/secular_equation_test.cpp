// Roots of secular equations: ?laed4, ?laed5 and ?laed6 against bisection in quadruple precision.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "routines.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "symmetric/secular_problems.hpp"
#include "symmetric/secular_root.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {
namespace {

template <class R>
class SecularEquation : public testing::Test {
 protected:
  static constexpr R eps = std::numeric_limits<R>::epsilon();

  struct Root {
    R value;
    GuardedVector<R> delta;
    Int info;
  };

  static Root find(const SecularProblem<R>& problem, Int i) {
    Root root{guard<R>(), GuardedVector<R>(problem.order()), 99};
    routine_call::laed4(problem.order(), i, problem.d.data(), problem.z.data(), root.delta.data(), problem.rho,
                        root.value, root.info);
    EXPECT_TRUE(root.delta.guards_unchanged());
    return root;
  }

  /// The function at a computed root is within the rounding errors of its own evaluation, the distances from all poles
  /// belong to it, and the root is the nearest pole plus its distance.
  static void expect_root(const SecularProblem<R>& problem, Int i) {
    SCOPED_TRACE(problem.name + ", root " + std::to_string(i));
    const Int n = problem.order();
    const Root root = find(problem, i);
    ASSERT_EQ(root.info, 0);
    const Int origin = nearest_pole(root.delta, i);
    const ExactRoot exact = bisect(problem, i - 1, origin - 1);
    const Quad tau = -Quad(root.delta(origin));
    EXPECT_LT(exact.error_of(tau) / eps, 10);
    for (Int j = 1; j <= n; ++j) {
      const Quad delta = pole_distance(problem.d, j - 1, origin - 1) - tau;
      EXPECT_LT(double(magnitude((Quad(root.delta(j)) - delta) / delta) / eps), 4) << j;
    }
    const Quad pole = problem.d[std::size_t(origin - 1)];
    EXPECT_LE(double(magnitude(Quad(root.value) - (pole + tau))), eps * double(magnitude(pole) + magnitude(tau)));
  }

  Random random{64};
};
TYPED_TEST_SUITE(SecularEquation, RealPrecisions, PrecisionLetter);

TYPED_TEST(SecularEquation, RootsAreThoseOfTheFunction) {
  for (const Int n : {3, 4, 5, 6, 9, 22}) {
    for (const auto& problem : problems_of_order<TypeParam>(n, this->random)) {
      for (Int i = 1; i <= n; ++i) this->expect_root(problem, i);
    }
  }
}

/// More poles than the sums take in one go, on either side, and a root beyond them all.
TYPED_TEST(SecularEquation, SumsAnyNumberOfPoles) {
  const Int n = 301;
  const auto problem = problems_of_order<TypeParam>(n, this->random).front();
  for (const Int i : {1, 2, 3, 150, 151, 152, 153, 299, 300, 301}) this->expect_root(problem, i);
}

/// The interpolation follows the function: bisection between the bounds alone would take a step for each digit. Only
/// elements of z that no merge would leave to the equation, with roots a hundred powers of ten nearer to one pole than
/// to the other, take longer.
TYPED_TEST(SecularEquation, TakesFewSteps) {
  using R = TypeParam;
  int all = 0, roots = 0;
  for (const Int n : {3, 9, 22, 80}) {
    std::vector<R> delta(std::size_t(n), R(0));
    for (const auto& [name, d, z, rho] : problems_of_order<R>(n, this->random)) {
      for (Int i = 1; i <= n; ++i) {
        SecularRoot<R> root(n, i, d.data(), z.data(), delta.data(), rho);
        EXPECT_TRUE(root.find());
        EXPECT_LE(root.steps(), name.starts_with("tiny z") ? 16 : 9) << name << ", root " << i;
        all += root.steps();
        ++roots;
      }
    }
  }
  EXPECT_LE(double(all) / roots, 2.7);
}

/// Three poles follow the function where its two next ones can't, between heavy neighbours of light poles; and the last
/// root has its step even where the two poles before it don't hold it.
TYPED_TEST(SecularEquation, TakesFewStepsBetweenHeavyAndLightPoles) {
  using R = TypeParam;
  int roots = 0, long_ways = 0;
  for (int sample = 0; sample < 400; ++sample) {
    const Int n = this->random.integer(4, 33);
    const R rho = R(std::pow(10, this->random.integer(-3, 3)));
    const auto weight = [&] { return this->random.template divisor<R>(); };
    const auto alternating = make_problem<R>(
        "alternating", n, rho, [&](Int) { return this->random.real(); },
        [&](Int j) { return weight() * (j % 2 == 0 ? 1 : R(1e-3)); });
    const auto falling = make_problem<R>(
        "falling", n, rho, [](Int j) { return j; }, [&](Int j) { return j < n / 2 ? 1 : R(1e-4) * weight(); });
    std::vector<R> delta(std::size_t(n), R(0));
    for (Int i = 1; i <= n; ++i) {
      SecularRoot<R> of_alternating(n, i, alternating.d.data(), alternating.z.data(), delta.data(), rho);
      EXPECT_TRUE(of_alternating.find());
      ++roots;
      if (of_alternating.steps() > 5) ++long_ways;
      SecularRoot<R> of_falling(n, i, falling.d.data(), falling.z.data(), delta.data(), rho);
      EXPECT_TRUE(of_falling.find());
      EXPECT_LE(of_falling.steps(), 7);
    }
  }
  EXPECT_LE(long_ways, roots / 250);
}

TYPED_TEST(SecularEquation, OfOnePoleIsLinear) {
  using R = TypeParam;
  const SecularProblem<R> problem{"one pole", {R(2.5)}, {R(-1)}, R(0.5)};
  const auto root = this->find(problem, 1);
  EXPECT_EQ(root.info, 0);
  EXPECT_EQ(root.value, R(3));
  EXPECT_EQ(root.delta(1), R(1));
}

/// For two poles the unit eigenvectors of D + rho z z^T take the place of the distances, and the roots are those of a
/// quadratic equation.
TYPED_TEST(SecularEquation, OfTwoPolesGivesTheVectors) {
  using R = TypeParam;
  for (const R z1 : {R(1), R(0.6), R(0.01), this->eps, this->eps * this->eps}) {
    const R other = z1 == 1 ? this->eps : std::sqrt(1 - z1 * z1);
    for (const R gap : {R(3), R(1), R(0.01), this->eps}) {
      for (const R rho : {R(0.001), R(1), R(50)}) {
        for (const auto& z : {std::vector<R>{z1, other}, {other, -z1}}) {
          const SecularProblem<R> problem{"two poles", {R(1), R(1) + gap}, z, rho};
          SCOPED_TRACE(testing::Message() << z[0] << ' ' << z[1] << ", gap " << gap << ", rho " << rho);
          const Quad size = 1 + Quad(gap) + Quad(rho);
          Quad vectors[2][2];
          for (const Int i : {1, 2}) {
            const auto root = this->find(problem, i);
            ASSERT_EQ(root.info, 0);
            R value = guard<R>();
            GuardedVector<R> vector(2);
            routine_call::laed5(i, problem.d.data(), z.data(), vector.data(), rho, value);
            EXPECT_EQ(value, root.value);
            EXPECT_TRUE(vector.same_as(root.delta));
            EXPECT_LT(double(magnitude(Quad(value) - 1 - bisect(problem, i - 1, 0).tau) / size), 4 * this->eps);

            Quad along_z = 0, length = 0;
            for (int j = 0; j < 2; ++j) {
              vectors[i - 1][j] = Quad(vector(j + 1));
              along_z += Quad(z[std::size_t(j)]) * vectors[i - 1][j];
              length += squared(vectors[i - 1][j]);
            }
            EXPECT_LT(double(magnitude(length - 1)), 4 * this->eps);
            for (std::size_t j = 0; j < 2; ++j) {
              const Quad residual =
                  (Quad(problem.d[j]) - Quad(value)) * vectors[i - 1][j] + Quad(rho) * Quad(z[j]) * along_z;
              EXPECT_LT(double(magnitude(residual) / size), 8 * this->eps);
            }
          }
          const Quad product = vectors[0][0] * vectors[1][0] + vectors[0][1] * vectors[1][1];
          EXPECT_LT(double(magnitude(product)), 8 * this->eps);
        }
      }
    }
  }
}

TYPED_TEST(SecularEquation, WithANumberThatIsNoneEndsInFailure) {
  expect_failure_without_numbers(problems_of_order<TypeParam>(9, this->random).front(), this->find);
}

// ------------------------------------------------------------------------------------------------------- three poles

/// f(x) = f(0) + x (sum of z(i) / (d(i) (d(i) - x)))
template <RealScalar R>
struct ThreePoles {
  bool right;
  R d[3], z[3], rho, finit;

  Quad value(Quad x) const {
    Quad sum = 0;
    for (int i = 0; i < 3; ++i) sum += Quad(z[i]) / (Quad(d[i]) * (Quad(d[i]) - x));
    return Quad(finit) + x * sum;
  }
};

/// With poles about as far apart as `size` says, and zero between those that enclose the root.
template <RealScalar R>
ThreePoles<R> random_poles(Random& random, bool right, R size, R nearness) {
  ThreePoles<R> f{right, {}, {}, 0, 0};
  const auto positive = [&] { return R(0.05) + R(std::abs(random.real())); };
  f.d[right ? 1 : 0] = -size * positive() * nearness;
  f.d[right ? 2 : 1] = size * positive();
  if (right) {
    f.d[0] = f.d[1] - size * positive();
  } else {
    f.d[2] = f.d[1] + size * positive();
  }
  for (R& z : f.z) z = size * positive();
  f.rho = R(random.real()) * 3;
  Quad finit = f.rho;
  for (int i = 0; i < 3; ++i) finit += Quad(f.z[i]) / Quad(f.d[i]);
  f.finit = R(finit);
  return f;
}

/// From an error of |f(x)| that rounding explains: units of eps.
template <RealScalar R>
double error_of_root(const ThreePoles<R>& f, R tau) {
  const int left = f.right ? 1 : 0;
  Quad low = f.finit < 0 ? Quad(0) : Quad(f.d[left]), high = f.finit < 0 ? Quad(f.d[left + 1]) : Quad(0);
  for (int step = 0; step < 200; ++step) {
    const Quad middle = (low + high) / 2;
    (f.value(middle) > 0 ? high : low) = middle;
  }
  const Quad exact = (low + high) / 2;
  Quad slope = 0, magnitudes = magnitude(Quad(f.finit));
  for (int i = 0; i < 3; ++i) {
    const Quad delta = Quad(f.d[i]) - exact;
    slope += Quad(f.z[i]) / (delta * delta);
    magnitudes += magnitude(exact * Quad(f.z[i]) / (Quad(f.d[i]) * delta));
  }
  return double(magnitude(Quad(tau) - exact) * slope / (magnitudes + magnitude(exact) * slope)) /
         std::numeric_limits<R>::epsilon();
}

TYPED_TEST(SecularEquation, OfThreePolesIsSolvedNextToZero) {
  using R = TypeParam;
  // The last two lie where powers of the distances leave the range unless they are scaled, once or twice.
  const R small = std::same_as<R, float> ? R(0x1p-44) : R(0x1p-345), smaller = small * small * 4;
  for (const R size : {R(1), R(1e4), R(1e-4), small, smaller}) {
    for (const bool right : {false, true}) {
      for (const R nearness : {R(1), R(1e-3)}) {
        for (const Int kniter : {1, 2, 3}) {
          for (int sample = 0; sample < 40; ++sample) {
            const ThreePoles<R> f = random_poles<R>(this->random, right, size, nearness);
            R tau = guard<R>();
            Int info = 99;
            routine_call::laed6(kniter, to_logical(right), f.rho, f.d, f.z, f.finit, tau, info);
            ASSERT_EQ(info, 0) << size << ' ' << right << ' ' << kniter;
            EXPECT_LT(error_of_root(f, tau), 12) << size << ' ' << right << ' ' << nearness << ' ' << kniter;
          }
        }
      }
    }
  }
}

/// A pole of next to no weight has a root so close to it that the first guess is the pole itself. And where zero lies
/// by orders of magnitude nearer to the other pole than the root does, the way is a dozen steps long.
TYPED_TEST(SecularEquation, OfThreePolesIsFoundFarFromZero) {
  using R = TypeParam;
  constexpr R tiny = this->eps * this->eps;
  const ThreePoles<R> left{false, {-1, 1, 3}, {tiny, 1, 3}, 1, 3}, right{true, {-3, -1, 1}, {3, 1, tiny}, -1, -3};
  const ThreePoles<R> far{true, {R(-0x1p21), R(-0x1p20), R(0x1p-19)}, {R(0x1p20), R(0x1p-10), 8}, 1, R(4194304.5)};
  for (const auto& f : {left, right, far}) {
    for (const Int kniter : {1, 2}) {
      R tau = guard<R>();
      Int info = 99;
      routine_call::laed6(kniter, to_logical(f.right), f.rho, f.d, f.z, f.finit, tau, info);
      EXPECT_EQ(info, 0);
      EXPECT_LT(error_of_root(f, tau), 12) << f.d[0] << ' ' << kniter;
    }
  }
}

TYPED_TEST(SecularEquation, OfThreePolesFailsWithANumberThatIsNone) {
  using R = TypeParam;
  constexpr R nan = std::numeric_limits<R>::quiet_NaN();
  for (const Int kniter : {1, 2}) {
    for (int at = 0; at < 7; ++at) {
      ThreePoles<R> f = random_poles<R>(this->random, true, R(1), R(1));
      (at < 3 ? f.d[at] : at < 6 ? f.z[at - 3] : f.finit) = nan;
      R tau = guard<R>();
      Int info = 99;
      routine_call::laed6(kniter, to_logical(true), f.rho, f.d, f.z, f.finit, tau, info);
      EXPECT_EQ(info, 1) << kniter << ", " << at;
    }
  }
}

}  // namespace
}  // namespace nuv::test
