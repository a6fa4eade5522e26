// The driver for singular values by divide and conquer: what it gives, for all jobs, shapes and workspaces.

#include <cmath>
#include <limits>

#include "support/argument_checks.hpp"
#include "support/deadline.hpp"
#include "support/described_matrices.hpp"
#include "support/random.hpp"
#include "svd/divided_calls.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class DividedDriver : public ReportingTest {
 protected:
  Random random{58};
};
TYPED_TEST_SUITE(DividedDriver, Precisions, PrecisionLetter);

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
void expect_decomposition(const DividedCall<T>& solved, const Problem<T>& problem) {
  ASSERT_EQ(solved.info, 0);
  EXPECT_TRUE(std::is_sorted(solved.s.data(), solved.s.data() + solved.k, std::greater<>()));
  EXPECT_LT(singular_value_error<T>(solved.s, problem.values), threshold);
  if (!solved.has_vectors()) return;
  EXPECT_LT(orthonormality<T>(solved.left()), threshold) << "left";
  EXPECT_LT(orthonormality<T>(solved.right().adjoint()), threshold) << "right";
  EXPECT_LT(decomposition_residual<T>(problem.wide_a, solved.left(), solved.s, solved.right()), threshold);
}

/// Solves by all jobs in all kinds of workspace.
template <Scalar T>
void expect_all(Random& random, const GuardedMatrix<T>& A) {
  const Problem<T> problem(A);
  for (const char job : divided_jobs) {
    const DividedCall<T> call(random.in_some_case(job), A);
    const DividedSizes sizes = divided_sizes<T>(job, call.m, call.n);
    const Int best = call.best();
    EXPECT_GE(best, sizes.enough);
    for (const Int lwork : std::set<Int>{sizes.least, std::max(sizes.least, sizes.enough - 1), sizes.enough, best}) {
      SCOPED_TRACE(testing::Message() << call.m << " by " << call.n << ' ' << job << ", lwork " << lwork);
      const DividedCall<T> solved = call.solved(lwork);
      EXPECT_EQ(solved.work(1), T(Real<T>(best)));
      expect_decomposition(solved, problem);
    }
  }
}

TYPED_TEST(DividedDriver, DecomposesSmallMatrices) {
  using T = TypeParam;
  for (const Int k : {1, 2, 3, 6}) {
    for (const auto [m, n] : divided_shapes(k)) {
      expect_all(this->random, random_matrix<T>(this->random, m, n, m + this->random.integer(0, 3)));
    }
  }
}

/// In one generation of merges, and by blocks.
TYPED_TEST(DividedDriver, DecomposesMatricesThatAreDivided) {
  using T = TypeParam;
  for (const auto [m, n] : divided_shapes(37)) {
    expect_all(this->random, random_matrix<T>(this->random, m, n, m + 1));
  }
}

TYPED_TEST(DividedDriver, DecomposesDescribedMatrices) {
  using T = TypeParam;
  constexpr Int k = 30;
  DescribedMatrices matrices(9);
  const auto expect = [&](const Description& description, Int m, Int n) {
    SCOPED_TRACE(testing::Message() << description.name << ", " << m << " by " << n);
    const Problem<T> problem(matrices.general<T>(description, m, n, m));
    for (const char job : {'N', 'S'}) {
      const DividedCall<T> call(job, problem.A);
      expect_decomposition(call.solved(call.best()), problem);
    }
  };
  for (const auto [m, n] : {DividedShape{k, k}, DividedShape{k, 2 * k}}) {
    for (const Description& description : matrices_of_full_rank) expect(description, m, n);
    for (const Description& description : rank_deficient_matrices) expect(description, m, n);
  }
}

/// So close to the least and the largest number that what is next to the least one would count.
template <Scalar T>
constexpr int far = std::same_as<Real<T>, float> ? 114 : 1010;

TYPED_TEST(DividedDriver, ScalesTinyAndHugeMatrices) {
  using T = TypeParam;
  for (const int exponent : {-far<T>, far<T>}) {
    for (const auto [m, n] : divided_shapes(6)) {
      SCOPED_TRACE(testing::Message() << m << " by " << n << ", 2^" << exponent);
      GuardedMatrix<T> A = random_matrix<T>(this->random, m, n, m);
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= m; ++i) A(i, j) *= std::ldexp(Real<T>(1), exponent);
      }
      A.seal();
      const Problem<T> problem(A);
      for (const char job : divided_jobs) {
        const DividedCall<T> call(job, A);
        expect_decomposition(call.solved(call.best()), problem);
      }
    }
  }
}

TYPED_TEST(DividedDriver, OfTheZeroMatrixGivesZeros) {
  using T = TypeParam;
  for (const Int k : {5, 30}) {
    for (const auto [m, n] : divided_shapes(k)) {
      GuardedMatrix<T> A(m, n, m);
      for (Int j = 1; j <= n; ++j) std::fill_n(&A(1, j), m, T(0));
      A.seal();
      const Problem<T> problem(A);
      for (const char job : divided_jobs) {
        const DividedCall<T> call(job, A);
        const auto solved = call.solved(call.best());
        for (Int i = 1; i <= solved.k; ++i) EXPECT_EQ(solved.s(i), 0);
        expect_decomposition(solved, problem);
      }
    }
  }
}

TYPED_TEST(DividedDriver, DoesNothingToEmptyMatrices) {
  using T = TypeParam;
  for (const auto [m, n] : {DividedShape{0, 0}, DividedShape{3, 0}, DividedShape{0, 3}}) {
    const DividedCall<T> call('A', GuardedMatrix<T>(m, n, std::max(1, m)));
    EXPECT_EQ(call.best(), 1);
    const auto solved = call.solved(1);
    EXPECT_EQ(solved.info, 0);
    EXPECT_EQ(solved.work(1), T(1));
    EXPECT_TRUE(solved.U.unchanged() && solved.VT.unchanged());
  }
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
      for (const auto [m, n] : {DividedShape{k, k}, DividedShape{2 * k, k}, DividedShape{k, 2 * k}}) {
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

/// All vectors of a random matrix in the least workspace.
template <Scalar T, Int rows, Int columns, char job>
struct ValidCall : DividedCall<T> {
  ValidCall() : DividedCall<T>(job, matrix()) {
    this->lda = rows;
    if (this->has_u()) this->ldu = rows;
    if (this->has_vt()) this->ldvt = this->is('S') ? this->k : columns;
    this->make_room(divided_sizes<T>(job, rows, columns).least);
  }

  static GuardedMatrix<T> matrix() {
    Random random(7);
    return random_matrix<T>(random, rows, columns, rows);
  }

  Int run() {
    DividedCall<T>::run();
    return this->info;
  }

  /// With too little workspace the driver tells how much it would like.
  bool unchanged() const {
    return DividedCall<T>::unchanged() &&
           (this->info == -12 ? this->work.unchanged_outside(1, 1) : this->work.unchanged());
  }
};

template <Scalar T, Int rows, Int columns, char job>
void expect_checks() {
  using Call = ValidCall<T, rows, columns, job>;
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
