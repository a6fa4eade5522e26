#pragma once

// The norm of an inverse that is known by the solves with its matrix: the conversation with the norm estimator that all
// condition numbers and forward error bounds stand on.

#include "base/types.hpp"
#include "environment/norm_estimate.hpp"

namespace nuv {

/// The second workspace of these routines: integers (iwork) in the real precisions, real numbers (rwork) in the complex
/// ones.
template <Scalar T>
using SecondWork = std::conditional_t<RealScalar<T>, Int, Real<T>>;

/// The workspace of the two that can hold real numbers.
template <Scalar T>
Real<T>* real_work(T* work, SecondWork<T>* second) {
  if constexpr (RealScalar<T>) {
    return work;
  } else {
    return second;
  }
}

/// Estimates the one-norm of a matrix of order n > 0 by its products. The state of the conversation lives in this call.
///
/// x, v       n elements each
/// second     n integers in the real precisions
/// multiply   multiply(is_adjoint) puts A x, or A^H x, in the place of x; false: it could not, and there is no estimate
///
/// Gives false if a product said so.
template <Scalar T, class Multiply>
bool estimate_norm(Int n, T* x, T* v, SecondWork<T>* second, Real<T>& estimate, Multiply multiply) {
  Int kase = 0, jump = 0, j = 0, iter = 0;
  estimate = 0;
  while (true) {
    if constexpr (RealScalar<T>) {
      lacon_internal(n, v, x, second, estimate, kase, jump, j, iter);
    } else {
      lacon_internal(n, v, x, estimate, kase, jump, j, iter);
    }
    if (kase == 0) return true;
    if (!multiply(kase == 2)) return false;
  }
}

}  // namespace nuv
