// Factorisations that are refused the memory for their schedule go by the serial body: the same bits, in more time.
// Products that are refused the memory for their parts are made by another formula.

#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <vector>

#include "blas.hpp"
#include "layer.hpp"
#include "solvers/definite.hpp"
#include "support/guarded.hpp"
#include "support/kernel_cases.hpp"
#include "support/memory_requests.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"
#include "support/real_precisions.hpp"
#include "support/wide.hpp"

namespace nuv::test {
namespace {

template <class T>
class RefusedTasks : public testing::Test {
 protected:
  void TearDown() override { nuv_thread_set_num_threads(0); }
};
TYPED_TEST_SUITE(RefusedTasks, Precisions, PrecisionLetter);

/// What factor(A) leaves of A alone, and on two threads with each of the first requests refused; the others are made
/// by products, whose sums may be other ones then.
template <class T, class Factor>
void expect_same_factors(const GuardedMatrix<T>& A, int first_requests, Factor factor) {
  nuv_thread_set_num_threads(1);
  GuardedMatrix<T> alone = A;
  factor(alone);
  for (int refused = 1; refused <= first_requests; ++refused) {
    nuv_thread_set_num_threads(2);
    GuardedMatrix<T> together = A;
    {
      const MemoryRequests requests(refused);
      factor(together);
      EXPECT_GE(requests.count(), refused);
      EXPECT_EQ(requests.kept(), 0);
    }
    EXPECT_TRUE(together.same_as(alone)) << "request " << refused;
  }
}

TYPED_TEST(RefusedTasks, LeavesTheFactorsAsTheyAre) {
  using T = TypeParam;
  const Int n = 260;
  Random random(23);
  for (const char uplo : {'U', 'L'}) {
    expect_same_factors(random_definite<T>(random, uplo, n), 1, [&](GuardedMatrix<T>& A) {
      Int info = -7;
      layer::potrf(uplo, n, A, info);
      EXPECT_EQ(info, 0);
    });
  }
  expect_same_factors(random_matrix<T>(random, n, n, n), 3, [&](GuardedMatrix<T>& A) {
    std::vector<T> tau(n), work(std::size_t(16) * n);
    Int info = -7;
    layer::geqrf(n, n, A, tau.data(), work.data(), 16 * n, info);
    EXPECT_EQ(info, 0);
  });
}

/// The first panel is of 512 columns, so there are strips behind it; only this precision has a schedule for them.
TEST(RefusedStrips, LeaveTheFactorsAsTheyAre) {
  const Int n = 520;
  Random random(24);
  std::vector<Int> pivots;
  expect_same_factors(random_matrix<double>(random, n, n, n), 1, [&](GuardedMatrix<double>& A) {
    std::vector<Int> mine(n);
    Int info = -7;
    layer::getrf(n, n, A, mine.data(), info);
    EXPECT_EQ(info, 0);
    if (pivots.empty()) pivots = mine;
    EXPECT_EQ(pivots, mine);
  });
  nuv_thread_set_num_threads(0);
}

template <class T>
class RefusedParts : public RefusedTasks<T> {};
TYPED_TEST_SUITE(RefusedParts, ComplexPrecisions, PrecisionLetter);

/// Two threads have a block of columns each, and one that is refused its parts goes on with four real products for
/// three. Further requests are those of the products.
TYPED_TEST(RefusedParts, LeaveThreeRealProductsToFour) {
  using T = TypeParam;
  const Int m = 40, n = 300, k = 258;
  const T alpha = factor_of<T>(2, -1), beta = factor_of<T>(0.5, 1);
  Random random(25);
  const GuardedMatrix<T> A = random_matrix<T>(random, m, k, m), B = random_matrix<T>(random, k, n, k),
                         C = random_matrix<T>(random, m, n, m + 1);
  Sum<T> expected(m, n);
  expected.add(beta, wide(C)).add(alpha, wide(A), wide(B));
  nuv_thread_set_num_threads(2);
  int refused = 0;
  for (bool was_refused = true; was_refused;) {
    GuardedMatrix<T> found = C;
    const MemoryRequests requests(++refused);
    blas::gemm3m('N', 'N', m, n, k, alpha, A, B, beta, found);
    was_refused = requests.count() >= refused;
    EXPECT_EQ(requests.kept(), 0);
    EXPECT_TRUE(found.guards_unchanged());
    EXPECT_LT(expected.error_of(wide(found)), kernel_threshold) << "request " << refused;
  }
  EXPECT_GT(refused, 2);
}

}  // namespace
}  // namespace nuv::test
