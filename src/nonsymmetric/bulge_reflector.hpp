#pragma once

// The reflectors of two and three elements that chase bulges: larfg without the calls of kernels that would take most
// of its time.

#include <algorithm>
#include <cmath>

#include "base/quotient.hpp"
#include "environment/machine_constants.hpp"
#include "orthogonal/householder.hpp"
#include "orthogonal/reflector_elements.hpp"

namespace nuv {

/// larfg for the vector of alpha and the order - 1 elements x.
template <int order, Scalar T>
void make_reflector(T& alpha, T* x, T& tau) {
  using R = Real<T>;
  R square = 0;
  for (int i = 0; i < order - 1; ++i) {
    if constexpr (ComplexScalar<T>) square += x[i].real() * x[i].real() + x[i].imag() * x[i].imag();
    else square += x[i] * x[i];
  }
  // Zeros, NaN, and what must be scaled so that no square is lost.
  constexpr R smallest = Machine<R>::safe_min / Machine<R>::precision;
  if (!(square >= smallest && square <= Machine<R>::overflow)) return larfg(order, alpha, x, 1, tau);

  const R beta = reflected(alpha, std::sqrt(square));
  tau = factor_of_reflector(alpha, beta);
  const T scale = quotient(T(1), alpha - beta);
  for (int i = 0; i < order - 1; ++i) x[i] *= scale;
  alpha = beta;
}

}  // namespace nuv
