// The workspace pool under many threads: blocks are asked for here and freed there, large ones come and go so that the
// pool trims, and threads end and leave their idle blocks to that. What the pool holds stays bounded, nobody gets
// memory that somebody else has, and nothing is lost.

#include <gtest/gtest.h>
#include <malloc.h>
#include <nuv/nuv_services.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

#include "frame/pool.hpp"
#include "support/sanitized.hpp"

namespace nuv::test {
namespace {

const long requests = is_sanitized ? 400'000 : 10'000'000;
constexpr int threads = 8;
constexpr int rounds = 10;

constexpr unsigned mebibyte = 1u << 20;
constexpr unsigned largest_small = 4096;           // bytes
constexpr unsigned largest_large = 20 * mebibyte;  // bytes
constexpr unsigned above_the_pool = largest_pooled_request + 1;

std::atomic<long> live_bytes = 0;
std::atomic<long> live_blocks = 0;
std::atomic<long> peak_bytes = 0;

void* counting_malloc(std::size_t size) {
  void* block = std::malloc(size);
  const long now = live_bytes += static_cast<long>(malloc_usable_size(block));
  ++live_blocks;
  long peak = peak_bytes.load();
  while (now > peak && !peak_bytes.compare_exchange_weak(peak, now)) {
  }
  return block;
}

void counting_free(void* block) {
  if (block == nullptr) return;
  live_bytes -= static_cast<long>(malloc_usable_size(block));
  --live_blocks;
  std::free(block);
}

/// A block on its way from the thread that asked for it to the one that frees it. Both ends of its memory hold its tag.
struct Parcel {
  std::uint64_t* memory;
  std::size_t words;
  std::uint64_t tag;
};

constexpr int mailboxes = 64;
std::array<std::atomic<Parcel*>, mailboxes> mail;

void seal(Parcel& parcel, std::uint64_t tag) {
  parcel.tag = tag;
  parcel.memory[0] = tag;
  parcel.memory[parcel.words - 1] = tag;
}

bool intact(const Parcel& parcel) {
  return parcel.memory[0] == parcel.tag && parcel.memory[parcel.words - 1] == parcel.tag;
}

void open_parcel(Parcel* parcel) {
  if (parcel == nullptr) return;
  if (!intact(*parcel)) ADD_FAILURE() << "memory of one block was written through another";
  nuv_serv_deallocate(parcel->memory);
  delete parcel;
}

/// Sizes from a few bytes to more than the pool takes; large ones are rare.
unsigned some_size(std::mt19937& random) {
  const unsigned draw = random();
  if (draw % 40'000 == 0) return above_the_pool;
  if (draw % 8'000 == 0) return mebibyte + random() % (largest_large - mebibyte);
  const unsigned common[] = {64, 512, 1024, largest_small};
  return draw % 4 == 0 ? 16 + random() % (largest_small - 16) : common[draw / 4 % 4];
}

void work(int round, int thread) {
  std::mt19937 random(static_cast<unsigned>(round * threads + thread));
  for (long i = 0; i < requests / rounds / threads; ++i) {
    const unsigned size = some_size(random);
    const bool travels = size <= largest_small && random() % 4 == 0;
    Parcel parcel = {static_cast<std::uint64_t*>(nuv_serv_allocate(size, work_alignment)), size / 8, 0};
    ASSERT_NE(parcel.memory, nullptr);
    seal(parcel, static_cast<std::uint64_t>(thread) << 32 | static_cast<std::uint32_t>(i));
    if (travels) {
      open_parcel(mail[random() % mailboxes].exchange(new Parcel(parcel)));
    } else {
      ASSERT_TRUE(intact(parcel));
      nuv_serv_deallocate(parcel.memory);
    }
    if (i % 5000 == 0) NUV_read_env();
  }
}

TEST(PoolStress, BlocksWanderBetweenThreads) {
  i_malloc = counting_malloc;
  i_free = counting_free;
  for (int round = 0; round < rounds; ++round) {
    std::vector<std::thread> workers;
    for (int thread = 0; thread < threads; ++thread) workers.emplace_back(work, round, thread);
    for (std::thread& worker : workers) worker.join();
    for (auto& box : mail) open_parcel(box.exchange(nullptr));
    // Trimming leaves slots that serve nobody, so that every other round starts with a table worn out. Packing it loses
    // sight of the blocks that it still holds, which therefore go first.
    if (round % 2 == 0) continue;
    nuv_free_extra_mem();
    NUV_shrink_mem_slots();
    EXPECT_EQ(live_blocks.load(), 0);
  }

  // All that was out at one time is one block of each thread and those in the mail. A block that is handed out may be
  // far larger than what was asked for.
  EXPECT_EQ(pool.mem_total_used, 0u);
  const long in_use = (threads + mailboxes) * static_cast<long>(largest_large + work_alignment) +
                      threads * static_cast<long>(above_the_pool);
  const long allocator_overhead = 64 * static_cast<long>(pool_slots);
  EXPECT_LE(peak_bytes.load(), static_cast<long>(max_mem_nonused) + in_use + allocator_overhead);
  RecordProperty("peak_mebibytes", static_cast<int>(peak_bytes.load() / mebibyte));
  std::printf("peak %ld MiB, at the end %ld MiB in %ld blocks\n", peak_bytes.load() / mebibyte,
              live_bytes.load() / mebibyte, live_blocks.load());

  EXPECT_EQ(live_blocks.load(), static_cast<long>(pool.mem_banks_really_used));
  EXPECT_GE(live_bytes.load(), static_cast<long>(pool.mem_total_allocated));
  nuv_free_extra_mem();
  EXPECT_EQ(live_blocks.load(), 0);
  EXPECT_EQ(live_bytes.load(), 0);
  EXPECT_EQ(pool.mem_total_allocated, 0u);
  i_malloc = std::malloc;
  i_free = std::free;
}

}  // namespace
}  // namespace nuv::test
