#include "symmetric/secular_equation.hpp"

#include "environment/sums_of_squares.hpp"
#include "symmetric/secular_root.hpp"
#include "symmetric/three_pole_root.hpp"
#include "symmetric/two_pole_root.hpp"

namespace nuv {

template <RealScalar T>
void laed4(Int n, Int i, const T* d, const T* z, T* delta, T rho, T& dlam, Int& info) {
  info = 0;
  if (n == 1) {
    dlam = d[0] + rho * z[0] * z[0];
    delta[0] = 1;
    return;
  }
  if (n == 2) return laed5(i, d, z, delta, rho, dlam);
  SecularRoot<T> root(n, i, d, z, delta, rho);
  info = root.find() ? 0 : 1;
  dlam = root.value();
}

template <RealScalar T>
void laed5(Int i, const T* d, const T* z, T* delta, T rho, T& dlam) {
  const T gap = d[1] - d[0];
  const auto [origin, tau] = two_pole_root(i, gap, square(z[0]), square(z[1]), rho);
  dlam = d[origin - 1] + tau;
  delta[0] = negated(z[0] / (origin == 1 ? tau : gap + tau));
  delta[1] = origin == 1 ? z[1] / (gap - tau) : negated(z[1] / tau);
  const T length = lapy2(delta[0], delta[1]);
  delta[0] /= length;
  delta[1] /= length;
}

template <RealScalar T>
void laed6(Int kniter, Logical orgati, T rho, const T* d, const T* z, T finit, T& tau, Int& info) {
  ThreePoleRoot<T> root(is_true(orgati), rho, d, z, finit);
  if (kniter == 2) root.guess();
  info = root.find() ? 0 : 1;
  tau = root.value();
}

}  // namespace nuv

#include "symmetric/secular_equation.entries.inc"
