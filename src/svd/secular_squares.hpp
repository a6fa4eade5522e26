#pragma once

// All roots of the secular equation of a merge of singular values.

#include "blas.hpp"
#include "svd/secular_values.hpp"

namespace nuv {

/// Finds roots d(1) ... d(k) for the joining row z, which is brought to norm one. For each root, found(j, difference,
/// sum) is told where dsigma(i) - d(j) and dsigma(i) + d(j) stand: at difference(j) and sum(j), k elements each.
///
/// 0, or the number of a root that was not found.
template <RealScalar R, class Difference, class Sum, class Found>
Int find_squares(Int k, const R* dsigma, R* z, R* d, Difference difference, Sum sum, Found found) {
  const R norm = blas::nrm2(k, {z, 1});
  for (Int i = 0; i < k; ++i) z[i] /= norm;
  for (Int j = 1; j <= k; ++j) {
    R *const differences = difference(j), *const sums = sum(j);
    Int info;
    lasd4(k, j, dsigma, z, differences, norm * norm, d[j - 1], sums, info);
    if (info != 0) return j;
    found(j, differences, sums);
  }
  return 0;
}

/// Element by element: dsigma(i)^2 - d(j)^2 from difference and sum.
template <RealScalar R>
void multiply_by(Int k, R* __restrict x, const R* y) {
  for (Int i = 0; i < k; ++i) x[i] *= y[i];
}

}  // namespace nuv
