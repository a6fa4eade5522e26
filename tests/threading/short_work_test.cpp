// Short work goes alone for a while after a thread was held up in it. The layer's runtime is compiled in.

#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <chrono>
#include <thread>

#include "slow_helper.hpp"
#include "threading/runtime.hpp"

extern "C" void nuv_thread_set_num_threads(int);

namespace nuv::threading {
namespace {

constexpr int threads = 3;

class ShortWork : public testing::Test {
 protected:
  void SetUp() override {
    nuv_thread_set_num_threads(threads);
    ASSERT_EQ(available_threads(), threads);
  }
  void TearDown() override {
    std::this_thread::sleep_for(longest_time_alone);
    EXPECT_EQ(threads_for_short_work(), threads);
    nuv_thread_set_num_threads(0);
  }

  static constexpr std::chrono::milliseconds longest_time_alone{220};
};

TEST_F(ShortWork, IsSharedAfterShortWaits) {
  for (const int microseconds : {0, 1, 499}) {
    note_wait(microseconds);
    EXPECT_EQ(threads_for_short_work(), threads) << microseconds;
  }
}

/// However long the wait was, the time is over when the test is torn down.
TEST_F(ShortWork, GoesAloneAfterALongWait) {
  for (const int microseconds : {5000, 100'000, 2'000'000'000}) {
    note_wait(microseconds);
    EXPECT_EQ(threads_for_short_work(), 1) << microseconds;
    EXPECT_EQ(available_threads(), threads);
  }
}

TEST_F(ShortWork, IsSharedAgainTheSoonerTheShorterTheWait) {
  note_wait(500);
  std::this_thread::sleep_for(std::chrono::milliseconds(40));
  EXPECT_EQ(threads_for_short_work(), threads);
}

TEST_F(ShortWork, IsSharedWhenThreadsAreAskedForAgain) {
  note_wait(5000);
  nuv_thread_set_num_threads(threads);
  EXPECT_EQ(threads_for_short_work(), threads);
}

constexpr double some_milliseconds = 50e6, much_longer = 200e6, least = 10e6;

void wait_for_a_helper() {
  SlowHelper helper{std::chrono::milliseconds(5)};
  run_pieces(2, 2, SlowHelper::do_piece, &helper);
  ASSERT_TRUE(helper.is_at_work);
}

TEST_F(ShortWork, OfARoutineGoesAloneAfterALongWaitInOne) {
  {
    const Team team(some_milliseconds, least);
    EXPECT_EQ(available_threads(), threads);
    wait_for_a_helper();
  }
  EXPECT_EQ(threads_for_short_work(), 1);
  {
    const Team team(some_milliseconds, least);
    EXPECT_EQ(available_threads(), 1);
  }
  {
    const Team team(much_longer, least);
    EXPECT_EQ(available_threads(), threads);
  }
}

TEST_F(ShortWork, DoesNotMindWaitsInLongWork) {
  {
    const Team team(much_longer, least);
    wait_for_a_helper();
  }
  const Team team(some_milliseconds, least);
  EXPECT_EQ(available_threads(), threads);
}

}  // namespace
}  // namespace nuv::threading
