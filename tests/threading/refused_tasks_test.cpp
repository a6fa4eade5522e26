// Factorisations that are refused the memory for their schedule go by the serial body: the same bits, in more time.

#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <vector>

#include "layer.hpp"
#include "solvers/definite.hpp"
#include "support/guarded.hpp"
#include "support/memory_requests.hpp"
#include "support/precisions.hpp"
#include "support/random.hpp"

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

}  // namespace
}  // namespace nuv::test
