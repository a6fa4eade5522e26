// The driver for singular values by QR iteration: what it gives, for all jobs, shapes and workspaces.

#include <limits>

#include "support/reported_errors.hpp"
#include "svd/svd_calls.hpp"
#include "svd/svd_driver_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class SvdDriver : public ReportingTest {
 protected:
  Random random{53};
};
TYPED_TEST_SUITE(SvdDriver, Precisions, PrecisionLetter);

std::vector<SvdShape> shapes(Int k) {
  return shapes_around(svd_crossover(k), k);
}

TYPED_TEST(SvdDriver, DecomposesSmallMatrices) {
  using T = TypeParam;
  for (const Int k : {1, 2, 3, 7}) {
    for (const auto [m, n] : shapes(k)) {
      expect_decompositions_in_any_workspace<SvdCall<T>>(
          this->random, random_matrix<T>(this->random, m, n, m + this->random.integer(0, 3)));
    }
  }
}

TYPED_TEST(SvdDriver, DecomposesByBlocks) {
  using T = TypeParam;
  constexpr Int k = 37;
  for (const auto [m, n] : shapes(k)) {
    const SvdProblem<T> problem(random_matrix<T>(this->random, m, n, m + 1));
    SvdCall<T>::for_each_job([&](char jobu, char jobvt) {
      const SvdCall<T> call(jobu, jobvt, problem.A);
      for (const Int lwork : {call.sizes().least, call.best()}) {
        SCOPED_TRACE(testing::Message() << call.description() << ", lwork " << lwork);
        expect_decomposition(call.solved(lwork), problem);
      }
    });
  }
}

TYPED_TEST(SvdDriver, DecomposesDescribedMatrices) {
  using T = TypeParam;
  constexpr Int k = 20;
  for_each_described_problem<T>({{k, k}, {2 * k, k}, {k, 2 * k}}, [](const SvdProblem<T>& problem) {
    for (const auto& [jobu, jobvt] : {std::pair{'N', 'N'}, {'S', 'S'}, {'O', 'A'}, {'A', 'O'}}) {
      const SvdCall<T> call(jobu, jobvt, problem.A);
      expect_decomposition(call.solved(call.best()), problem);
    }
  });
}

// ------------------------------------------------------------------------------------------------------------ scaling

/// Far beyond the square roots of the least and the largest number.
template <Scalar T>
constexpr int far = std::same_as<Real<T>, float> ? 62 : 600;

TYPED_TEST(SvdDriver, ScalesTinyAndHugeMatrices) {
  using T = TypeParam;
  for (const int exponent : {-far<T>, far<T>}) {
    for (const auto [m, n] : shapes(6)) {
      SCOPED_TRACE(exponent);
      expect_decompositions<SvdCall<T>>(scaled(random_matrix<T>(this->random, m, n, m), exponent));
    }
  }
}

/// The square root of the least number over eps, and its reciprocal, as powers of two.
template <Scalar T>
constexpr int end_of_range = (std::numeric_limits<Real<T>>::min_exponent - 1) / 2 +
                             (std::numeric_limits<Real<T>>::digits - 1);

/// A matrix whose largest element is next to an end of the range in which it is taken as it is, or just beyond: scaling
/// by anything but a power of two is seen in last digits.
TYPED_TEST(SvdDriver, ScalesMatricesOutsideOfTheRangeAlone) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> A = random_matrix<T>(this->random, 6, 6, 6);
  for (Int j = 1; j <= 6; ++j) {
    for (Int i = 1; i <= 6; ++i) A(i, j) *= R(0.25);
  }
  A(2, 3) = T(R(0.75));
  const auto values = [](const GuardedMatrix<T>& matrix) {
    const SvdCall<T> call('S', 'S', matrix);
    return call.solved(call.best()).s;
  };
  const GuardedVector<R> expected = values(A);
  const auto is_scaled = [&](int exponent) {
    const GuardedVector<R> s = values(scaled(A, exponent));
    for (Int i = 1; i <= 6; ++i) {
      if (s(i) != std::ldexp(expected(i), exponent)) return true;
    }
    return false;
  };
  constexpr int end = end_of_range<T>;
  EXPECT_TRUE(is_scaled(end));
  EXPECT_FALSE(is_scaled(end + 1));
  EXPECT_FALSE(is_scaled(-end));
  EXPECT_TRUE(is_scaled(-end + 1));
}

TYPED_TEST(SvdDriver, KeepsSmallValuesOfTinyMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 4;
  for (const int exponent : {-far<T>, 0, far<T>}) {
    GuardedMatrix<T> A(n, n, n);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= n; ++i) A(i, j) = T(i == j ? std::ldexp(R(1), exponent - 8 * Int(i)) : R(0));
    }
    A.seal();
    const SvdCall<T> call('S', 'S', A), solved = call.solved(call.best());
    ASSERT_EQ(solved.info, 0);
    for (Int i = 1; i <= n; ++i) {
      EXPECT_NEAR(solved.s(i) / std::ldexp(R(1), exponent - 8 * Int(i)), 1, 10 * epsilon<T>) << i << ", " << exponent;
    }
  }
}

TYPED_TEST(SvdDriver, OfTheZeroMatrixGivesZeros) {
  for (const SvdShape& shape : shapes(5)) expect_zeros_of_zero<SvdCall<TypeParam>>(shape);
}

// --------------------------------------------------------------------------------------------------------- workspaces

TYPED_TEST(SvdDriver, AsksForWorkspaces) {
  using T = TypeParam;
  for (const Int k : {1, 4, 50, 130, 700, 1100, 1300}) {
    for (const auto [m, n] : shapes(k)) {
      SvdCall<T>::for_each_job([&, m = m, n = n](char jobu, char jobvt) {
        SvdCall<T> call(jobu, jobvt, GuardedMatrix<T>(1, 1, m));
        call.m = m;
        call.n = n;
        call.ldu = m;
        call.ldvt = n;
        EXPECT_EQ(call.best(), svd_sizes<T>(jobu, jobvt, m, n).best) << m << " by " << n << ' ' << jobu << jobvt;
      });
    }
  }
}

/// Sizes that single precision can't hold are told no smaller than they are.
TYPED_TEST(SvdDriver, AsksForNoLessThanItTakes) {
  using T = TypeParam;
  for (Int n = 4001; n < 4008; ++n) {
    SvdCall<T> call('S', 'S', GuardedMatrix<T>(1, 1, 2 * n));
    call.m = 2 * n;
    call.n = n;
    call.ldu = 2 * n;
    call.ldvt = n;
    EXPECT_GE(call.best(), svd_sizes<T>('S', 'S', 2 * n, n).best);
  }
}

TYPED_TEST(SvdDriver, DoesNothingToEmptyMatrices) {
  expect_nothing_done_to_empty<SvdCall<TypeParam>>('A', 'A');
}

// ------------------------------------------------------------------------------------------------------------ failure

/// A matrix that falls into two: one part that is bidiagonal already, or diagonal if it is wide, so that nothing is
/// done to it, and another of order three that a NaN keeps from converging.
template <Scalar T>
GuardedMatrix<T> half_hopeless(Int m, Int n, int exponent) {
  using R = Real<T>;
  const Int k = std::min(m, n);
  GuardedMatrix<T> A(m, n, m);
  const auto number = [=](Int i) { return T(std::ldexp(R(1) + R(i) / 8, exponent)); };
  for (Int j = 1; j <= n; ++j) std::fill_n(&A(1, j), m, T(0));
  for (Int i = 1; i <= k; ++i) A(i, i) = number(2 * k - i);
  for (Int i = 1; i < k; ++i) {
    if (m >= n && i != k - 3) A(i, i + 1) = number(i);
    if (m < n && i > k - 3) A(i + 1, i) = number(i);
  }
  A(k, k) = T(std::numeric_limits<R>::quiet_NaN());
  A.seal();
  return A;
}

TYPED_TEST(SvdDriver, HandsBackWhatDidNotConverge) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int k = 8;
  for (const int exponent : {0, -far<T>, far<T>}) {
    for (const auto [m, n] : shapes(k)) {
      const GuardedMatrix<T> A = half_hopeless<T>(m, n, exponent);
      SvdCall<T>::for_each_job([&, m = m, n = n](char jobu, char jobvt) {
        if (jobu == 'N' && jobvt == 'N') return;
        const SvdCall<T> call(jobu, jobvt, A);
        for (const Int lwork : {svd_sizes<T>(jobu, jobvt, m, n).least, call.best()}) {
          SCOPED_TRACE(testing::Message()
                       << m << " by " << n << ' ' << jobu << jobvt << ", 2^" << exponent << ", lwork " << lwork);
          const SvdCall<T> solved = call.solved(lwork);
          EXPECT_EQ(solved.info, m >= n ? k - 2 : 2);
          const auto expect_near = [&](R x, R exact) { EXPECT_NEAR(x, exact, 10 * epsilon<T> * std::abs(exact)); };
          for (Int i = 1; i < k; ++i) {
            const R beside =
                ComplexScalar<T> ? solved.rwork(std::min(i, solved.rwork.size())) : std::real(solved.work(i + 1));
            if (i > k - 3) {
              EXPECT_TRUE(std::isnan(beside)) << i;
              continue;
            }
            expect_near(beside, m >= n ? std::real(A(i, i + 1)) : R(0));
            expect_near(solved.s(i), std::real(A(i, i)));
          }
          EXPECT_EQ(solved.work(1), T(R(call.best())));
        }
      });
    }
  }
}

}  // namespace
}  // namespace nuv::test
