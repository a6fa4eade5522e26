// The driver for singular values by divide and conquer on matrices of several generations of merges, large enough for
// blocks everywhere. Vectors and a residual leave the values no choice.

#include <algorithm>
#include <functional>
#include <tuple>

#include "support/reported_errors.hpp"
#include "svd/divided_calls.hpp"
#include "svd/svd_driver_checks.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
void expect_good(const DividedCall<T>& solved, const GuardedMatrix<T>& A) {
  ASSERT_EQ(solved.info, 0);
  EXPECT_TRUE(std::is_sorted(solved.s.data(), solved.s.data() + solved.k, std::greater<>()));
  expect_vectors(solved, wide(A));
}

template <class T>
class LargeDividedDriver : public ReportingTest {};
TYPED_TEST_SUITE(LargeDividedDriver, Precisions, PrecisionLetter);

TYPED_TEST(LargeDividedDriver, DecomposesByBlocks) {
  using T = TypeParam;
  Random random(230);
  constexpr Int k = 230;
  for (const auto& [m, n, job] : {std::tuple{k, k, 'S'},
                                  {k + 40, k, 'O'},
                                  {k, divided_crossover(k) + 5, 'A'},
                                  {divided_crossover(k) + 5, k, 'O'}}) {
    const auto A = random_matrix<T>(random, m, n, m + 3);
    const DividedCall<T> call(job, A);
    for (const Int lwork : {call.sizes().least, call.best()}) {
      SCOPED_TRACE(testing::Message() << call.description() << ", lwork " << lwork);
      expect_good(call.solved(lwork), A);
    }
  }
}

TEST(LargestDividedSvd, IsDecomposed) {
  Random random(600);
  const auto A = random_matrix<double>(random, 600, 600, 601);
  const DividedCall<double> call('S', A);
  expect_good(call.solved(call.best()), A);
}

}  // namespace
}  // namespace nuv::test
