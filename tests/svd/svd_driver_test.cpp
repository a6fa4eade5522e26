// The driver for singular values by QR iteration: what it gives, for all jobs, shapes and workspaces.

#include <limits>
#include <set>

#include "support/described_matrices.hpp"
#include "support/reported_errors.hpp"
#include "svd/svd_calls.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class SvdDriver : public ReportingTest {
 protected:
  Random random{53};
};
TYPED_TEST_SUITE(SvdDriver, Precisions, PrecisionLetter);

struct Shape {
  Int m, n;
};

/// Square, just below and at the crossover, and long, on either side.
std::vector<Shape> shapes(Int k) {
  std::vector<Shape> list;
  for (const Int l : std::set<Int>{k, std::max(k, svd_crossover(k) - 1), svd_crossover(k), 2 * k + 3}) {
    list.push_back({l, k});
    if (l != k) list.push_back({k, l});
  }
  return list;
}

/// A matrix and what its decomposition is compared with.
template <Scalar T>
struct Problem {
  GuardedMatrix<T> A;
  WideMatrix<T> wide_a;
  WideVector<T> values;

  explicit Problem(const GuardedMatrix<T>& matrix)
      : A(matrix), wide_a(wide(matrix)), values(wide_singular_values<T>(wide_a)) {}
};

template <Scalar T>
void expect_decomposition(const SvdCall<T>& solved, const Problem<T>& problem) {
  ASSERT_EQ(solved.info, 0);
  EXPECT_TRUE(std::is_sorted(solved.s.data(), solved.s.data() + solved.k, std::greater<>()));
  EXPECT_LT(singular_value_error<T>(solved.s, problem.values), threshold);
  if (solved.has_left()) {
    EXPECT_LT(orthonormality<T>(solved.left()), threshold) << "left";
  }
  if (solved.has_right()) {
    EXPECT_LT(orthonormality<T>(solved.right().adjoint()), threshold) << "right";
  }
  if (solved.has_left() && solved.has_right()) {
    EXPECT_LT(decomposition_residual<T>(problem.wide_a, solved.left(), solved.s, solved.right()), threshold);
  } else if (problem.values(0) == 0) {
    return;  // all vectors are those of the zero matrix
  } else if (solved.has_left()) {
    EXPECT_LT(one_sided_residual<T>(problem.wide_a, solved.left(), solved.s), threshold);
  } else if (solved.has_right()) {
    EXPECT_LT(one_sided_residual<T>(problem.wide_a.adjoint(), solved.right().adjoint(), solved.s), threshold);
  }
}

/// All jobs, but for that of overwriting twice.
template <class Visit>
void for_each_job(Visit visit) {
  for (const char jobu : svd_jobs) {
    for (const char jobvt : svd_jobs) {
      if (jobu != 'O' || jobvt != 'O') visit(jobu, jobvt);
    }
  }
}

/// Solves by all jobs in all kinds of workspace.
template <Scalar T>
void expect_all(Random& random, const GuardedMatrix<T>& A) {
  const Problem<T> problem(A);
  for_each_job([&](char jobu, char jobvt) {
    const SvdCall<T> call(random.in_some_case(jobu), random.in_some_case(jobvt), A);
    const SvdSizes sizes = svd_sizes<T>(jobu, jobvt, call.m, call.n);
    const Int best = call.best(), more = best + 2 * call.lda * call.k;
    for (const Int wanted :
         std::set<Int>{sizes.least, sizes.blocks - 1, sizes.blocks, (sizes.blocks + best) / 2, best, more - 1, more}) {
      const Int lwork = std::max(sizes.least, wanted);
      SCOPED_TRACE(testing::Message() << call.m << " by " << call.n << ' ' << jobu << jobvt << ", lwork " << lwork);
      const SvdCall<T> solved = call.solved(lwork);
      EXPECT_EQ(solved.work(1), T(Real<T>(best)));
      expect_decomposition(solved, problem);
    }
  });
}

TYPED_TEST(SvdDriver, DecomposesSmallMatrices) {
  using T = TypeParam;
  for (const Int k : {1, 2, 3, 7}) {
    for (const auto [m, n] : shapes(k)) {
      expect_all(this->random, random_matrix<T>(this->random, m, n, m + this->random.integer(0, 3)));
    }
  }
}

TYPED_TEST(SvdDriver, DecomposesByBlocks) {
  using T = TypeParam;
  constexpr Int k = 37;
  for (const auto [m, n] : shapes(k)) {
    const Problem<T> problem(random_matrix<T>(this->random, m, n, m + 1));
    for_each_job([&](char jobu, char jobvt) {
      const SvdCall<T> call(jobu, jobvt, problem.A);
      for (const Int lwork : {svd_sizes<T>(jobu, jobvt, m, n).least, call.best()}) {
        SCOPED_TRACE(testing::Message() << m << " by " << n << ' ' << jobu << jobvt << ", lwork " << lwork);
        expect_decomposition(call.solved(lwork), problem);
      }
    });
  }
}

TYPED_TEST(SvdDriver, DecomposesDescribedMatrices) {
  using T = TypeParam;
  constexpr Int k = 20;
  DescribedMatrices matrices(9);
  const auto expect = [&](const Description& description, Int m, Int n) {
    SCOPED_TRACE(testing::Message() << description.name << ", " << m << " by " << n);
    const Problem<T> problem(matrices.general<T>(description, m, n, m));
    for (const auto& [jobu, jobvt] : {std::pair{'N', 'N'}, {'S', 'S'}, {'O', 'A'}, {'A', 'O'}}) {
      const SvdCall<T> call(jobu, jobvt, problem.A);
      expect_decomposition(call.solved(call.best()), problem);
    }
  };
  for (const auto [m, n] : {Shape{k, k}, Shape{2 * k, k}, Shape{k, 2 * k}}) {
    for (const Description& description : matrices_of_full_rank) expect(description, m, n);
    for (const Description& description : rank_deficient_matrices) expect(description, m, n);
  }
}

// ------------------------------------------------------------------------------------------------------------ scaling

/// Far beyond the square roots of the least and the largest number.
template <Scalar T>
constexpr int far = std::same_as<Real<T>, float> ? 62 : 600;

template <Scalar T>
GuardedMatrix<T> scaled(const GuardedMatrix<T>& A, int exponent) {
  GuardedMatrix<T> B = A;
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) B(i, j) = std::ldexp(Real<T>(1), exponent) * A(i, j);
  }
  B.seal();
  return B;
}

TYPED_TEST(SvdDriver, ScalesTinyAndHugeMatrices) {
  using T = TypeParam;
  for (const int exponent : {-far<T>, far<T>}) {
    for (const auto [m, n] : shapes(6)) {
      SCOPED_TRACE(testing::Message() << m << " by " << n << ", 2^" << exponent);
      const Problem<T> problem(scaled(random_matrix<T>(this->random, m, n, m), exponent));
      for_each_job([&](char jobu, char jobvt) {
        const SvdCall<T> call(jobu, jobvt, problem.A);
        expect_decomposition(call.solved(call.best()), problem);
      });
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
  using T = TypeParam;
  for (const auto [m, n] : shapes(5)) {
    GuardedMatrix<T> A(m, n, m);
    for (Int j = 1; j <= n; ++j) std::fill_n(&A(1, j), m, T(0));
    A.seal();
    const Problem<T> problem(A);
    for_each_job([&](char jobu, char jobvt) {
      const SvdCall<T> call(jobu, jobvt, A);
      const auto solved = call.solved(call.best());
      for (Int i = 1; i <= solved.k; ++i) EXPECT_EQ(solved.s(i), 0);
      expect_decomposition(solved, problem);
    });
  }
}

// --------------------------------------------------------------------------------------------------------- workspaces

TYPED_TEST(SvdDriver, AsksForWorkspaces) {
  using T = TypeParam;
  for (const Int k : {1, 4, 50, 130, 700, 1100, 1300}) {
    for (const auto [m, n] : shapes(k)) {
      for_each_job([&, m = m, n = n](char jobu, char jobvt) {
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
  using T = TypeParam;
  for (const auto [m, n] : {Shape{0, 0}, Shape{3, 0}, Shape{0, 3}}) {
    const SvdCall<T> call('A', 'A', GuardedMatrix<T>(m, n, std::max(1, m)));
    EXPECT_EQ(call.best(), 1);
    const auto solved = call.solved(1);
    EXPECT_EQ(solved.info, 0);
    EXPECT_EQ(solved.work(1), T(1));
    EXPECT_TRUE(solved.U.unchanged() && solved.VT.unchanged());
  }
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
      for_each_job([&, m = m, n = n](char jobu, char jobvt) {
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
