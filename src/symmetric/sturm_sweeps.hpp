#pragma once

// The loops behind Sturm counts, for one shift or for several side by side.

#include <algorithm>
#include <cmath>

#include "base/types.hpp"

namespace nuv {

/// So many rows pass before somebody looks for NaN.
inline constexpr Int rows_between_tests = 128;

/// A pivot of a tridiagonal matrix by which can be divided.
template <RealScalar R>
R away_from_zero(R pivot, R pivmin) {
  return std::abs(pivot) < pivmin ? negated(pivmin) : pivot;
}

/// The pivots of L D L^T - sigma I from the top down, of rows 1 ... rows: adds the number of negative ones to count,
/// and gives what comes down to the next row.
///
/// A zero pivot makes an infinity, and that a NaN one row later; rows since the last test are gone through again with
/// the limit, 1, in place of the quotient of two infinities.
template <RealScalar R>
R sweep_down(Int rows, const R* d, const R* lld, R sigma, Int& count) {
  R t = negated(sigma);
  for (Int first = 0; first < rows; first += rows_between_tests) {
    const Int end = std::min(first + rows_between_tests, rows);
    const R start = t;
    Int negative = 0;
    for (Int j = first; j < end; ++j) {
      const R pivot = d[j] + t;
      negative += pivot < 0;
      t = (t / pivot) * lld[j] - sigma;
    }
    if (std::isnan(t)) {
      negative = 0;
      t = start;
      for (Int j = first; j < end; ++j) {
        const R pivot = d[j] + t;
        negative += pivot < 0;
        const R ratio = t / pivot;
        t = (std::isnan(ratio) ? R(1) : ratio) * lld[j] - sigma;
      }
    }
    count += negative;
  }
  return t;
}

/// The same from the bottom up: the pivots of rows n ... r + 1, and what comes up to row r.
template <RealScalar R>
R sweep_up(Int n, Int r, const R* d, const R* lld, R sigma, Int& count) {
  R p = d[n - 1] - sigma;
  for (Int last = n - 2; last >= r - 1; last -= rows_between_tests) {
    const Int end = std::max(last - rows_between_tests + 1, r - 1);
    const R start = p;
    Int negative = 0;
    for (Int j = last; j >= end; --j) {
      const R pivot = lld[j] + p;
      negative += pivot < 0;
      p = (p / pivot) * d[j] - sigma;
    }
    if (std::isnan(p)) {
      negative = 0;
      p = start;
      for (Int j = last; j >= end; --j) {
        const R pivot = lld[j] + p;
        negative += pivot < 0;
        const R ratio = p / pivot;
        p = (std::isnan(ratio) ? R(1) : ratio) * d[j] - sigma;
      }
    }
    count += negative;
  }
  return p;
}

/// Number of eigenvalues of T below x, the pivots being kept away from zero.
template <RealScalar R>
Int count_below(Int n, const R* d, const R* e2, R pivmin, R x) {
  Int count = 0;
  R pivot = 0;
  for (Int i = 0; i < n; ++i) {
    pivot = i == 0 ? d[0] - x : d[i] - e2[i - 1] / pivot - x;
    pivot = away_from_zero(pivot, pivmin);
    count += pivot <= 0;
  }
  return count;
}

}  // namespace nuv
