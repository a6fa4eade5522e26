#pragma once

// Work in two pieces, of which a helper has the one that takes long.

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace nuv::threading {

/// The caller's piece waits until a helper has begun the other. Should none come in seconds, which a test has to look
/// at, the caller does both.
struct SlowHelper {
  std::chrono::milliseconds duration;  ///< of the helper's piece
  pid_t caller = gettid();
  std::atomic<bool> is_at_work = false;

  static void do_piece(void* context, int) {
    SlowHelper& both = *static_cast<SlowHelper*>(context);
    if (gettid() != both.caller) {
      both.is_at_work = true;
      std::this_thread::sleep_for(both.duration);
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!both.is_at_work && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  }
};

}  // namespace nuv::threading
