#pragma once

// The norm of the inverse of a positive definite tridiagonal matrix from its factors, without an estimate.

#include <cmath>

#include "environment/extremes.hpp"
#include "environment/magnitudes.hpp"

namespace nuv {

/// The infinity-norm of A^-1 for A = L D L^H: that of M(L)^-H D^-1 M(L)^-1 times the vector of ones, where M(L) has the
/// magnitudes of L on its diagonal and their negatives below it.
///
/// d, e    n > 0 and n - 1 elements: D and the subdiagonal of L
/// work    n elements
template <Scalar T>
Real<T> tridiagonal_inverse_norm(Int n, const Real<T>* d, const T* e, Real<T>* work) {
  work[0] = 1;
  for (Int i = 1; i < n; ++i) work[i] = 1 + work[i - 1] * magnitude(e[i - 1]);
  work[n - 1] /= d[n - 1];
  for (Int i = n - 2; i >= 0; --i) work[i] = work[i] / d[i] + work[i + 1] * magnitude(e[i]);
  Real<T> norm = 0;
  for (Int i = 0; i < n; ++i) norm = larger_or_nan(norm, std::abs(work[i]));
  return norm;
}

}  // namespace nuv
