// The driver for singular values by QR iteration on matrices that are large enough for blocks everywhere and for
// rotations in batches, and what it says beside other ways to the same values.

#include "support/described_matrices.hpp"
#include "support/malloc_requests.hpp"
#include "support/reported_errors.hpp"
#include "svd/divided_calls.hpp"
#include "svd/svd_calls.hpp"
#include "svd/svd_driver_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class LargeSvdDriver : public ReportingTest {};
TYPED_TEST_SUITE(LargeSvdDriver, Precisions, PrecisionLetter);

/// Values in equal steps from one down.
template <Scalar T>
struct LargeProblem {
  GuardedMatrix<T> A;
  WideMatrix<T> wide_a;
  WideVector<T> values;

  LargeProblem(Int m, Int n) : A(matrix(m, n)), wide_a(wide(A)), values(std::min(m, n)) {
    const WideReal<T> least = std::sqrt(WideReal<T>(epsilon<T>)), steps = WideReal<T>(values.size() - 1);
    for (Eigen::Index i = 0; i < values.size(); ++i) values(i) = 1 - WideReal<T>(i) / steps * (1 - least);
  }

  static GuardedMatrix<T> matrix(Int m, Int n) {
    DescribedMatrices matrices(5);
    return matrices.general<T>({.name = "equal steps", .condition = 0.5, .mode = 4}, m, n, m + 3);
  }
};

/// Of each vector's length, in eps: some n rotations a vector, with cosines and sines that are rounded at random, let
/// it grow as the square root of n.
template <Scalar T>
double drift(const SvdCall<T>& solved) {
  return 2 * std::sqrt(double(solved.k));
}

template <Scalar T>
void expect_good(const SvdCall<T>& solved, const LargeProblem<T>& problem) {
  ASSERT_EQ(solved.info, 0);
  EXPECT_LT(singular_value_error<T>(solved.s, problem.values), svd_threshold);
  expect_vectors(solved, problem.wide_a, drift(solved));
}

TYPED_TEST(LargeSvdDriver, DecomposesByBatches) {
  using T = TypeParam;
  constexpr Int k = 230;
  for (const auto& [m, n, jobu, jobvt] : {std::tuple{k, k, 'S', 'A'},
                                          {k + 40, k, 'O', 'S'},
                                          {k, svd_crossover(k) + 5, 'A', 'O'},
                                          {svd_crossover(k) + 5, k, 'O', 'A'},
                                          {k, k, 'N', 'N'}}) {
    const LargeProblem<T> problem(m, n);
    const SvdCall<T> call(jobu, jobvt, problem.A);
    for (const Int lwork : {call.sizes().least, call.best()}) {
      SCOPED_TRACE(testing::Message() << call.description() << ", lwork " << lwork);
      expect_good(call.solved(lwork), problem);
    }
  }
}

TEST(LargestSvd, IsDecomposed) {
  using T = double;
  const LargeProblem<T> problem(600, 600);
  const SvdCall<T> call('S', 'S', problem.A);
  expect_good(call.solved(call.best()), problem);
}

/// Without a table rotations are made one by one.
TYPED_TEST(LargeSvdDriver, DoesWithoutMemoryForRotations) {
  using T = TypeParam;
  constexpr Int k = 230;
  const LargeProblem<T> problem(k, k);
  const SvdCall<T> call('A', 'S', problem.A);
  const SvdCall<T> expected = call.solved(call.best());
  SvdCall<T> refused = call;
  refused.make_room(call.best());
  {
    const MallocRequests memory(MallocRequests::Answer::refused);
    refused.run();
    EXPECT_GT(memory.count(), 0);
  }
  expect_good(refused, problem);
  for (Int i = 1; i <= k; ++i) EXPECT_NEAR(refused.s(i), expected.s(i), 100 * epsilon<T>) << i;
}

/// The square roots of the eigenvalues of A^H A, whose rounding is felt as much more as they are smaller.
template <Scalar T>
GuardedVector<Real<T>> values_by_eigenvalues(const GuardedMatrix<T>& A) {
  using R = Real<T>;
  const Int n = A.columns();
  const WideMatrix<T> wide_a = wide(A), square = product<T>(WideMatrix<T>(wide_a.adjoint()), wide_a);
  GuardedMatrix<T> S(n, n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) S(i, j) = T(square(i - 1, j - 1));
  }
  GuardedVector<R> w(n), values(n), rwork(3 * n);
  GuardedVector<T> work(10 * n);
  Int info = 99;
  if constexpr (ComplexScalar<T>) {
    routine_call::heev('N', 'U', n, Matrix<T>(S), w.data(), work.data(), work.size(), rwork.data(), info);
  } else {
    routine_call::syev('N', 'U', n, Matrix<T>(S), w.data(), work.data(), work.size(), info);
  }
  EXPECT_EQ(info, 0);
  for (Int i = 1; i <= n; ++i) values(i) = std::sqrt(w(n + 1 - i));
  return values;
}

TYPED_TEST(LargeSvdDriver, AgreesWithOtherWays) {
  using T = TypeParam;
  DescribedMatrices matrices(6);
  for (const auto& [m, n] : {std::pair{80, 80}, {100, 80}, {200, 80}}) {
    const auto A = matrices.general<T>({.name = "condition ten or so", .condition = 0.06, .mode = 4}, m, n, m);
    const SvdCall<T> call('S', 'S', A), without_vectors('N', 'N', A);
    const SvdCall<T> solved = call.solved(call.best()), values = without_vectors.solved(without_vectors.best());
    const DividedCall<T> divided('S', A);
    const DividedCall<T> by_division = divided.solved(divided.best());
    const auto by_eigenvalues = values_by_eigenvalues(A);
    const double most = 10 * std::sqrt(double(n)) * epsilon<T>;
    for (Int i = 1; i <= n; ++i) {
      EXPECT_NEAR(values.s(i), solved.s(i), most) << i;
      EXPECT_NEAR(by_division.s(i), solved.s(i), most) << i;
      EXPECT_NEAR(by_eigenvalues(i), solved.s(i), 10 * most) << i;
    }
  }
}

}  // namespace
}  // namespace nuv::test
