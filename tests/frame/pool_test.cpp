// The workspace pool: which slot serves a request, what the counters say, when blocks go back to the allocator.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "frame/pool.hpp"
#include "frame/pool_fixture.hpp"
#include "frame/watched_stream.hpp"

namespace nuv::test {
namespace {

/// Whether the lock was held each time that a variable of the pool was read.
std::vector<bool> lock_was_held_for_variables;

}  // namespace
}  // namespace nuv::test

// The pool's reads of its variables come here first.
extern "C" char* getenv(const char* name) noexcept {
  if (std::strncmp(name, "NUV_", 4) == 0) nuv::test::lock_was_held_for_variables.push_back(nuv::test::lock_is_held());
  return reinterpret_cast<decltype(&getenv)>(dlsym(RTLD_NEXT, "getenv"))(name);
}

namespace nuv::test {
namespace {

// ------------------------------------------------------------------------------------------------------------ reuse

TEST_F(Pool, ANewBlockFillsItsSlot) {
  void* block = nuv_serv_allocate(1000, 128);
  EXPECT_EQ(fake.take_events(), Events{"+1128"});
  EXPECT_EQ(pool.mem_align[0], block);
  EXPECT_EQ(pool.mem_size[0], 1000u);
  EXPECT_EQ(pool.mem_size_r[0], 1128u);
  EXPECT_EQ(pool.mem_th[0], pthread_self());
  EXPECT_EQ(pool.mem_in_use[0], 1);
  expect_counters(1, 1, 1128, 1128);

  nuv_serv_deallocate(block);
  EXPECT_TRUE(fake.take_events().empty());
  EXPECT_EQ(pool.mem_in_use[0], 0);
  EXPECT_EQ(pool.mem_th[0], pthread_self());
  EXPECT_EQ(pool.mem_align[0], block);
  expect_counters(1, 1, 1128, 0);
}

TEST_F(Pool, TheSameRequestGetsTheSamePointerAgain) {
  void* block = nuv_serv_allocate(1000, 128);
  nuv_serv_deallocate(block);
  EXPECT_EQ(nuv_serv_allocate(1000, 128), block);
  EXPECT_EQ(fake.take_events(), Events{"+1128"});
  expect_counters(1, 1, 1128, 1128);
}

TEST_F(Pool, AnotherThreadGetsASlotOfItsOwn) {
  void* block = nuv_serv_allocate(1000, 128);
  nuv_serv_deallocate(block);
  in_another_thread([&] {
    EXPECT_NE(nuv_serv_allocate(1000, 128), block);
    EXPECT_EQ(pool.mem_th[1], pthread_self());
  });
  EXPECT_EQ(fake.take_events(), (Events{"+1128", "+1128"}));
  expect_counters(2, 2, 2256, 1128);
}

TEST_F(Pool, AnyThreadMayFreeAndTheOwnerStays) {
  void* block = nuv_serv_allocate(1000, 128);
  in_another_thread([&] {
    nuv_serv_deallocate(block);
    EXPECT_NE(nuv_serv_allocate(1000, 128), block);
  });
  EXPECT_EQ(pool.mem_in_use[0], 0);
  EXPECT_EQ(nuv_serv_allocate(1000, 128), block);
}

TEST_F(Pool, AnExactFitIsPreferredToAnEarlierLargerOne) {
  void* larger = nuv_serv_allocate(2000, 128);
  void* exact = nuv_serv_allocate(1000, 128);
  nuv_serv_deallocate(larger);
  nuv_serv_deallocate(exact);
  EXPECT_EQ(nuv_serv_allocate(1000, 128), exact);
  EXPECT_EQ(nuv_serv_allocate(1000, 128), larger);
}

TEST_F(Pool, TheFirstOfSeveralExactFitsIsTaken) {
  void* blocks[] = {nuv_serv_allocate(1000, 128), nuv_serv_allocate(1000, 128), nuv_serv_allocate(1000, 128)};
  for (int i : {2, 0, 1}) nuv_serv_deallocate(blocks[i]);
  for (void* block : blocks) EXPECT_EQ(nuv_serv_allocate(1000, 128), block);
}

TEST_F(Pool, TheFirstLargerBlockIsTakenNotTheBestAndCountsWhole) {
  void* huge = nuv_serv_allocate(9000, 128);
  void* better = nuv_serv_allocate(1001, 128);
  nuv_serv_deallocate(huge);
  nuv_serv_deallocate(better);
  EXPECT_EQ(nuv_serv_allocate(1000, 128), huge);
  EXPECT_EQ(pool.mem_size[0], 1000u);
  EXPECT_EQ(pool.mem_size_r[0], 9128u);
  expect_counters(2, 2, 9128 + 1129, 9128);
}

TEST_F(Pool, ASmallerBlockIsNotUsedWhileTheTableHasRoom) {
  nuv_serv_deallocate(nuv_serv_allocate(1000, 128));
  nuv_serv_allocate(1001, 128);
  EXPECT_EQ(fake.take_events(), (Events{"+1128", "+1129"}));
  expect_counters(2, 2, 2257, 1129);
}

// -------------------------------------------------------------------------------------------------------- alignment

TEST_F(Pool, ABlockOnTheBoundaryStaysAndAnyOtherMovesUp) {
  fake.answers = {address(0x1000), address(0x2010), address(0x3001), address(0x407f)};
  EXPECT_EQ(nuv_serv_allocate(8, 128), address(0x1000));
  EXPECT_EQ(nuv_serv_allocate(8, 128), address(0x2080));
  EXPECT_EQ(nuv_serv_allocate(8, 128), address(0x3080));
  EXPECT_EQ(nuv_serv_allocate(8, 128), address(0x4080));
  EXPECT_EQ(pool.mem[1], address(0x2010));
}

TEST_F(Pool, AlignmentsBelowEightGetNoRoom) {
  for (const int alignment : {4, 7, 1, 0, -128}) {
    fake.answers = {address(0x1003)};
    EXPECT_EQ(nuv_serv_allocate(1000, alignment), address(0x1003)) << alignment;
    EXPECT_EQ(fake.take_events(), Events{"+1000"}) << alignment;
    pool = {};
  }
  fake.answers = {address(0x1003)};
  EXPECT_EQ(nuv_serv_allocate(1000, 8), address(0x1008));
  EXPECT_EQ(fake.take_events(), Events{"+1008"});
}

TEST_F(Pool, AReusedBlockIsAlignedAnew) {
  fake.answers = {address(0x1010)};
  void* first = nuv_serv_allocate(1000, 128);
  EXPECT_EQ(first, address(0x1080));
  nuv_serv_deallocate(first);
  void* second = nuv_serv_allocate(1000, 16);
  EXPECT_EQ(second, address(0x1010));
  nuv_serv_deallocate(second);
  EXPECT_EQ(pool.mem_in_use[0], 0);
  EXPECT_EQ(nuv_serv_allocate(1000, 0), address(0x1010));
  EXPECT_EQ(fake.take_events(), Events{"+1128"});
}

TEST_F(Pool, RealMemoryIsAlignedAndInside) {
  i_malloc = std::malloc;
  i_free = std::free;
  for (int alignment = 8; alignment <= 4096; alignment *= 2) {
    auto* block = static_cast<char*>(nuv_serv_allocate(100, alignment));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0u);
    std::fill(block, block + 100, 'x');
    nuv_serv_deallocate(block);
  }
  nuv_free_extra_mem();
  expect_counters(10, 0, 0, 0);
}

// -------------------------------------------------------------------------------------- requests beside the pool

TEST_F(Pool, RequestsAboveTheLimitBypassThePool) {
  fake.answers = {address(0x1010), address(0x2010)};
  void* pooled = nuv_serv_allocate(41943040, 128);
  EXPECT_EQ(pooled, address(0x1080));
  EXPECT_TRUE(lock_was_held);
  void* plain = nuv_serv_allocate(41943041, 128);
  EXPECT_EQ(plain, address(0x2010));
  EXPECT_FALSE(lock_was_held);
  EXPECT_EQ(fake.take_events(), (Events{"+41943168", "+41943041"}));
  expect_counters(1, 1, 41943168, 41943168);

  nuv_serv_deallocate(plain);
  EXPECT_FALSE(lock_was_held);
  EXPECT_EQ(fake.take_events(), Events{freed(plain)});
  nuv_serv_deallocate(pooled);
  EXPECT_TRUE(fake.take_events().empty());
}

TEST_F(Pool, AnUnknownPointerGoesToTheAllocator) {
  void* block = nuv_serv_allocate(1000, 128);
  fake.take_events();
  nuv_serv_deallocate(address(0x77770));
  EXPECT_EQ(fake.take_events(), Events{freed(address(0x77770))});
  nuv_serv_deallocate(nullptr);
  EXPECT_EQ(fake.take_events(), Events{freed(nullptr)});
  EXPECT_NE(block, nullptr);
  expect_counters(1, 1, 1128, 1128);
}

TEST_F(Pool, APointerIsComparedWhole) {
  if constexpr (sizeof(void*) == 8) {
    constexpr std::uintptr_t low = 0x1000;
    fake.answers = {address((std::uintptr_t{1} << (sizeof(void*) * 4)) + low),
                    address((std::uintptr_t{2} << (sizeof(void*) * 4)) + low), address(low)};
    void* blocks[] = {nuv_serv_allocate(10, 0), nuv_serv_allocate(20, 0), nuv_serv_allocate(40, 0)};
    nuv_serv_deallocate(blocks[2]);
    EXPECT_EQ(pool.mem_total_used, 30u);
    nuv_serv_deallocate(blocks[1]);
    EXPECT_EQ(pool.mem_total_used, 10u);
    nuv_serv_deallocate(address((std::uintptr_t{3} << (sizeof(void*) * 4)) + low));
    EXPECT_EQ(pool.mem_total_used, 10u);
  } else {
    fake.answers = {address(0x81000000), address(0x1000000)};
    nuv_serv_allocate(10, 0);
    nuv_serv_deallocate(nuv_serv_allocate(20, 0));
    EXPECT_EQ(pool.mem_total_used, 10u);
  }
}

TEST_F(Pool, ADoubleFreeSubtractsTwice) {
  void* first = nuv_serv_allocate(1000, 128);
  void* second = nuv_serv_allocate(500, 128);
  nuv_serv_deallocate(second);
  nuv_serv_deallocate(second);
  expect_counters(2, 2, 1128 + 628, 1128 - 628);
  nuv_serv_deallocate(first);
  EXPECT_EQ(pool.mem_total_used, 0u - 628u);
}

// ------------------------------------------------------------------------------------------------------ environment

class PoolVariable : public Pool, public testing::WithParamInterface<const char*> {};

TEST_P(PoolVariable, SwitchesThePoolOffWhateverItsValue) {
  for (const char* value : {"1", "0", " "}) {
    env_readed = disable_fast_mm = -1;
    setenv(GetParam(), value, 1);
    fake.answers = {address(0x1010)};
    void* block = nuv_serv_allocate(1000, 128);
    EXPECT_EQ(block, address(0x1010)) << "no alignment here";
    EXPECT_FALSE(lock_was_held);
    nuv_serv_deallocate(block);
    EXPECT_FALSE(lock_was_held);
    EXPECT_EQ(fake.take_events(), (Events{"+1000", freed(block)}));
    testing::internal::CaptureStdout();
    nuv_serv_freebuffers();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    expect_counters(0, 0, 0, 0);
    EXPECT_EQ(env_readed, 1);
    EXPECT_EQ(disable_fast_mm, 1);
  }
}

TEST_P(PoolVariable, CountsAsUnsetWhenEmpty) {
  setenv(GetParam(), "", 1);
  nuv_serv_deallocate(nuv_serv_allocate(1000, 128));
  expect_counters(1, 1, 1128, 0);
  EXPECT_EQ(disable_fast_mm, 0);
}

TEST_P(PoolVariable, IsReadOnce) {
  EXPECT_EQ(NUV_read_env(), 0);
  EXPECT_EQ(env_readed, 1);
  EXPECT_EQ(disable_fast_mm, 0);
  setenv(GetParam(), "1", 1);
  EXPECT_EQ(NUV_read_env(), 0);
  EXPECT_EQ(disable_fast_mm, 0);
  nuv_serv_allocate(1000, 128);
  expect_counters(1, 1, 1128, 1128);
}

TEST_P(PoolVariable, IsReadByEachEntryThatNeedsIt) {
  setenv(GetParam(), "1", 1);
  EXPECT_EQ(NUV_read_env(), 0);
  EXPECT_EQ(disable_fast_mm, 1);

  env_readed = disable_fast_mm = -1;
  nuv_serv_deallocate(address(0x1000));
  EXPECT_EQ(disable_fast_mm, 1);

  env_readed = disable_fast_mm = -1;
  testing::internal::CaptureStdout();
  nuv_serv_freebuffers();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(disable_fast_mm, 1);
}

INSTANTIATE_TEST_SUITE_P(Both, PoolVariable, testing::Values("NUV_DISABLE_FAST_MM", "NUV_MM_DISABLE"),
                         [](const auto& info) { return std::string(info.param); });

TEST_F(Pool, TheEnvironmentIsReadUnderTheLock) {
  const std::function<void()> readers[] = {[] { NUV_read_env(); }, [] { nuv_serv_allocate(10, 0); },
                                           [] { nuv_serv_deallocate(nullptr); }};
  for (const auto& read : readers) {
    env_readed = disable_fast_mm = -1;
    lock_was_held_for_variables.clear();
    read();
    EXPECT_EQ(lock_was_held_for_variables, (std::vector<bool>{true, true}));
  }
}

TEST_F(Pool, AnEmptyFirstVariableLeavesTheSecondToDecide) {
  setenv("NUV_DISABLE_FAST_MM", "", 1);
  setenv("NUV_MM_DISABLE", "1", 1);
  NUV_read_env();
  EXPECT_EQ(disable_fast_mm, 1);
}

// --------------------------------------------------------------------------------------------------------- trimming

TEST_F(Pool, IdleMemoryUpToTheLimitIsKept) {
  const unsigned sizes[] = {40 * mebibyte, 40 * mebibyte, 40 * mebibyte, 4 * mebibyte};
  std::vector<void*> blocks;
  for (const unsigned size : sizes) blocks.push_back(nuv_serv_allocate(size, 0));
  for (void* block : blocks) nuv_serv_deallocate(block);
  EXPECT_EQ(pool.mem_total_allocated - pool.mem_total_used, 130023424u);
  fake.take_events();

  nuv_serv_deallocate(nuv_serv_allocate(4 * mebibyte, 0));
  EXPECT_TRUE(fake.take_events().empty());
  expect_counters(4, 4, 130023424, 0);
}

TEST_F(Pool, IdleBlocksOfAllThreadsGoOnceTheyExceedTheLimit) {
  void* kept = nuv_serv_allocate(500, 0);
  std::vector<void*> blocks;
  for (const unsigned size : {40 * mebibyte, 40 * mebibyte}) blocks.push_back(nuv_serv_allocate(size, 0));
  in_another_thread([&] {
    for (const unsigned size : {40 * mebibyte, 4 * mebibyte + 1}) blocks.push_back(nuv_serv_allocate(size, 0));
  });
  for (void* block : blocks) nuv_serv_deallocate(block);
  EXPECT_EQ(pool.mem_total_allocated - pool.mem_total_used, 130023425u);
  fake.take_events();

  // The exact fit is gone before the search; its address comes back from the allocator.
  EXPECT_EQ(nuv_serv_allocate(40 * mebibyte, 0), blocks[0]);
  EXPECT_EQ(fake.take_events(),
            (Events{freed(blocks[3]), freed(blocks[2]), freed(blocks[1]), freed(blocks[0]), "+41943040"}));
  EXPECT_EQ(pool.mem_align[0], kept);
  for (const unsigned slot : {1, 2, 3, 4}) expect_empty(slot);
  expect_counters(6, 2, 500 + 41943040, 500 + 41943040);
}

TEST_F(Pool, ARequestThatBypassesThePoolTrimsNothing) {
  std::vector<void*> blocks;
  for (int i = 0; i < 4; ++i) blocks.push_back(nuv_serv_allocate(40 * mebibyte, 0));
  for (void* block : blocks) nuv_serv_deallocate(block);
  fake.take_events();
  nuv_serv_allocate(41943041, 0);
  EXPECT_EQ(fake.take_events(), Events{"+41943041"});
  expect_counters(4, 4, 4 * 41943040, 0);
}

TEST_F(Pool, IdleMemoryIsAnUnsignedDifference) {
  void* block = nuv_serv_allocate(1000, 0);
  nuv_serv_deallocate(block);
  pool.mem_total_used = pool.mem_total_allocated + 1;
  fake.take_events();
  nuv_serv_allocate(1000, 0);
  EXPECT_EQ(fake.take_events(), (Events{freed(block), "+1000"})) << "one byte less than nothing idle is a great deal";
}

TEST_F(Pool, FreeExtraMemFreesIdleBlocksOnly) {
  void* idle = nuv_serv_allocate(1000, 128);
  void* busy = nuv_serv_allocate(2000, 128);
  void* last = nuv_serv_allocate(3000, 128);
  void* idle_block = pool.mem[0];
  void* last_block = pool.mem[2];
  nuv_serv_deallocate(idle);
  nuv_serv_deallocate(last);
  fake.take_events();
  nuv_free_extra_mem();
  EXPECT_FALSE(lock_was_held);
  EXPECT_EQ(fake.take_events(), (Events{freed(last_block), freed(idle_block)}));
  expect_empty(0);
  expect_empty(2);
  EXPECT_EQ(pool.mem_align[1], busy);
  expect_counters(3, 1, 2128, 2128);
}

TEST_F(Pool, EmptySlotsAreNotFilledAgain) {
  nuv_serv_deallocate(nuv_serv_allocate(1000, 128));
  nuv_free_extra_mem();
  nuv_serv_allocate(1000, 128);
  expect_empty(0);
  EXPECT_EQ(pool.mem_size_r[1], 1128u);
  expect_counters(2, 1, 1128, 1128);
}

// ------------------------------------------------------------------------------------------- blocks without a size

TEST_F(Pool, ABlockBehindOneWithoutASizeStaysOutOfTheSearch) {
  void* nothing = nuv_serv_allocate(0, 0);
  nuv_serv_deallocate(nothing);
  expect_counters(1, 1, 0, 0);
  fake.take_events();

  void* first = nuv_serv_allocate(1000, 128);
  void* first_block = pool.mem[1];
  EXPECT_EQ(pool.mem_align[1], first);
  EXPECT_EQ(pool.mem_size[1], 1000u);
  EXPECT_EQ(pool.mem_size_r[1], 1128u);
  EXPECT_EQ(pool.mem_in_use[1], 1);
  EXPECT_EQ(pool.mem_th[1], pthread_self());
  expect_counters(1, 2, 1128, 1128);

  void* second = nuv_serv_allocate(1000, 128);
  EXPECT_NE(second, first);
  EXPECT_EQ(pool.mem_align[1], second);
  expect_counters(1, 3, 2256, 2256);
  EXPECT_EQ(fake.take_events(), (Events{"+1128", "+1128"}));

  nuv_serv_deallocate(first);
  EXPECT_EQ(fake.take_events(), Events{freed(first)});
  expect_counters(1, 3, 2256, 2256);
  EXPECT_NE(first_block, nullptr);
}

TEST_F(Pool, ARequestOfNothingTakesABlockWithoutASizeAgain) {
  void* nothing = nuv_serv_allocate(0, 0);
  nuv_serv_deallocate(nothing);
  EXPECT_EQ(nuv_serv_allocate(0, 4), nothing);
  expect_counters(1, 1, 0, 0);
  EXPECT_EQ(pool.mem_in_use[0], 1);
}

TEST_F(Pool, ALargerBlockIsPreferredToGoingBesideTheTable) {
  nuv_serv_deallocate(nuv_serv_allocate(0, 0));
  in_another_thread([] { nuv_serv_allocate(7, 0); });
  EXPECT_EQ(pool.mem_banks_used, 2u);
  pool.mem_th[1] = pthread_self();
  void* seven = pool.mem_align[1];
  nuv_serv_deallocate(seven);
  EXPECT_EQ(nuv_serv_allocate(5, 0), seven);
  expect_counters(2, 2, 7, 7);
}

TEST_F(Pool, ATrimmedSlotDoesNotCountAsOneWithoutASize) {
  nuv_serv_deallocate(nuv_serv_allocate(10, 0));
  nuv_free_extra_mem();
  nuv_serv_allocate(10, 0);
  expect_counters(2, 1, 10, 10);
}

// --------------------------------------------------------------------------------------------------- the full table

class FullPool : public Pool {
 protected:
  FullPool() {
    for (unsigned i = 0; i < pool_slots; ++i) blocks.push_back(nuv_serv_allocate(1000 + i, 0));
    total = pool.mem_total_allocated;
    fake.take_events();
  }

  std::vector<void*> blocks;
  unsigned total = 0;
};

TEST_F(FullPool, TheNextBlockIsPlainAndNotTracked) {
  expect_counters(1024, 1024, total, total);
  fake.answers = {address(0x1010)};
  void* plain = nuv_serv_allocate(1000, 128);
  EXPECT_EQ(plain, address(0x1010));
  EXPECT_FALSE(lock_was_held);
  EXPECT_EQ(fake.take_events(), Events{"+1000"});
  expect_counters(1024, 1024, total, total);
  nuv_serv_deallocate(plain);
  EXPECT_EQ(fake.take_events(), Events{freed(plain)});
}

TEST_F(FullPool, TheFirstSmallerIdleBlockIsReplaced) {
  for (const unsigned slot : {700, 300, 500}) nuv_serv_deallocate(blocks[slot]);
  fake.answers = {address(0x1010)};
  EXPECT_EQ(nuv_serv_allocate(9000, 128), address(0x1080));
  EXPECT_EQ(fake.take_events(), (Events{freed(blocks[300]), "+9128"}));
  EXPECT_EQ(pool.mem[300], address(0x1010));
  EXPECT_EQ(pool.mem_align[300], address(0x1080));
  EXPECT_EQ(pool.mem_size[300], 9000u);
  EXPECT_EQ(pool.mem_size_r[300], 9128u);
  EXPECT_EQ(pool.mem_in_use[300], 1);
  EXPECT_EQ(pool.mem_th[300], pthread_self());
  expect_counters(1024, 1024, total - 1300 + 9128, total - 1300 + 9128 - 1500 - 1700);
}

TEST_F(FullPool, AFittingIdleBlockStillServes) {
  nuv_serv_deallocate(blocks[1023]);
  EXPECT_EQ(nuv_serv_allocate(1001, 0), blocks[1023]);
  EXPECT_TRUE(fake.take_events().empty());
}

TEST_F(FullPool, IdleBlocksOfOtherThreadsAreNoHelp) {
  nuv_serv_deallocate(blocks[5]);
  in_another_thread([&] { nuv_serv_allocate(10, 0); });
  EXPECT_EQ(fake.take_events(), Events{"+10"});
  EXPECT_EQ(pool.mem_in_use[5], 0);
}

TEST_F(FullPool, TrimmedSlotsAreNoHelp) {
  for (void* block : blocks) nuv_serv_deallocate(block);
  nuv_free_extra_mem();
  fake.take_events();
  nuv_serv_allocate(1000, 128);
  EXPECT_EQ(fake.take_events(), Events{"+1000"});
  expect_counters(1024, 0, 0, 0);
}

TEST_F(FullPool, NothingIsWrittenPastTheTable) {
  // The last slot holds a block without a size, so that the next request would go to the slot behind it.
  pool.mem_size_r[1023] = pool.mem_size[1023] = 0;
  nuv_serv_deallocate(blocks[1023]);
  const auto counters_before = pool.mem_banks_really_used;
  nuv_serv_allocate(10, 0);
  EXPECT_EQ(fake.take_events(), Events{"+10"});
  EXPECT_FALSE(lock_was_held);
  EXPECT_EQ(pool.mem_banks_used, 1024u);
  EXPECT_EQ(pool.mem_banks_really_used, counters_before);

  nuv_serv_deallocate(blocks[2]);
  nuv_serv_allocate(5000, 0);
  EXPECT_EQ(fake.take_events(), (Events{freed(blocks[2]), "+5000"})) << "a smaller block is still replaced";
}

// ---------------------------------------------------------------------------------------------------------- refusal

TEST_F(Pool, ARefusalIsHandedOnAndCountsLikeABlock) {
  fake.answers = {nullptr};
  EXPECT_EQ(nuv_serv_allocate(1000, 128), nullptr);
  EXPECT_EQ(pool.mem[0], nullptr);
  EXPECT_EQ(pool.mem_align[0], nullptr);
  EXPECT_EQ(pool.mem_size[0], 1000u);
  EXPECT_EQ(pool.mem_size_r[0], 1128u);
  EXPECT_EQ(pool.mem_in_use[0], 1);
  expect_counters(1, 1, 1128, 1128);
  EXPECT_NE(nuv_serv_allocate(1000, 128), nullptr);
  expect_counters(2, 2, 2256, 2256);

  nuv_serv_deallocate(nullptr);
  EXPECT_EQ(pool.mem_in_use[0], 0) << "the null pointer finds the refused slot";
  EXPECT_EQ(nuv_serv_allocate(1000, 128), nullptr) << "and the slot serves again with what it has";
}

TEST_F(FullPool, ASlotWhoseRequestWasRefusedServesAgain) {
  for (const unsigned slot : {300, 700}) {
    nuv_serv_deallocate(blocks[slot]);
    fake.answers = {nullptr};
    EXPECT_EQ(nuv_serv_allocate(9000, 0), nullptr) << "in place of a smaller block";
  }
  const unsigned others = total - 1300 - 1700;
  expect_counters(1024, 1024, others + 9000 + 9000, others + 9000 + 9000);
  fake.take_events();

  fake.answers = {address(0x1010)};
  in_another_thread([&] {
    EXPECT_EQ(nuv_serv_allocate(500, 128), address(0x1080));
    EXPECT_EQ(pool.mem_th[300], pthread_self());
  });
  EXPECT_EQ(fake.take_events(), Events{"+628"});
  EXPECT_EQ(pool.mem[300], address(0x1010));
  EXPECT_EQ(pool.mem_align[300], address(0x1080));
  EXPECT_EQ(pool.mem_size[300], 500u);
  EXPECT_EQ(pool.mem_size_r[300], 628u);
  expect_counters(1024, 1024, others + 628 + 9000, others + 628 + 9000);

  fake.answers = {nullptr};
  EXPECT_EQ(nuv_serv_allocate(600, 0), nullptr) << "refused once more, and in the other slot";
  expect_counters(1024, 1024, others + 628 + 600, others + 628 + 600);
  EXPECT_NE(nuv_serv_allocate(800, 0), nullptr);
  expect_counters(1024, 1024, others + 628 + 800, others + 628 + 800);
  EXPECT_EQ(fake.take_events(), (Events{"+600", "+800"}));
  nuv_serv_allocate(800, 128);
  EXPECT_EQ(fake.take_events(), Events{"+800"}) << "beside a table that is full of blocks";
}

TEST_F(FullPool, ASmallerBlockIsReplacedBeforeARefusedSlotServes) {
  nuv_serv_deallocate(blocks[300]);
  fake.answers = {nullptr};
  nuv_serv_allocate(9000, 0);
  nuv_serv_deallocate(blocks[700]);
  fake.take_events();
  nuv_serv_allocate(9001, 0);
  EXPECT_EQ(fake.take_events(), (Events{freed(blocks[700]), "+9001"}));
}

class PoolAfterRefusals : public Pool, public testing::WithParamInterface<int> {};

TEST_P(PoolAfterRefusals, ServesWhenMemoryIsBack) {
  i_malloc = [](std::size_t) -> void* { return nullptr; };
  for (int i = 0; i < GetParam(); ++i) EXPECT_EQ(nuv_serv_allocate(100 + i % 7, 128), nullptr);
  i_malloc = std::malloc;
  i_free = std::free;

  std::vector<void*> blocks;
  for (unsigned i = 0; i < pool_slots; ++i) {
    void* block = nuv_serv_allocate(1000 + i, 128);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 128, 0u);
    nuv_serv_deallocate(block);
    EXPECT_EQ(nuv_serv_allocate(1000 + i, 128), block) << "the pool kept it";
    blocks.push_back(block);
  }
  const unsigned total = pool_slots * 1128 + pool_slots * (pool_slots - 1) / 2;
  expect_counters(pool_slots, pool_slots, total, total);
  for (void* block : blocks) nuv_serv_deallocate(block);
  nuv_free_extra_mem();
  expect_counters(pool_slots, 0, 0, 0);
}

INSTANTIATE_TEST_SUITE_P(Refusals, PoolAfterRefusals, testing::Values(1024, 1100, 5000));

TEST_F(Pool, ARefusalBesideThePoolIsHandedOnToo) {
  fake.answers = {nullptr};
  EXPECT_EQ(nuv_serv_allocate(41943041, 128), nullptr);
  expect_counters(0, 0, 0, 0);
}

TEST_F(Pool, TheFirstOfEqualPointersIsFreed) {
  fake.answers = {nullptr, nullptr};
  nuv_serv_allocate(1000, 0);
  nuv_serv_allocate(300, 0);
  void* block = nuv_serv_allocate(50, 0);
  nuv_serv_deallocate(block);
  nuv_serv_deallocate(nullptr);
  EXPECT_EQ(pool.mem_total_used, 300u);
  nuv_serv_deallocate(nullptr);
  EXPECT_EQ(pool.mem_total_used, 0u - 700u) << "the first again";
}

// ----------------------------------------------------------------------------------------------- report and release

TEST_F(Pool, ReportOfAnEmptyPool) {
  testing::internal::CaptureStdout();
  nuv_serv_freebuffers();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n------------------------\n\nAlocated   0\nused       0\n\nbanks      0\nreally     0"
            "\n------------------------");
}

TEST_F(Pool, ReportToTheByte) {
  fake.answers = {address(0x12345610), address(0x20000000), nullptr};
  nuv_serv_allocate(1000, 128);
  void* idle = nuv_serv_allocate(1234567, 4);
  nuv_serv_allocate(7, 0);
  nuv_serv_deallocate(idle);
  pool.mem_th[0] = 0xabcdef;
  pool.mem_th[1] = 0x76543210;
  pool.mem_th[2] = 0;
  testing::internal::CaptureStdout();
  nuv_serv_freebuffers();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\n------------------------"
            "\nbank:  0  USED:1   size(  1000   1128)  thr:0000000000abcdef         0x12345610       0x12345680"
            "\nbank:  1  USED:0   size(1234567 1234567)  thr:0000000076543210         0x20000000       0x20000000"
            "\nbank:  2  USED:1   size(     7      7)  thr:0000000000000000              (nil)            (nil)"
            "\n\nAlocated   1235702\nused       1135"
            "\n\nbanks      3\nreally     3"
            "\n------------------------");
}

TEST_F(Pool, TheReportShowsTheWholeThreadIdentifier) {
  if constexpr (sizeof(void*) == 8) {
    nuv_serv_allocate(10, 0);
    pool.mem_th[0] = static_cast<std::uintptr_t>(0x7f0123456789abcdULL);
    testing::internal::CaptureStdout();
    nuv_serv_freebuffers();
    EXPECT_NE(testing::internal::GetCapturedStdout().find("thr:7f0123456789abcd "), std::string::npos);
  }
}

TEST_F(Pool, TotalsAreReportedAsSignedNumbers) {
  pool.mem_total_allocated = 3000000000u;
  pool.mem_total_used = ~0u;
  testing::internal::CaptureStdout();
  nuv_serv_freebuffers();
  EXPECT_NE(testing::internal::GetCapturedStdout().find("Alocated   -1294967296\nused       -1\n"), std::string::npos);
}

TEST_F(Pool, TheReportIsPrintedUnderTheLock) {
  nuv_serv_allocate(10, 0);
  std::vector<bool> lock_was_held_for_lines;
  {
    const WatchedStream watched(stdout, [&] { lock_was_held_for_lines.push_back(lock_is_held()); });
    nuv_serv_freebuffers();
  }
  EXPECT_FALSE(lock_was_held_for_lines.empty());
  for (const bool it_was : lock_was_held_for_lines) EXPECT_TRUE(it_was);
}

TEST_F(Pool, FreebuffersFreesBlocksInUseToo) {
  void* busy = nuv_serv_allocate(1000, 0);
  void* idle = nuv_serv_allocate(2000, 0);
  void* nothing = nuv_serv_allocate(0, 0);
  nuv_serv_deallocate(idle);
  fake.take_events();
  testing::internal::CaptureStdout();
  nuv_serv_freebuffers();
  testing::internal::GetCapturedStdout();
  EXPECT_TRUE(lock_was_held);
  EXPECT_EQ(fake.take_events(), (Events{freed(busy), freed(idle)})) << "in order, and none without a size";
  expect_empty(0);
  expect_empty(1);
  EXPECT_EQ(pool.mem_in_use[0], 1) << "left as it was";
  EXPECT_EQ(pool.mem[2], nothing);
  expect_counters(0, 0, 0, 0);

  nuv_serv_deallocate(nothing);
  EXPECT_EQ(fake.take_events(), Events{freed(nothing)}) << "no slot is searched any more";
}

TEST_F(Pool, FreebuffersForgetsABlockWithoutASize) {
  void* nothing = nuv_serv_allocate(0, 0);
  nuv_serv_deallocate(nothing);
  testing::internal::CaptureStdout();
  nuv_serv_freebuffers();
  testing::internal::GetCapturedStdout();
  fake.take_events();
  nuv_serv_deallocate(nothing);
  EXPECT_EQ(fake.take_events(), Events{freed(nothing)});
}

// -------------------------------------------------------------------------------------------------------- shrinking

TEST_F(Pool, ShrinkMovesOnlyEmptySlots) {
  std::vector<void*> blocks;
  for (unsigned i = 0; i < 6; ++i) blocks.push_back(nuv_serv_allocate(100 + i, 0));
  for (const int slot : {1, 2, 4}) nuv_serv_deallocate(blocks[slot]);
  nuv_free_extra_mem();
  nuv_serv_deallocate(blocks[5]);
  EXPECT_EQ(nuv_serv_allocate(105, 0), blocks[5]) << "just found, and lost from sight below all the same";
  expect_counters(6, 3, 100 + 103 + 105, 100 + 103 + 105);
  EXPECT_EQ(NUV_shrink_mem_slots(), 0);

  // Slots 0, 3 and 5 stay where they are; those above the new count drop out of the search.
  EXPECT_EQ(pool.mem[0], blocks[0]);
  EXPECT_EQ(pool.mem[3], blocks[3]);
  EXPECT_EQ(pool.mem[5], blocks[5]);
  expect_counters(3, 3, 308, 308);
  fake.take_events();
  nuv_serv_deallocate(blocks[5]);
  EXPECT_EQ(fake.take_events(), Events{freed(blocks[5])});
}

TEST_F(Pool, ShrinkMovesAllSixFields) {
  std::vector<void*> blocks;
  fake.answers = {address(0x1000), nullptr, address(0x2000), nullptr};
  for (unsigned i = 0; i < 4; ++i) blocks.push_back(nuv_serv_allocate(100 + i, 0));
  pool.mem_banks_really_used = 3;
  NUV_shrink_mem_slots();
  EXPECT_EQ(pool.mem_size[1], 103u) << "what a refusal left behind moves down";
  EXPECT_EQ(pool.mem_size_r[1], 103u);
  EXPECT_EQ(pool.mem_th[1], pthread_self());
  EXPECT_EQ(pool.mem_in_use[1], 1);
  expect_empty(3);
  EXPECT_EQ(pool.mem_in_use[3], 0);
  EXPECT_EQ(pool.mem[2], address(0x2000));
  EXPECT_EQ(pool.mem_banks_used, 3u);
}

TEST_F(Pool, ShrinkOfAFullyHeldTableChangesNothing) {
  for (unsigned i = 0; i < 3; ++i) nuv_serv_allocate(100 + i, 0);
  const WorkspacePool before = pool;
  NUV_shrink_mem_slots();
  EXPECT_EQ(std::memcmp(before.mem, pool.mem, sizeof pool.mem), 0);
  expect_counters(3, 3, 303, 303);
}

TEST_F(Pool, ShrinkOfATrimmedTableEmptiesIt) {
  std::vector<void*> blocks;
  for (unsigned i = 0; i < 3; ++i) blocks.push_back(nuv_serv_allocate(100 + i, 0));
  for (void* block : blocks) nuv_serv_deallocate(block);
  nuv_free_extra_mem();
  NUV_shrink_mem_slots();
  expect_counters(0, 0, 0, 0);
}

TEST_F(Pool, ShrinkNeverCountsPastTheTable) {
  // Blocks that were kept out of the search are counted all the same, any number of them.
  nuv_serv_deallocate(nuv_serv_allocate(0, 0));
  for (int i = 0; i < 2000; ++i) nuv_serv_deallocate(nuv_serv_allocate(10, 0));
  expect_counters(1, 2001, 20000, 20000);
  NUV_shrink_mem_slots();
  EXPECT_EQ(pool.mem_banks_used, 1024u);
  nuv_serv_allocate(10, 0);
  EXPECT_EQ(pool.mem_banks_used, 1024u);
}

// ------------------------------------------------------------------------------------------------ the small services

TEST_F(Pool, LockAndUnlock) {
  nuv_serv_lock();
  EXPECT_TRUE(lock_is_held());
  nuv_serv_unlock();
  EXPECT_FALSE(lock_is_held());
}

TEST_F(Pool, BlocksAreHandledUnderTheLock) {
  void* block = nuv_serv_allocate(1000, 128);
  EXPECT_TRUE(lock_was_held);
  nuv_serv_deallocate(block);
  for (int i = 0; i < 4; ++i) nuv_serv_allocate(40 * mebibyte, 0);
  for (unsigned i = 1; i < 5; ++i) nuv_serv_deallocate(pool.mem_align[i]);
  lock_was_held = false;
  i_malloc = [](std::size_t) -> void* { return nullptr; };
  nuv_serv_allocate(10, 0);
  EXPECT_TRUE(lock_was_held) << "while trimming";
}

TEST_F(Pool, ThreadIdentifiers) {
  EXPECT_EQ(NUV_ThreadID(), static_cast<unsigned long>(pthread_self()));
  in_another_thread([own = NUV_ThreadID()] {
    EXPECT_EQ(NUV_ThreadID(), static_cast<unsigned long>(pthread_self()));
    EXPECT_NE(NUV_ThreadID(), own);
  });
}

TEST(PoolHooks, ArePresetToTheLibrarysFunctions) {
  auto* zeros = static_cast<int*>(i_calloc(100, sizeof(int)));
  ASSERT_NE(zeros, nullptr);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(zeros[i], 0);
  zeros[99] = 7;
  auto* more = static_cast<int*>(i_realloc(zeros, 100000 * sizeof(int)));
  ASSERT_NE(more, nullptr);
  EXPECT_EQ(more[99], 7);
  i_free(more);
  void* block = i_malloc(100);
  EXPECT_NE(block, nullptr);
  i_free(block);
}

TEST_F(Pool, WorkspaceGivesItsMemoryBack) {
  {
    const Workspace<double> work(100);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(work.data()) % 128, 0u);
    EXPECT_EQ(pool.mem_size[0], 800u);
    EXPECT_EQ(pool.mem_in_use[0], 1);
  }
  EXPECT_EQ(pool.mem_in_use[0], 0);

  fake.answers = {nullptr};
  { EXPECT_EQ(Workspace<double>(101).data(), nullptr); }
  EXPECT_EQ(pool.mem_in_use[1], 1) << "a refusal has nothing to give back";
  EXPECT_EQ(Workspace<double>(std::size_t{1} << 29).data(), nullptr) << "4 GiB are more than a request can say";
}

}  // namespace
}  // namespace nuv::test
