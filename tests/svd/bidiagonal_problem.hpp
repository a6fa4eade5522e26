#pragma once

// Bidiagonal matrices as the routines take them, and what their decompositions are compared with.

#include <gtest/gtest.h>

#include "support/filled.hpp"
#include "svd/bidiagonal_matrices.hpp"
#include "svd/decomposition_checks.hpp"

namespace nuv::test {

/// The matrix with d on its diagonal and e above it, or below it. With as many elements in e as in d it has a column,
/// or a row, more.
template <RealScalar R>
WideMatrix<R> wide_bidiagonal(const std::vector<R>& d, const std::vector<R>& e, bool upper = true) {
  const auto n = Eigen::Index(d.size()), longer = std::max(n, Eigen::Index(e.size()) + 1);
  WideMatrix<R> B = WideMatrix<R>::Zero(upper ? n : longer, upper ? longer : n);
  for (Eigen::Index i = 0; i < n; ++i) B(i, i) = d[std::size_t(i)];
  for (Eigen::Index i = 0; i + 1 < longer; ++i) (upper ? B(i, i + 1) : B(i + 1, i)) = e[std::size_t(i)];
  return B;
}

/// All singular values in decreasing order.
template <RealScalar R>
WideVector<R> exact_values(const std::vector<R>& d, const std::vector<R>& e) {
  const Int n = Int(d.size());
  // A column more is one of a matrix with a zero more on the diagonal.
  Bidiagonal<R> square{d, e};
  if (e.size() == d.size()) square.d.push_back(0);
  const auto values = singular_values(square);
  WideVector<R> result(n);
  for (Int i = 0; i < n; ++i) result(i) = WideReal<R>(values[std::size_t(i)]);
  return result;
}

/// That B = U S V^T with orthogonal matrices, and values in decreasing order.
template <RealScalar R>
void expect_bidiagonal_svd(const WideMatrix<R>& B, const WideVector<R>& exact, const WideMatrix<R>& U,
                           const GuardedVector<R>& s, const WideMatrix<R>& VT) {
  EXPECT_TRUE(std::is_sorted(s.data(), s.data() + s.size(), std::greater<>()));
  EXPECT_LT(singular_value_error<R>(s, exact), svd_threshold);
  EXPECT_LT(orthonormality<R>(U), svd_threshold);
  EXPECT_LT(orthonormality<R>(VT.transpose()), svd_threshold);
  EXPECT_LT(decomposition_residual<R>(B, U, s, VT), svd_threshold);
}

}  // namespace nuv::test
