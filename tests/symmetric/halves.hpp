#pragma once

// Two halves of a tridiagonal matrix with their eigensystems, as a merge takes them.

#include <cmath>
#include <vector>

#include "routines.hpp"
#include "symmetric/tridiagonal_problem.hpp"

namespace nuv::test {

/// The halves of `matrix` without the element that joins them, and what it takes off the diagonal on both sides.
template <RealScalar R>
struct Halves {
  Tridiagonal<R> matrix;
  Int n, n1;
  R rho;               ///< the joining element
  GuardedVector<R> d;  ///< eigenvalues of the first half, then of the second
  GuardedMatrix<R> Q;  ///< eigenvectors, with zeros beside them
  std::vector<Int> indxq;

  explicit Halves(const Tridiagonal<R>& whole)
      : matrix(whole),
        n(whole.order()),
        n1(n / 2),
        rho(n > 1 ? whole.e[std::size_t(n1 - 1)] : R(0)),
        d(guarded(whole.d)),
        Q(identity<R>(n, n + 3)) {
    GuardedVector<R> e = guarded(whole.e), work(2 * n + 1);
    if (n > 1) {
      d(n1) -= std::abs(rho);
      d(n1 + 1) -= std::abs(rho);
    }
    Int info = 0;
    if (n1 > 0) routine_call::steqr('I', n1, d.data(), e.data(), Q, work.data(), info);
    EXPECT_EQ(info, 0);
    routine_call::steqr('I', n - n1, d.data() + n1, e.data() + n1, {&Q(n1 + 1, n1 + 1), Q.ld()}, work.data(), info);
    EXPECT_EQ(info, 0);
    for (Int i = 1; i <= n; ++i) indxq.push_back(i <= n1 ? i : i - n1);
    d.seal();
    Q.seal();
  }

  /// Last row of the first half's eigenvectors, first row of the second's.
  std::vector<R> joining_vector() const {
    std::vector<R> z;
    for (Int j = 1; j <= n; ++j) z.push_back(Q(j <= n1 ? n1 : n1 + 1, j));
    return z;
  }

  /// Changes the order of the eigenpairs of a half, and says so in indxq.
  void reverse_half(bool second) {
    const Int first = second ? n1 + 1 : 1, last = second ? n : n1;
    for (Int i = first, j = last; i < j; ++i, --j) {
      std::swap(d(i), d(j));
      for (Int row = 1; row <= n; ++row) std::swap(Q(row, i), Q(row, j));
    }
    for (Int i = first; i <= last; ++i) indxq[std::size_t(i - 1)] = last - i + 1;
    d.seal();
    Q.seal();
  }
};

/// Matrices of order n whose merges deflate nothing, a part, or all.
template <RealScalar R>
std::vector<DescribedTridiagonal<R>> matrices_to_merge(Int n) {
  constexpr R eps = std::numeric_limits<R>::epsilon();
  const auto random = random_tridiagonal<R>(n);
  auto negative = random, loose = random, twins = random;
  negative.e[std::size_t(n / 2 - 1)] = -std::abs(negative.e[std::size_t(n / 2 - 1)]);
  loose.e[std::size_t(n / 2 - 1)] = eps / 8;
  // The same eigenvalues in both halves, or nearly.
  for (Int i = 0; i < n / 2; ++i) {
    const Int mirror = n - 1 - i;
    twins.d[std::size_t(mirror)] = twins.d[std::size_t(i)];
    if (i + 1 < n / 2) twins.e[std::size_t(mirror - 1)] = twins.e[std::size_t(i)];
  }
  return {{"random", random},
          {"joined by a negative element", negative},
          {"joined by next to nothing", loose},
          {"twins", twins},
          {"1-2-1", one_two_one<R>(n)},
          {"glued", glued_wilkinson<R>(n, std::sqrt(eps))}};
}

}  // namespace nuv::test
