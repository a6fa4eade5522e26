#pragma once

// What a reduction to tridiagonal form returns, and whether it is similar to the matrix that was reduced.

#include <algorithm>
#include <cmath>

#include "support/random.hpp"
#include "symmetric/eigen_checks.hpp"

namespace nuv::test {

template <Scalar T>
struct TridiagonalForm {
  GuardedVector<Real<T>> d, e;

  explicit TridiagonalForm(Int n) : d(n), e(std::max(0, n - 1)) {}

  Tridiagonal<Real<T>> matrix() const {
    Tridiagonal<Real<T>> result;
    for (Int i = 1; i <= d.size(); ++i) result.d.push_back(d(i));
    for (Int i = 1; i <= e.size(); ++i) result.e.push_back(e(i));
    return result;
  }

  testing::AssertionResult guards_unchanged() const {
    const testing::AssertionResult diagonal = d.guards_unchanged();
    return diagonal ? e.guards_unchanged() : diagonal;
  }
  testing::AssertionResult same_as(const TridiagonalForm& other) const {
    const testing::AssertionResult diagonal = d.same_as(other.d);
    return diagonal ? e.same_as(other.e) : diagonal;
  }
};

/// A Q = Q T with a unitary Q, up to rounding. Where all elements of Q^H Q - I are of the size of eps, as products of
/// many reflectors leave them, the measure of that grows with the square root of the order.
template <Scalar T>
void expect_similar(const WideMatrix<T>& A, const GuardedMatrix<T>& Q, const TridiagonalForm<T>& form) {
  EXPECT_LT(reduction_residual<T>(A, Q, form.matrix()), 10);
  EXPECT_LT(orthogonality(Q, Q.columns()), std::max(10.0, std::sqrt(Q.columns())));
  EXPECT_TRUE(form.guards_unchanged());
  EXPECT_TRUE(Q.guards_unchanged());
}

/// Two forms of one matrix have the same eigenvalues, up to rounding.
template <Scalar T>
void expect_same_values(const TridiagonalForm<T>& form, const TridiagonalForm<T>& other) {
  const auto values = wide_values(form.matrix());
  GuardedVector<Real<T>> rounded(form.d.size());
  for (Int i = 1; i <= rounded.size(); ++i) rounded(i) = Real<T>(values[std::size_t(i - 1)]);
  EXPECT_LT(value_error(rounded, rounded.size(), wide_values(other.matrix())), 10);
}

/// How far X is from G Q, in units of rounding.
template <Scalar T>
double product_error(const GuardedMatrix<T>& X, const GuardedMatrix<T>& G, const GuardedMatrix<T>& Q) {
  return Sum<T>(G.rows(), Q.columns()).add(T(1), wide(G), wide(Q)).error_of(wide(X));
}

}  // namespace nuv::test
