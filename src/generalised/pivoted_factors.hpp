#pragma once

// Factors of a small matrix by complete pivoting, step by step.

#include "base/matrix.hpp"
#include "base/quotient.hpp"
#include "environment/machine_constants.hpp"
#include "solvers/general_lu.hpp"

namespace nuv {

/// No pivot is smaller, so that the quotient of a number of moderate size by it doesn't overflow.
template <RealScalar R>
inline constexpr R least_pivot = Machine<R>::safe_min / Machine<R>::precision;

/// A = P L U Q of order n > 0. Vectors are contiguous.
template <Scalar T>
struct PivotedFactors {
  Int n;
  Matrix<const T> LU;
  const Int *ipiv, *jpiv;

  /// x := P^T x
  void exchange_rows(T* x) const { laswp(1, x, LU.ld, 1, n - 1, ipiv, 1); }

  /// x := P x
  void exchange_rows_back(T* x) const { laswp(1, x, LU.ld, 1, n - 1, ipiv, -1); }

  /// x := Q^T x
  void exchange_columns_back(T* x) const { laswp(1, x, LU.ld, 1, n - 1, jpiv, -1); }

  /// x := L^-1 x
  void substitute_forward(T* x) const {
    for (Int j = 1; j < n; ++j) {
      for (Int i = j + 1; i <= n; ++i) x[i - 1] -= LU(i, j) * x[j - 1];
    }
  }

  /// x := U^-1 x. A row is divided by its pivot before it is multiplied: x may be large where the ratio is small.
  void substitute_back(T* x) const {
    for (Int i = n; i >= 1; --i) {
      const T reciprocal = quotient(T(1), LU(i, i));
      T rest = x[i - 1] * reciprocal;
      for (Int k = i + 1; k <= n; ++k) rest -= x[k - 1] * (LU(i, k) * reciprocal);
      x[i - 1] = rest;
    }
  }
};

}  // namespace nuv
