#include "svd/secular_values.hpp"

#include <cmath>

#include "symmetric/secular_root.hpp"
#include "symmetric/two_pole_root.hpp"

namespace nuv {
namespace {

/// The root whose square is tau behind that of the pole d(origin), with differences and sums of it and all poles.
template <RealScalar R>
void place_root(Int n, const R* d, Int origin, R tau, R* delta, R& sigma, R* work) {
  const R pole = d[origin - 1], distance = tau / (pole + std::sqrt(pole * pole + tau));
  sigma = pole + distance;
  for (Int j = 0; j < n; ++j) {
    delta[j] = (d[j] - pole) - distance;
    work[j] = (d[j] + pole) + distance;
  }
}

}  // namespace

template <RealScalar T>
void lasd4(Int n, Int i, const T* d, const T* z, T* delta, T rho, T& sigma, T* work, Int& info) {
  constexpr int most_steps = 1 + 40;
  info = 0;
  if (n == 1) {
    sigma = std::sqrt(d[0] * d[0] + rho * z[0] * z[0]);
    delta[0] = work[0] = 1;
    return;
  }
  if (n == 2) return lasd5(i, d, z, delta, rho, sigma, work);
  SecularRoot<T, SquaredPoles> root(n, i, d, z, delta, rho);
  info = root.find(most_steps) ? 0 : 1;
  place_root(n, d, root.origin(), root.tau(), delta, sigma, work);
}

template <RealScalar T>
void lasd5(Int i, const T* d, const T* z, T* delta, T rho, T& dsigma, T* work) {
  const auto [origin, tau] = two_pole_root(i, SquaredPoles::gap(d[1], d[0]), square(z[0]), square(z[1]), rho);
  place_root(2, d, origin, tau, delta, dsigma, work);
}

}  // namespace nuv

#include "svd/secular_values.entries.inc"
