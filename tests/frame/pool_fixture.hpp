#pragma once

// A pool in its first state on top of an allocator that notes what it is asked.

#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "frame/lock.hpp"
#include "frame/pool.hpp"
#include "frame/pool_model.hpp"

namespace nuv::test {

inline constexpr unsigned mebibyte = 1u << 20;
using Events = std::vector<std::string>;

/// What the hooks use.
inline FakeAllocator* allocator = nullptr;

/// Whether the pool's lock was held when a hook was called last.
inline bool lock_was_held = false;

inline bool lock_is_held() {
  if (pthread_mutex_trylock(&mutex) != 0) return true;
  pthread_mutex_unlock(&mutex);
  return false;
}

inline void* fake_malloc(std::size_t size) {
  lock_was_held = lock_is_held();
  return allocator->allocate(size);
}

inline void fake_free(void* block) {
  lock_was_held = lock_is_held();
  allocator->free(block);
}

inline std::string freed(void* block) {
  return allocator_event('-', reinterpret_cast<std::uintptr_t>(block));
}

template <class Action>
void in_another_thread(Action action) {
  std::thread(action).join();
}

/// A fresh pool on top of the fake allocator.
class Pool : public testing::Test {
 protected:
  Pool() {
    pool = {};
    env_readed = disable_fast_mm = -1;
    unsetenv("NUV_DISABLE_FAST_MM");
    unsetenv("NUV_MM_DISABLE");
    allocator = &fake;
    i_malloc = fake_malloc;
    i_free = fake_free;
  }

  ~Pool() override {
    EXPECT_FALSE(lock_is_held());
    i_malloc = std::malloc;
    i_free = std::free;
    pool = {};
    env_readed = disable_fast_mm = -1;
    unsetenv("NUV_DISABLE_FAST_MM");
    unsetenv("NUV_MM_DISABLE");
  }

  void expect_counters(unsigned banks, unsigned really, unsigned allocated, unsigned used) {
    EXPECT_EQ(pool.mem_banks_used, banks);
    EXPECT_EQ(pool.mem_banks_really_used, really);
    EXPECT_EQ(pool.mem_total_allocated, allocated);
    EXPECT_EQ(pool.mem_total_used, used);
  }

  void expect_empty(unsigned slot) {
    EXPECT_EQ(pool.mem[slot], nullptr);
    EXPECT_EQ(pool.mem_align[slot], nullptr);
    EXPECT_EQ(pool.mem_size[slot], 0u);
    EXPECT_EQ(pool.mem_size_r[slot], 0u);
    EXPECT_EQ(pool.mem_th[slot], 0u);
  }

  FakeAllocator fake;
};

}  // namespace nuv::test
