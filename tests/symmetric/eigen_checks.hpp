#pragma once

// How good eigenvalues and eigenvectors are, judged in the next wider type. Measures are in units of eps, and NaN where
// a result is NaN.

#include <vector>

#include "support/guarded.hpp"
#include "support/wide.hpp"
#include "symmetric/tridiagonal_matrices.hpp"

namespace nuv::test {

/// ||(A Z - Z W) V|| / (||A|| n eps) for the first m columns of Z and the values w(1) ... w(m) on the diagonal of W,
/// with a few columns V of random signs, which say no less than the whole product and take far less.
template <Scalar T>
double eigen_residual(const WideMatrix<T>& A, const GuardedMatrix<T>& Z, const GuardedVector<Real<T>>& w, Int m);

/// ||(A Z - B Z W) V|| / ((||A|| + ||B|| max |w|) ||Z|| n eps)
template <Scalar T>
double generalised_residual(const WideMatrix<T>& A, const WideMatrix<T>& B, const GuardedMatrix<T>& Z,
                            const GuardedVector<Real<T>>& w, Int m);

/// ||(Z^H Z - I) V|| / (n eps) for the first m columns of Z.
template <Scalar T>
double orthogonality(const GuardedMatrix<T>& Z, Int m);

/// ||(Z^H B Z - I) V|| / (||B|| ||Z||^2 n eps)
template <Scalar T>
double orthogonality_in(const WideMatrix<T>& B, const GuardedMatrix<T>& Z, Int m);

/// ||(A Q - Q T) V|| / (||A|| n eps) for a reduction to tridiagonal form.
template <Scalar T>
double reduction_residual(const WideMatrix<T>& A, const GuardedMatrix<T>& Q, const Tridiagonal<Real<T>>& tridiagonal);

/// The number of eigenvalues below x.
template <RealScalar R>
Int wide_count(const Tridiagonal<R>& matrix, WideReal<R> x);

/// All eigenvalues in ascending order, by bisection in the wider type until an interval can't be halved.
template <RealScalar R>
std::vector<WideReal<R>> wide_values(const Tridiagonal<R>& matrix);

/// The largest |w(k) - exact(first + k - 1)| / (||T|| n eps), with the first exact value counted from one, n their
/// number and ||T|| the largest of their magnitudes.
template <RealScalar R>
double value_error(const GuardedVector<R>& w, Int m, const std::vector<WideReal<R>>& exact, Int first = 1);

}  // namespace nuv::test
