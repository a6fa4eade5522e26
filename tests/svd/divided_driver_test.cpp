// The driver for singular values by divide and conquer: what it gives, for all jobs, shapes and workspaces.

#include <cmath>
#include <limits>

#include "support/argument_checks.hpp"
#include "support/deadline.hpp"
#include "svd/divided_calls.hpp"
#include "svd/svd_driver_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class DividedDriver : public ReportingTest {
 protected:
  Random random{58};
};
TYPED_TEST_SUITE(DividedDriver, Precisions, PrecisionLetter);

std::vector<SvdShape> shapes(Int k) {
  return shapes_around(divided_crossover(k), k);
}

TYPED_TEST(DividedDriver, DecomposesSmallMatrices) {
  using T = TypeParam;
  for (const Int k : {1, 2, 3, 6}) {
    for (const auto [m, n] : shapes(k)) {
      expect_decompositions_in_any_workspace<DividedCall<T>>(
          this->random, random_matrix<T>(this->random, m, n, m + this->random.integer(0, 3)));
    }
  }
}

/// In one generation of merges, and by blocks.
TYPED_TEST(DividedDriver, DecomposesMatricesThatAreDivided) {
  using T = TypeParam;
  for (const auto [m, n] : shapes(37)) {
    expect_decompositions_in_any_workspace<DividedCall<T>>(this->random, random_matrix<T>(this->random, m, n, m + 1));
  }
}

TYPED_TEST(DividedDriver, DecomposesDescribedMatrices) {
  using T = TypeParam;
  constexpr Int k = 30;
  for_each_described_problem<T>({{k, k}, {k, 2 * k}}, [](const SvdProblem<T>& problem) {
    for (const char job : {'N', 'S'}) {
      const DividedCall<T> call(job, problem.A);
      expect_decomposition(call.solved(call.best()), problem);
    }
  });
}

/// So close to the least and the largest number that what is next to the least one would count.
template <Scalar T>
constexpr int far = std::same_as<Real<T>, float> ? 114 : 1010;

TYPED_TEST(DividedDriver, ScalesTinyAndHugeMatrices) {
  using T = TypeParam;
  for (const int exponent : {-far<T>, far<T>}) {
    for (const auto [m, n] : shapes(6)) {
      SCOPED_TRACE(exponent);
      expect_decompositions<DividedCall<T>>(scaled(random_matrix<T>(this->random, m, n, m), exponent));
    }
  }
}

TYPED_TEST(DividedDriver, OfTheZeroMatrixGivesZeros) {
  for (const Int k : {5, 30}) {
    for (const SvdShape& shape : shapes(k)) expect_zeros_of_zero<DividedCall<TypeParam>>(shape);
  }
}

TYPED_TEST(DividedDriver, DoesNothingToEmptyMatrices) {
  expect_nothing_done_to_empty<DividedCall<TypeParam>>('A');
}

/// Whether what stands outside of the square is that of the factorisation: then the long matrix was factored first.
template <Scalar T>
bool was_factored_first(const DividedCall<T>& solved, const GuardedMatrix<T>& A) {
  const Int k = solved.k;
  GuardedMatrix<T> factored = A;
  GuardedVector<T> tau(k), work(std::max(1, k));
  Int info = 99;
  if (solved.m >= solved.n) {
    routine_call::geqr2(solved.m, solved.n, Matrix<T>(factored), tau.data(), work.data(), info);
  } else {
    routine_call::gelq2(solved.m, solved.n, Matrix<T>(factored), tau.data(), work.data(), info);
  }
  for (Int i = k + 1; i <= std::max(solved.m, solved.n); ++i) {
    for (Int j = 1; j <= k; ++j) {
      const T is = solved.m >= solved.n ? solved.A(i, j) : solved.A(j, i);
      const T would_be = solved.m >= solved.n ? factored(i, j) : factored(j, i);
      if (!(std::abs(is - would_be) <= 100 * epsilon<T>)) return false;
    }
  }
  return true;
}

TYPED_TEST(DividedDriver, FactorsLongMatricesFirst) {
  using T = TypeParam;
  for (const Int k : {6, 7}) {
    for (const bool tall : {true, false}) {
      for (const Int l : {divided_crossover(k) - 1, divided_crossover(k)}) {
        const auto A = random_matrix<T>(this->random, tall ? l : k, tall ? k : l, l);
        const DividedCall<T> call('N', A);
        EXPECT_EQ(was_factored_first(call.solved(call.best()), A), l == divided_crossover(k)) << l << ' ' << tall;
      }
    }
  }
}

TYPED_TEST(DividedDriver, EndsWhateverTheInput) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R bad : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const Int k : {4, 28}) {
      for (const auto [m, n] : {SvdShape{k, k}, SvdShape{2 * k, k}, SvdShape{k, 2 * k}}) {
        for (const char job : {'N', 'S'}) {
          const std::string name =
              std::to_string(m) + " by " + std::to_string(n) + ' ' + job + ", " + std::to_string(bad);
          SCOPED_TRACE(name);
          const Deadline deadline(20, name);
          GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m);
          A(2, 3) = T(bad);
          const DividedCall<T> call(job, A);
          const auto solved = call.solved(call.best());
          bool is_visible = solved.info > 0;
          for (Int i = 1; i <= k; ++i) is_visible |= !std::isfinite(solved.s(i));
          EXPECT_TRUE(is_visible);
        }
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T, Int rows, Int columns, char job>
void expect_checks() {
  using Call = ValidSvdCall<DividedCall<T>, rows, columns, job>;
  SCOPED_TRACE(testing::Message() << rows << " by " << columns << ' ' << job);
  expect_argument_checks<Call>(reported_name<T>("GESDD"), {{1, [](Call& c) { c.jobz = 'X'; }},
                                                           {2, [](Call& c) { c.m = -1; }},
                                                           {3, [](Call& c) { c.n = -1; }},
                                                           {5, [](Call& c) { --c.lda; }},
                                                           {8, [](Call& c) { --c.ldu; }},
                                                           {10, [](Call& c) { --c.ldvt; }},
                                                           {12, [](Call& c) { --c.lwork; }}});
}

TYPED_TEST(DividedDriver, ChecksItsArguments) {
  using T = TypeParam;
  expect_checks<T, 6, 4, 'A'>();
  expect_checks<T, 4, 9, 'A'>();
  expect_checks<T, 9, 4, 'S'>();
  expect_checks<T, 4, 6, 's'>();
  expect_checks<T, 6, 4, 'O'>();
  expect_checks<T, 4, 6, 'o'>();
  expect_checks<T, 9, 4, 'N'>();
}

}  // namespace
}  // namespace nuv::test
