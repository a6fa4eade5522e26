#include "threading/threaded/waiting.hpp"

#include <immintrin.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <climits>

namespace nuv::threading {
namespace {

std::int64_t now_in_nanoseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/// A thread that was not running for so long between two looks at the clock has lost its processor to another.
constexpr std::int64_t held_up = 50'000;

bool is_other(const std::uint32_t& word, std::uint32_t value) {
  return __atomic_load_n(&word, __ATOMIC_ACQUIRE) != value;
}

}  // namespace

std::int64_t now_in_microseconds() {
  return now_in_nanoseconds() / 1000;
}

bool watch(const std::uint32_t& word, std::uint32_t value, int microseconds) {
  constexpr int looks = 16;
  const std::int64_t start = now_in_nanoseconds();
  for (std::int64_t before = start;;) {
    for (int i = 0; i < looks; ++i) {
      if (is_other(word, value)) return true;
      _mm_pause();
    }
    const std::int64_t now = now_in_nanoseconds();
    if (now - start > microseconds * std::int64_t{1000} || now - before > held_up) return is_other(word, value);
    before = now;
  }
}

void sleep_while(const std::uint32_t& word, std::uint32_t value) {
  syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

void wake_all(const std::uint32_t& word) {
  syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

}  // namespace nuv::threading
