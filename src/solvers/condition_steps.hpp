#pragma once

// What the estimates of condition numbers have in common.

#include "environment/abs1.hpp"
#include "environment/hermitian.hpp"
#include "environment/scaling.hpp"
#include "frame/option_matching.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {

inline bool is_one_norm(char norm) {
  return norm == '1' || same_letter(norm, 'O');
}

inline bool is_norm(char norm) {
  return is_one_norm(norm) || same_letter(norm, 'I');
}

/// The condition of what needs no estimate, in rcond; false for all else.
template <RealScalar R>
bool is_trivial(Int n, R anorm, R& rcond) {
  rcond = n == 0 ? 1 : 0;
  return n == 0 || anorm == 0;
}

template <RealScalar R>
R reciprocal_product(R first, R second) {
  return second != 0 ? (1 / second) / first : 0;
}

/// Estimates by solve(trans, x), trans 'N' or adjoint, which may fail. work  2n elements
template <Scalar T, class Solve>
Real<T> reciprocal_condition(char norm, Int n, Real<T> anorm, T* work, SecondWork<T>* second, Solve solve) {
  Real<T> inverse_norm;
  const bool is_infinity_norm = !is_one_norm(norm);
  const bool estimated = estimate_norm(n, work, work + n, second, inverse_norm, [&](bool is_adjoint) {
    return solve(is_adjoint != is_infinity_norm ? adjoint<T> : 'N', work);
  });
  return estimated ? reciprocal_product(anorm, inverse_norm) : 0;
}

/// Divides x by the scale with which a solve kept it in range; false if that overflows.
template <Scalar T>
bool undo_scale(Int n, Real<T> scale, Real<T> smlnum, T* x) {
  if (scale == 1) return true;
  const Real<T> largest = abs1(x[blas::iamax(n, {x, 1}) - 1]);
  if (scale < largest * smlnum || scale == 0) return false;
  rscl(n, scale, x, 1);
  return true;
}

}  // namespace nuv
