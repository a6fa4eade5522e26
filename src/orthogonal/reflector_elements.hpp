#pragma once

// The elements of a reflector that takes a vector (alpha, x) to (beta, 0).

#include "environment/service_math.hpp"
#include "environment/sums_of_squares.hpp"

namespace nuv {

/// What the reflector makes of alpha: the length of (alpha, x), of the sign that makes alpha - beta a sum of like
/// signs.
template <RealScalar T>
T reflected(T alpha, T xnorm) {
  return negated(sign(lapy2(alpha, xnorm), alpha));
}
template <RealScalar R>
R reflected(std::complex<R> alpha, R xnorm) {
  return negated(sign(lapy3(alpha.real(), alpha.imag(), xnorm), alpha.real()));
}

/// (beta - alpha) / beta
template <RealScalar T>
T factor_of_reflector(T alpha, T beta) {
  return (beta - alpha) / beta;
}
template <RealScalar R>
std::complex<R> factor_of_reflector(std::complex<R> alpha, R beta) {
  return {(beta - alpha.real()) / beta, negated(alpha.imag()) / beta};
}

}  // namespace nuv
