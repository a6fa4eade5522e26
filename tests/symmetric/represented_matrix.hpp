#pragma once

// Representations L D L^T of tridiagonal matrices, and what they are in the next wider type.

#include <cmath>
#include <limits>

#include "symmetric/tridiagonal_matrices.hpp"

namespace nuv::test {

/// D and L, and the products of their elements that the routines take; counted from zero.
template <RealScalar R>
struct RepresentedMatrix {
  std::vector<R> d, l, ld, lld;

  RepresentedMatrix(std::vector<R> d_, std::vector<R> l_) : d(std::move(d_)), l(std::move(l_)) {
    for (std::size_t i = 0; i < l.size(); ++i) {
      ld.push_back(l[i] * d[i]);
      lld.push_back(l[i] * ld[i]);
    }
  }

  Int order() const { return Int(d.size()); }

  /// Rows first ... last, counted from one, of the matrix less shift I.
  WideMatrix<R> wide(WideReal<R> shift, Int first, Int last) const {
    using W = WideReal<R>;
    const Eigen::Index n = last - first + 1;
    WideMatrix<R> A = WideMatrix<R>::Zero(n, n);
    for (Eigen::Index k = 0; k < n; ++k) {
      const std::size_t i = std::size_t(first - 1 + k);
      A(k, k) = W(d[i]) - shift;
      if (i > 0) A(k, k) += W(l[i - 1]) * W(l[i - 1]) * W(d[i - 1]);
      if (k + 1 < n) A(k, k + 1) = A(k + 1, k) = W(l[i]) * W(d[i]);
    }
    return A;
  }
  WideMatrix<R> wide(WideReal<R> shift = 0) const { return wide(shift, 1, order()); }

  /// The number of eigenvalues below x, by the stationary transform: right for x of any magnitude.
  Int count_below(WideReal<R> x) const {
    using W = WideReal<R>;
    Int count = 0;
    W s = -x;
    for (std::size_t i = 0; i < d.size(); ++i) {
      W pivot = W(d[i]) + s;
      if (pivot == 0) pivot = -std::numeric_limits<W>::min();
      count += pivot < 0;
      if (i + 1 < d.size()) s = (s / pivot) * W(l[i]) * W(l[i]) * W(d[i]) - x;
    }
    return count;
  }

  /// Eigenvalue k, counted from one, to some digits more than R has.
  WideReal<R> value(Int k) const {
    using W = WideReal<R>;
    W low = -1, high = 1;
    while (count_below(low) >= k) low *= 2;
    while (count_below(high) < k) high *= 2;
    while (true) {
      const W middle = low + (high - low) / 2;
      if (middle == low || middle == high) return middle;
      if (high - low < W(epsilon<R>) / 256 * std::max(std::abs(low), std::abs(high))) return middle;
      (count_below(middle) >= k ? high : low) = middle;
    }
  }
};

/// L D L^T = T - shift I.
template <RealScalar R>
RepresentedMatrix<R> representation_of(const Tridiagonal<R>& matrix, R shift) {
  std::vector<R> d, l;
  WideReal<R> pivot = WideReal<R>(matrix.d[0]) - shift;
  for (std::size_t i = 0; i < matrix.d.size(); ++i) {
    d.push_back(R(pivot));
    if (i + 1 == matrix.d.size()) break;
    l.push_back(R(matrix.e[i] / pivot));
    pivot = WideReal<R>(matrix.d[i + 1]) - shift - matrix.e[i] / pivot * matrix.e[i];
  }
  return {d, l};
}

}  // namespace nuv::test
