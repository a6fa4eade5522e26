// Divide and conquer in the layer with threads: the bits of the serial body, at any number of threads.

#include <nuv/nuv_services.h>

#include <limits>

#include "layer.hpp"
#include "support/memory_requests.hpp"
#include "support/real_precisions.hpp"
#include "support/reported_errors.hpp"
#include "symmetric/eigen_checks.hpp"
#include "symmetric/halves.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

template <class R>
class ThreadedDivision : public ReportingTest {
 protected:
  void TearDown() override {
    nuv_thread_set_num_threads(0);
    ReportingTest::TearDown();
  }
};
TYPED_TEST_SUITE(ThreadedDivision, RealPrecisions, PrecisionLetter);

/// The eigensystem of a matrix as ?laed0 leaves it.
template <RealScalar R>
struct Solved {
  GuardedVector<R> d, e;
  GuardedMatrix<R> Q;
  Int info = 99;

  template <class Solve>
  Solved(const Tridiagonal<R>& matrix, Solve solve)
      : d(guarded(matrix.d)), e(guarded(matrix.e)), Q(identity<R>(matrix.order(), matrix.order() + 3)) {
    const Int n = matrix.order();
    GuardedVector<R> work(4 * n + n * n);
    GuardedVector<Int> iwork(3 + 5 * n);
    solve(2, n, n, d.data(), e.data(), Matrix<R>(Q), work.data(), n, work.data(), iwork.data(), info);
    EXPECT_TRUE(d.guards_unchanged() && Q.guards_unchanged() && work.guards_unchanged() && iwork.guards_unchanged());
  }

  static Solved in_the_layer(const Tridiagonal<R>& matrix, int threads) {
    nuv_thread_set_num_threads(threads);
    return {matrix, [](auto&&... arguments) { layer::laed0(arguments...); }};
  }

  static Solved by_the_serial_body(const Tridiagonal<R>& matrix) {
    nuv_thread_set_num_threads(1);
    return {matrix, [](auto&&... arguments) { x_variant::laed0(arguments...); }};
  }
};

/// Without deflation, with some, and with so much that the threads' shares differ widely.
TYPED_TEST(ThreadedDivision, GivesTheSameBitsAtAnyNumberOfThreads) {
  using R = TypeParam;
  for (const Int n : {1, 26, 150, 301, 420}) {
    for (const auto& matrix : {random_tridiagonal<R>(n), one_two_one<R>(n), glued_wilkinson<R>(n, R(1e-4))}) {
      const auto alone = Solved<R>::by_the_serial_body(matrix);
      ASSERT_EQ(alone.info, 0);
      for (const int threads : {1, 2, 3, 7}) {
        const auto together = Solved<R>::in_the_layer(matrix, threads);
        EXPECT_EQ(together.info, 0);
        EXPECT_TRUE(together.d.same_as(alone.d)) << n << ", " << threads << " threads";
        EXPECT_TRUE(together.Q.same_as(alone.Q)) << n << ", " << threads << " threads";
      }
    }
  }
}

/// The first leaf that fails is told, whichever thread comes to it first.
TYPED_TEST(ThreadedDivision, TellsTheSameFailure) {
  using R = TypeParam;
  const Int n = 420;
  auto matrix = one_two_one<R>(n);
  for (const std::size_t at : {100, 230, 400}) matrix.d[at] = std::numeric_limits<R>::quiet_NaN();
  const auto alone = Solved<R>::by_the_serial_body(matrix);
  EXPECT_GT(alone.info, 0);
  for (const int threads : {2, 3, 7}) EXPECT_EQ(Solved<R>::in_the_layer(matrix, threads).info, alone.info) << threads;
}

TYPED_TEST(ThreadedDivision, NeedsNoMemory) {
  using R = TypeParam;
  const Int n = 301;
  const auto matrix = one_two_one<R>(n);
  const MemoryRequests refused(MemoryRequests::all);
  const auto together = Solved<R>::in_the_layer(matrix, 3);
  EXPECT_EQ(together.info, 0);
  EXPECT_LT(value_error(together.d, n, wide_values(matrix)), 10);
  EXPECT_LT(eigen_residual<R>(wide_dense<R>(matrix), together.Q, together.d, n), 10);
  EXPECT_LT(orthogonality(together.Q, n), 10);
}

TYPED_TEST(ThreadedDivision, ChecksItsArguments) {
  using R = TypeParam;
  nuv_thread_set_num_threads(3);
  std::vector<R> d(300, R(1)), e(300, R(1)), q(300 * 300), work(4 * 300 + 300 * 300);
  std::vector<Int> iwork(1503);
  const auto info_of = [&](Int icompq, Int n, Int ldq, Int ldqs) {
    Int info = 99;
    layer::laed0(icompq, n, n, d.data(), e.data(), {q.data(), ldq}, work.data(), ldqs, work.data(), iwork.data(), info);
    return info;
  };
  EXPECT_EQ(info_of(3, 300, 300, 300), -1);
  EXPECT_EQ(info_of(2, -1, 300, 300), -3);
  EXPECT_EQ(info_of(2, 300, 299, 300), -7);
  EXPECT_EQ(info_of(2, 300, 300, 299), -9);
  EXPECT_EQ(take_error_reports().size(), 4u);
}

}  // namespace
}  // namespace nuv::test
