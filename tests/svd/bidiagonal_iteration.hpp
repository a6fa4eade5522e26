#pragma once

// The arguments of ?bdsqr, and what its results are compared with.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>
#include <limits>

#include "routines.hpp"
#include "support/filled.hpp"
#include "support/malloc_requests.hpp"
#include "support/norms.hpp"
#include "support/wide.hpp"
#include "svd/bidiagonal_matrices.hpp"

namespace nuv::test {

using Answer = MallocRequests::Answer;

inline constexpr double threshold_of_residuals = 10;

/// In eps of each value, whatever its size: an element that is beside it by no more than a tolerance, of 45 eps in
/// double precision, is dropped.
constexpr double threshold_of_values(Int n) {
  return 40 + n / 2.0;
}

inline constexpr Answer answers[] = {Answer::granted, Answer::refused};

template <Scalar T>
WideMatrix<T> dense(char uplo, Int n, const Real<T>* d, const Real<T>* e) {
  WideMatrix<T> B = WideMatrix<T>::Zero(n, n);
  const bool upper = std::toupper(uplo) == 'U';
  for (Int i = 0; i < n; ++i) {
    B(i, i) = Wide<T>(d[i]);
    if (i + 1 < n) (upper ? B(i, i + 1) : B(i + 1, i)) = Wide<T>(e[i]);
  }
  return B;
}

/// The arguments of ?bdsqr.
template <Scalar T>
struct Iteration {
  using R = Real<T>;

  char uplo;
  Int n;
  GuardedVector<R> d, e;
  GuardedMatrix<T> VT, U, C;
  GuardedVector<R> work;
  Int info = 99;
  int kept = 0, requests = 0;
  std::size_t bytes = 0;

  Iteration(char uplo, const Bidiagonal<R>& matrix, GuardedMatrix<T> VT, GuardedMatrix<T> U, GuardedMatrix<T> C)
      : uplo(uplo), n(matrix.order()), d(guarded(matrix.d)), e(guarded(matrix.e)), VT(VT), U(U), C(C), work(room()) {
    this->VT.seal();
    this->U.seal();
    this->C.seal();
  }

  /// All vectors, and Q^T in C.
  static Iteration of_all(char uplo, const Bidiagonal<R>& matrix) {
    const Int n = matrix.order();
    return {uplo, matrix, identity<T>(n, n + 1), identity<T>(n, n + 2), identity<T>(n, n)};
  }

  static Iteration of_values(char uplo, const Bidiagonal<R>& matrix) {
    const Int n = matrix.order();
    return {uplo, matrix, GuardedMatrix<T>(n, 0, 1), GuardedMatrix<T>(0, n, 1), GuardedMatrix<T>(n, 0, 1)};
  }

  bool has_vectors() const { return VT.columns() > 0 || U.rows() > 0 || C.columns() > 0; }
  Int room() const { return std::max(1, has_vectors() ? 4 * n - 4 : 4 * n); }

  Iteration& run(Answer answer = Answer::granted) {
    const MallocRequests memory(answer);
    routine_call::bdsqr(uplo, n, VT.columns(), U.rows(), C.columns(), d.data(), e.data(), VT, U, C, work.data(), info);
    kept = memory.kept();
    bytes = memory.bytes();
    requests = memory.count();
    return *this;
  }

  void expect_guards() const {
    EXPECT_TRUE(d.guards_unchanged() && e.guards_unchanged() && work.guards_unchanged());
    EXPECT_TRUE(VT.guards_unchanged() && U.guards_unchanged() && C.guards_unchanged());
  }

  /// Of a matrix before the iteration.
  double residual() const {
    const WideMatrix<T> B = dense<T>(uplo, n, &d.sealed(1), &e.sealed(1));
    WideMatrix<T> S = WideMatrix<T>::Zero(n, n);
    for (Int i = 0; i < n; ++i) S(i, i) = Wide<T>(d(i + 1));
    return residual(B, S);
  }
  double residual(const WideMatrix<T>& B, const WideMatrix<T>& S) const {
    const WideMatrix<T> rest = B - product<T>(wide(U), product<T>(S, wide(VT)));
    return ratio(norm(rest), norm(B) * (n * epsilon<T> + tolerance() / threshold_of_residuals) + neglected());
  }

  static double orthogonality(const GuardedMatrix<T>& Q) {
    const WideMatrix<T> X = wide(Q);
    const WideMatrix<T> rest = product<T>(X.adjoint(), X) - WideMatrix<T>::Identity(X.cols(), X.cols());
    return ratio(norm(rest), WideReal<T>(X.rows()) * epsilon<T>);
  }

  /// Relative size of elements that are dropped.
  static double tolerance() {
    const double eps = double(epsilon<T>) / 2;
    return std::max(10.0, std::pow(eps, -0.125)) * eps;
  }

  /// Elements up to here are nothing to the iteration, whatever stands beside them.
  long double neglected() const { return 6.0L * n * n * std::numeric_limits<R>::min(); }

  void expect_values(const std::vector<long double>& values) const {
    EXPECT_EQ(info, 0);
    EXPECT_TRUE(std::is_sorted(d.data(), d.data() + n, std::greater<>()));
    EXPECT_FALSE(std::any_of(d.data(), d.data() + n, [](R x) { return x < 0; }));
    const long double floor = has_vectors() ? neglected() / (threshold_of_values(n) * epsilon<R>)
                                            : values.front() * least_beside_one() + std::numeric_limits<R>::min();
    EXPECT_LT(relative_error(d.data(), values, floor), threshold_of_values(n));
    expect_guards();
  }

  /// Values alone are found by squares; those of the largest come close to overflow.
  static long double least_beside_one() {
    const long double least_square = std::numeric_limits<R>::min(), scale = epsilon<R> / least_square;
    return 64 * std::sqrt(least_square / scale);
  }

  void expect_solution(const std::vector<long double>& values) const {
    expect_values(values);
    EXPECT_LT(residual(), threshold_of_residuals);
    EXPECT_LT(orthogonality(U), threshold_of_residuals);
    EXPECT_LT(orthogonality(VT), threshold_of_residuals);
    const WideMatrix<T> difference = wide(C) - wide(U).transpose();  // rotations are real
    EXPECT_LT(ratio(norm(difference), n * epsilon<T>), threshold_of_residuals);
  }
};

}  // namespace nuv::test
