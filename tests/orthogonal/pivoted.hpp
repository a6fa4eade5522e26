#pragma once

// QR factorisations with column pivoting, called alike in all precisions and judged in a wider type.

#include <algorithm>
#include <cmath>
#include <vector>

#include "orthogonal/factored.hpp"
#include "routines.hpp"

namespace nuv::test {

/// Elements of work that the norms of a column take.
template <Scalar T>
inline constexpr Int norms_in_work = ComplexScalar<T> ? 0 : 2;

template <Scalar T>
Int least_pivoted_lwork(Int n) {
  return (norms_in_work<T> + 1) * n + 1;
}

/// With which panels of nb columns are made of n.
template <Scalar T>
Int lwork_of_panels(Int n, Int nb) {
  return norms_in_work<T> * n + (n + 1) * nb;
}

template <Scalar T>
void factor_by_panels(Int m, Int n, Matrix<T> A, Int* jpvt, T* tau, T* work, Int lwork, Int& info) {
  if constexpr (ComplexScalar<T>) {
    GuardedVector<Real<T>> rwork(2 * n);
    routine_call::geqp3(m, n, A, jpvt, tau, work, lwork, rwork.data(), info);
    EXPECT_TRUE(rwork.guards_unchanged());
  } else {
    routine_call::geqp3(m, n, A, jpvt, tau, work, lwork, info);
  }
}

template <Scalar T>
void factor_by_columns(Int m, Int n, Matrix<T> A, Int* jpvt, T* tau, T* work, Int /*lwork*/, Int& info) {
  if constexpr (ComplexScalar<T>) {
    GuardedVector<Real<T>> rwork(2 * n);
    routine_call::geqpf(m, n, A, jpvt, tau, work, rwork.data(), info);
    EXPECT_TRUE(rwork.guards_unchanged());
  } else {
    routine_call::geqpf(m, n, A, jpvt, tau, work, info);
  }
}

/// A factorisation A P = Q R.
template <Scalar T>
struct Pivoted {
  Factored<T> f;  ///< of A P
  std::vector<Int> permutation;

  double diagonal(Int k) const { return std::abs(std::complex<double>(f.factors(k, k))); }
};

/// Factors a matrix with a routine that takes (m, n, a, jpvt, tau, work, lwork, info).
///
/// fixed   columns that are to stand in front
template <Scalar T, class Routine>
Pivoted<T> factor_pivoted(const GuardedMatrix<T>& A, const std::vector<Int>& fixed, Int lwork, Routine routine) {
  const Int n = A.columns();
  GuardedVector<Int> jpvt(n);
  for (Int j = 1; j <= n; ++j) jpvt(j) = 0;
  for (const Int j : fixed) jpvt(j) = j % 2 == 0 ? -3 : 1;  // any number that is not zero
  Pivoted<T> result{factor(qr_form, A, lwork,
                           [&](Int rows, Int columns, Matrix<T> a, T* tau, T* work, Int size, Int& info) {
                             routine(rows, columns, a, jpvt.data(), tau, work, size, info);
                           }),
                    {}};
  EXPECT_TRUE(jpvt.guards_unchanged());
  std::vector<Int> places;
  for (Int j = 1; j <= n; ++j) {
    places.push_back(j);
    result.permutation.push_back(jpvt(j));
  }
  std::vector<Int> sorted = result.permutation;
  std::ranges::sort(sorted);
  EXPECT_EQ(sorted, places);
  if (sorted != places) return result;

  const WideMatrix<T> original = wide(A);
  for (Int j = 1; j <= n; ++j) result.f.A.col(j - 1) = original.col(jpvt(j) - 1);
  return result;
}

template <Scalar T>
Pivoted<T> factor_by_panels(const GuardedMatrix<T>& A, Int lwork, const std::vector<Int>& fixed = {}) {
  return factor_pivoted(A, fixed, lwork, [](auto&&... arguments) { factor_by_panels<T>(arguments...); });
}

template <Scalar T>
Pivoted<T> factor_by_columns(const GuardedMatrix<T>& A, const std::vector<Int>& fixed = {}) {
  return factor_pivoted(A, fixed, std::max(1, (norms_in_work<T> + 1) * A.columns()),
                        [](auto&&... arguments) { factor_by_columns<T>(arguments...); });
}

/// The largest quotient of what is left of a column when pivot k > fixed was chosen and of what that was of the pivot
/// itself: one, but for how well the norms are known.
template <Scalar T>
double longest_passed_over(const Factored<T>& f, Int fixed = 0) {
  const WideMatrix<T> R = f.triangle();
  double largest = 0;
  for (Int k = fixed; k < f.k(); ++k) {
    const WideReal<T> pivot = std::abs(R(k, k));
    for (Int j = k + 1; j < f.n(); ++j) {
      const WideReal<T> passed = R.col(j).segment(k, f.k() - k).norm();
      if (passed > 0) largest = std::max(largest, double(passed / pivot));
    }
  }
  return largest;
}

/// How well: half of the digits are kept of each.
template <Scalar T>
double trust_in_norms() {
  return 1 + 100 * std::sqrt(double(epsilon<T>));
}

template <Scalar T>
void expect_pivoted(const Pivoted<T>& pivoted, Int fixed = 0) {
  expect_factored(pivoted.f);
  EXPECT_LT(longest_passed_over(pivoted.f, fixed), trust_in_norms<T>());
}

template <Scalar T>
void expect_same(const Pivoted<T>& one, const Pivoted<T>& other) {
  expect_same(one.f, other.f);
  EXPECT_EQ(one.permutation, other.permutation);
}

/// A matrix of integers that has that rank exactly, and is exact in all precisions.
template <Scalar T>
GuardedMatrix<T> matrix_of_rank(Random& random, Int m, Int n, Int rank) {
  const auto integer = [&] {
    const auto re = Real<T>(random.integer(-3, 3));
    if constexpr (ComplexScalar<T>) {
      return T(re, Real<T>(random.integer(-3, 3)));
    } else {
      return re;
    }
  };
  GuardedMatrix<T> A(m, n, padded(m));
  const WideMatrix<T> left = WideMatrix<T>::NullaryExpr(m, rank, [&] { return wide(integer()); }),
                      right = WideMatrix<T>::NullaryExpr(rank, n, [&] { return wide(integer()); }),
                      both = product<T>(left, right);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) A(i, j) = T(both(i - 1, j - 1));
  }
  A.seal();
  return A;
}

}  // namespace nuv::test
