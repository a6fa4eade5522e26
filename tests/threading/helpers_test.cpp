// The helpers of the threaded layer: each piece of work is done once, by no more threads than asked for, whether the
// helpers watch, sleep or are just being made.

#include "threading/threaded/helpers.hpp"

#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "slow_helper.hpp"

namespace nuv::threading {
namespace {

/// Counts how often each piece was done, and by whom.
struct Record {
  explicit Record(int pieces) : done(std::make_unique<std::atomic<int>[]>(pieces)), workers(pieces), pieces(pieces) {}

  static void do_piece(void* record, int index) {
    Record& r = *static_cast<Record*>(record);
    ++r.done[index];
    r.workers[index] = gettid();
    if (r.duration.count() > 0) std::this_thread::sleep_for(r.duration);
  }

  void share(int threads) { share_pieces(threads, pieces, do_piece, this); }

  void expect_each_once(int threads) const {
    for (int i = 0; i < pieces; ++i) EXPECT_EQ(done[i], 1) << "piece " << i << " of " << pieces;
    EXPECT_LE(std::set(workers.begin(), workers.end()).size(), std::size_t(threads));
  }

  std::unique_ptr<std::atomic<int>[]> done;
  std::vector<int> workers;
  int pieces;
  std::chrono::microseconds duration{0};
};

class Helpers : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(take_helpers()); }
  void TearDown() override { release_helpers(); }
};

TEST_F(Helpers, DoEachPieceOnce) {
  for (const int threads : {1, 2, 3, 5}) {
    for (const int pieces : {1, 2, 3, 7, 20, 1024}) {
      Record record(pieces);
      record.share(threads);
      record.expect_each_once(threads);
    }
  }
}

TEST_F(Helpers, DoEachPieceOnceInManyWorks) {
  for (int i = 0; i < 3000; ++i) {
    const int threads = 2 + i % 3, pieces = 1 + i % 9;
    Record record(pieces);
    record.share(threads);
    record.expect_each_once(threads);
    if (i % 100 == 0)
      std::this_thread::sleep_for(std::chrono::microseconds(i));  // sometimes long enough to fall asleep
  }
}

TEST_F(Helpers, TakePartAfterASleep) {
  for (int i = 0; i < 5; ++i) {
    Record record(8);
    record.duration = std::chrono::milliseconds(20);
    record.share(4);
    record.expect_each_once(4);
    EXPECT_GE(std::set(record.workers.begin(), record.workers.end()).size(), 2u);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

TEST_F(Helpers, ServeOneThreadAtATime) {
  EXPECT_TRUE(helpers_are_ready());
  EXPECT_FALSE(helpers_are_free());
  std::thread([] {
    EXPECT_FALSE(helpers_are_ready());
    EXPECT_FALSE(helpers_are_free());
    EXPECT_FALSE(take_helpers());
  }).join();
  rest_helpers();
  EXPECT_FALSE(helpers_are_ready());
  release_helpers();
  EXPECT_TRUE(helpers_are_free());
  std::thread([] {
    ASSERT_TRUE(take_helpers());
    EXPECT_TRUE(helpers_are_ready());
    Record record(20);
    record.share(3);
    record.expect_each_once(3);
    release_helpers();
  }).join();
  ASSERT_TRUE(take_helpers());
  EXPECT_TRUE(helpers_are_ready());
}

TEST_F(Helpers, AreNotReadyInsideAPiece) {
  std::atomic<int> ready = 0;
  share_pieces(
      2, 4, [](void* count, int) { *static_cast<std::atomic<int>*>(count) += helpers_are_ready(); }, &ready);
  EXPECT_EQ(ready, 0);
  EXPECT_TRUE(helpers_are_ready());
}

/// Lets all threads of this process run on these processors alone.
void put_threads_on(const cpu_set_t& processors) {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    ASSERT_EQ(sched_setaffinity(std::stoi(task.path().filename()), sizeof processors, &processors), 0);
  }
}

TEST_F(Helpers, TellThatTheyHadToShareAProcessor) {
  cpu_set_t all, one;
  ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);

  SlowHelper helper{std::chrono::milliseconds(1)};
  share_pieces(2, 2, SlowHelper::do_piece, &helper);  // makes one, if there is none yet
  ASSERT_TRUE(helper.is_at_work);
  release_helpers();
  ASSERT_TRUE(take_helpers());

  put_threads_on(one);
  helper.is_at_work = false;
  share_pieces(2, 2, SlowHelper::do_piece, &helper);
  const int waited = release_helpers();
  put_threads_on(all);
  ASSERT_TRUE(take_helpers());
  EXPECT_TRUE(helper.is_at_work);
  EXPECT_GE(waited, 1000);
  // It is told once.
  EXPECT_EQ(release_helpers(), 0);
  ASSERT_TRUE(take_helpers());
}

TEST_F(Helpers, TellHowLongTheOwnerSlept) {
  SlowHelper helper{std::chrono::milliseconds(20)};
  const auto start = std::chrono::steady_clock::now();
  share_pieces(2, 2, SlowHelper::do_piece, &helper);
  const auto passed = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
  ASSERT_TRUE(helper.is_at_work);
  const int waited = release_helpers();
  EXPECT_GE(waited, 10'000);
  EXPECT_LE(waited, passed.count());
  ASSERT_TRUE(take_helpers());
}

}  // namespace
}  // namespace nuv::threading
