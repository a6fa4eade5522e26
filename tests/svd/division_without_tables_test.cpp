// Divide and conquer for singular values where the iteration on its leaves has no memory for tables of rotations.

#include "support/malloc_requests.hpp"
#include "support/reported_errors.hpp"
#include "svd/divided_calls.hpp"
#include "svd/svd_driver_checks.hpp"

namespace nuv::test {
namespace {

using Answer = MallocRequests::Answer;

template <class T>
class DivisionWithoutTables : public ReportingTest {};
TYPED_TEST_SUITE(DivisionWithoutTables, Precisions, PrecisionLetter);

TYPED_TEST(DivisionWithoutTables, GivesTheSame) {
  using T = TypeParam;
  Random random(59);
  for (const Int n : {17, 40}) {
    const GuardedMatrix<T> A = random_matrix<T>(random, n, n, n);
    const DividedCall<T> call('S', A);
    const Int best = call.best();
    const auto solved = [&](Answer answer) {
      DividedCall<T> copy = call;
      copy.make_room(best);
      const MallocRequests requests(answer);
      copy.run();
      EXPECT_GT(requests.count(), 0);
      EXPECT_EQ(copy.info, 0);
      return copy;
    };
    const DividedCall<T> with = solved(Answer::granted), without = solved(Answer::refused);
    for (Int i = 1; i <= n; ++i) EXPECT_NEAR(without.s(i), with.s(i), 10 * n * epsilon<T> * with.s(1));
    expect_vectors(without, wide(A));
  }
}

}  // namespace
}  // namespace nuv::test
