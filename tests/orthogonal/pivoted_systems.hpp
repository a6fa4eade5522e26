#pragma once

// Calls of gelsy and gelsx alike in all precisions, with arrays of the sizes that they are told to have.

#include "orthogonal/low_rank.hpp"
#include "orthogonal/products_with_q.hpp"
#include "routines.hpp"

namespace nuv::test {

enum class Way { by_blocks, one_by_one };
inline constexpr Way both_ways[] = {Way::by_blocks, Way::one_by_one};

template <Scalar T>
Int best_system_lwork(const SystemSizes& s) {
  if (s.m == 0 && s.n == 0) return 1;
  const Int nb = std::max({ask(1, reported_name<T>("GEQRF"), " ", s.m, s.n, -1),
                           ask(1, reported_name<T>("GERQF"), " ", s.m, s.n, -1),
                           ask(1, name_with_q<T>("M", "QR"), " ", s.m, s.n, s.nrhs),
                           ask(1, name_with_q<T>("M", "RQ"), " ", s.m, s.n, s.nrhs)});
  return std::max({1, s.mn() + 2 * s.n + nb * (s.n + 1), 2 * s.mn() + nb * s.nrhs});
}

inline Int least_system_lwork(const SystemSizes& s) {
  if (s.m == 0 && s.n == 0) return 1;
  return s.mn() + std::max({2 * s.mn(), s.n + 1, s.mn() + s.nrhs});
}

/// With which columns are pivoted by norms that are kept from step to step.
template <Scalar T>
Int lwork_of_kept_norms(const SystemSizes& s) {
  return std::max(least_system_lwork(s), ComplexScalar<T> ? 0 : s.mn() + 3 * s.n + 1);
}

/// Workspace of gelsx.
template <Scalar T>
Int unblocked_work(const SystemSizes& s) {
  if constexpr (ComplexScalar<T>) {
    return std::max(1, s.mn() + std::max(s.n, 2 * s.mn() + s.nrhs));
  } else {
    return std::max({1, s.mn() + 3 * s.n, 2 * s.mn() + s.nrhs});
  }
}

/// What a call leaves.
template <Scalar T>
struct SolvedSystem {
  GuardedMatrix<T> A, B;
  GuardedVector<Int> jpvt;
  GuardedVector<T> work;
  Int rank = -77;
};

/// Solves a system with matrices in which only the first sizes are of interest.
///
/// lwork   for gelsy
/// fixed   columns that are to stand in front
template <Scalar T>
SolvedSystem<T> solve_pivoted(Way way, const SystemSizes& sizes, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B,
                              Real<T> rcond, Int lwork, const std::vector<Int>& fixed = {}) {
  const bool by_blocks = way == Way::by_blocks;
  SolvedSystem<T> result{A, B, GuardedVector<Int>(sizes.n),
                         GuardedVector<T>(by_blocks ? std::max(1, lwork) : unblocked_work<T>(sizes))};
  const auto [m, n, nrhs] = sizes;
  for (Int j = 1; j <= n; ++j) result.jpvt(j) = 0;
  for (const Int j : fixed) result.jpvt(j) = j % 2 == 0 ? -3 : 1;  // any number that is not zero
  result.jpvt.seal();
  Int info = 99;
  const Matrix<T> a(result.A), b(result.B);
  if constexpr (ComplexScalar<T>) {
    GuardedVector<Real<T>> rwork(2 * n);
    if (by_blocks) {
      routine_call::gelsy(m, n, nrhs, a, b, result.jpvt.data(), rcond, result.rank, result.work.data(), lwork,
                          rwork.data(), info);
    } else {
      routine_call::gelsx(m, n, nrhs, a, b, result.jpvt.data(), rcond, result.rank, result.work.data(), rwork.data(),
                          info);
    }
    EXPECT_TRUE(rwork.guards_unchanged());
  } else if (by_blocks) {
    routine_call::gelsy(m, n, nrhs, a, b, result.jpvt.data(), rcond, result.rank, result.work.data(), lwork, info);
  } else {
    routine_call::gelsx(m, n, nrhs, a, b, result.jpvt.data(), rcond, result.rank, result.work.data(), info);
  }
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(result.A.guards_unchanged());
  EXPECT_TRUE(result.B.guards_unchanged());
  EXPECT_TRUE(result.jpvt.guards_unchanged());
  EXPECT_TRUE(result.work.guards_unchanged());
  return result;
}

template <Scalar T>
SolvedSystem<T> solve_pivoted(Way way, const LowRankSystem<T>& system, Real<T> rcond,
                              const std::vector<Int>& fixed = {}) {
  return solve_pivoted(way, system.sizes, system.A, system.B, rcond, best_system_lwork<T>(system.sizes), fixed);
}

}  // namespace nuv::test
