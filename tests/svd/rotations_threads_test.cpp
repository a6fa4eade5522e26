// Batched rotations shared among threads: the same bits at any number of them, and with memory refused.

#include <nuv/nuv_services.h>

#include "layer.hpp"
#include "support/memory_requests.hpp"
#include "support/options.hpp"
#include "support/real_precisions.hpp"
#include "svd/rotation_sweeps.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

template <class T>
class SharedRotations : public testing::Test {
 protected:
  void TearDown() override { nuv_thread_set_num_threads(0); }

  /// Runs work(A, side, direct, sweeps) for shapes that threads cut, and some that they don't.
  template <class Work>
  void for_each_batch(Work work) {
    for (const char side : sides) {
      for (const char direct : {'F', 'B'}) {
        for (const Int length : {511, 512, 1100}) {
          for (const auto& [lines, k] : {std::pair{30, 20}, {60, 20}, {100, 20}, {150, 7}}) {
            const Int m = side == 'L' ? lines : length, n = side == 'L' ? length : lines;
            const RotationSweeps<T> sweeps(random, lines - 1, k, lines);
            work(random_matrix<T>(random, m, n, m + 1), side, direct, sweeps);
          }
        }
      }
    }
  }

  template <class Routine>
  static GuardedMatrix<T> apply(Routine routine, GuardedMatrix<T> A, char side, char direct,
                                const RotationSweeps<T>& sweeps) {
    const Int k = sweeps.count(), length = side == 'L' ? A.columns() : A.rows();
    GuardedVector<T> work(4 * k * k + k * length);
    Int info = 0;
    routine(side, 'V', direct, A.rows(), A.columns(), k, sweeps.table(), A, work.data(), work.size(), info);
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(A.guards_unchanged());
    return A;
  }

  static constexpr auto layered = [](auto&&... arguments) { layer::lasr3(arguments...); };
  static constexpr auto serial = [](auto&&... arguments) { x_variant::lasr3(arguments...); };

  Random random{64};
};
TYPED_TEST_SUITE(SharedRotations, RealPrecisions, PrecisionLetter);

TYPED_TEST(SharedRotations, GiveTheBitsOfOneThread) {
  this->for_each_batch([&](const auto& A, char side, char direct, const auto& sweeps) {
    nuv_thread_set_num_threads(1);
    const auto alone = this->apply(this->serial, A, side, direct, sweeps);
    for (const int threads : {1, 2, 3}) {
      nuv_thread_set_num_threads(threads);
      EXPECT_TRUE(this->apply(this->layered, A, side, direct, sweeps).same_as(alone))
          << threads << " threads, " << side << direct << ' ' << A.rows() << " by " << A.columns() << ", "
          << sweeps.count() << " sweeps";
    }
  });
}

TYPED_TEST(SharedRotations, GoOnAloneWithoutMemory) {
  nuv_thread_set_num_threads(3);
  bool was_asked = false;
  this->for_each_batch([&](const auto& A, char side, char direct, const auto& sweeps) {
    const auto expected = this->apply(this->layered, A, side, direct, sweeps);
    const MemoryRequests memory(MemoryRequests::all);
    EXPECT_TRUE(this->apply(this->layered, A, side, direct, sweeps).same_as(expected));
    was_asked |= memory.count() > 0;
  });
  EXPECT_TRUE(was_asked);
}

}  // namespace
}  // namespace nuv::test
