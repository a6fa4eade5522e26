#pragma once

// Secular equations to try root finders on, and their roots by bisection in quadruple precision.

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "environment/quad.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "symmetric/secular_poles.hpp"

namespace nuv::test {

/// 1 / rho + sum of z(j)^2 / (d(j) - lambda) with poles in ascending order and z of norm one.
template <RealScalar R>
struct SecularProblem {
  std::string name;
  std::vector<R> d, z;
  R rho;

  Int order() const { return Int(d.size()); }
};

template <RealScalar R>
SecularProblem<R> make_problem(const std::string& name, Int n, R rho, auto pole, auto element) {
  SecularProblem<R> problem{name + " of order " + std::to_string(n), {}, {}, rho};
  long double squares = 0;
  for (Int j = 0; j < n; ++j) {
    problem.d.push_back(R(pole(j)));
    problem.z.push_back(R(element(j)));
    squares += static_cast<long double>(problem.z.back()) * problem.z.back();
  }
  for (R& z : problem.z) z = R(z / std::sqrt(squares));
  std::sort(problem.d.begin(), problem.d.end());
  return problem;
}

/// Those on which root finders are known to be tried hard.
template <RealScalar R>
std::vector<SecularProblem<R>> problems_of_order(Int n, Random& random) {
  constexpr R eps = std::numeric_limits<R>::epsilon();
  const auto any = [&](Int) { return random.real(); };
  const auto away_from_zero = [&](Int) { return random.divisor<R>(); };
  const auto alternately_tiny = [&](R tiny) {
    return [&, tiny](Int j) { return (j % 2 == 0 ? tiny : R(1)) * random.divisor<R>(); };
  };
  return {
      make_problem<R>("random", n, 1, any, away_from_zero),
      make_problem<R>("small rho", n, R(1e-6), any, away_from_zero),
      make_problem<R>("large rho", n, R(1e6), any, away_from_zero),
      make_problem<R>("small z", n, 1, any, alternately_tiny(eps)),
      make_problem<R>("tiny z", n, 1, any, alternately_tiny(std::sqrt(std::numeric_limits<R>::min()) * 1000)),
      make_problem<R>("one large z", n, 1, any, [&](Int j) { return j == n / 2 ? R(1) : 10 * eps; }),
      make_problem<R>(
          "clusters of poles", n, 1, [](Int j) { return 1 + j % 3 + 12 * (j / 3) * eps; }, away_from_zero),
      make_problem<R>(
          "a gap", n, 1, [n](Int j) { return j < n / 2 ? 1e-4 * j : 1 + 1e-4 * j; }, away_from_zero),
      make_problem<R>(
          "poles and z in geometric rows", n, 1, [](Int j) { return std::pow(0.6, j % 30) + 3 * (j / 30); },
          [n](Int j) { return std::pow(0.8, n - 1 - j); }),
  };
}

/// The distance of poles j and origin, counted from zero.
template <class Poles = PlainPoles>
Quad pole_distance(const auto& d, Int j, Int origin) {
  return Poles::gap(Quad(d[std::size_t(j)]), Quad(d[std::size_t(origin)]));
}

/// A root as seen from one pole, with what is needed to judge another one.
struct ExactRoot {
  Quad tau, slope, magnitudes;

  /// Of another root, over what is explained by errors in the function as large as its terms.
  double error_of(Quad computed) const {
    return double(magnitude(computed - tau) * slope / (magnitudes + magnitude(tau) * slope));
  }
};

/// Root i, counted from zero, as seen from the pole `origin`.
template <class Poles = PlainPoles, RealScalar R>
ExactRoot bisect(const SecularProblem<R>& problem, Int i, Int origin) {
  const auto& [name, d, z, rho] = problem;
  const Int n = problem.order();
  Quad low = pole_distance<Poles>(d, i, origin),
       high = i + 1 < n ? pole_distance<Poles>(d, i + 1, origin) : low + 2 * Quad(rho);
  const auto visit_terms = [&](Quad tau, auto visit) {
    for (Int j = 0; j < n; ++j) visit(squared(Quad(z[std::size_t(j)])), pole_distance<Poles>(d, j, origin) - tau);
  };
  for (int step = 0; step < 200; ++step) {
    const Quad middle = (low + high) / 2;
    Quad value = 1 / Quad(rho);
    visit_terms(middle, [&](Quad square, Quad delta) { value += square / delta; });
    (value > 0 ? high : low) = middle;
  }
  ExactRoot root{(low + high) / 2, 0, 1 / Quad(rho)};
  visit_terms(root.tau, [&](Quad square, Quad delta) {
    root.slope += square / (delta * delta);
    root.magnitudes += magnitude(square / delta);
  });
  return root;
}

/// The pole next to root i that is the nearer one, by the distances of a computed root from all poles.
template <RealScalar R>
Int nearest_pole(const GuardedVector<R>& distances, Int i) {
  return i < distances.size() && magnitude(distances(i + 1)) < magnitude(distances(i)) ? i + 1 : i;
}

/// Roots that find(problem, i) gives fail with a NaN anywhere, and with an infinite pole they end.
template <RealScalar R, class Find>
void expect_failure_without_numbers(const SecularProblem<R>& good, Find find) {
  constexpr R nan = std::numeric_limits<R>::quiet_NaN(), inf = std::numeric_limits<R>::infinity();
  for (Int i = 1; i <= good.order(); ++i) {
    for (std::size_t at = 0; at < good.d.size(); ++at) {
      auto bad = good;
      bad.z[at] = nan;
      EXPECT_EQ(find(bad, i).info, 1) << i << ", " << at;
      bad = good;
      bad.d[at] = nan;
      EXPECT_EQ(find(bad, i).info, 1) << i << ", " << at;
      bad.d[at] = inf;
      find(bad, i);
    }
  }
}

}  // namespace nuv::test
