#pragma once

// Requests for memory, one by one. A program that compiles memory_requests.cpp has the pool switched off, so that each
// request of a routine comes to the hooks.

#include <cstddef>

namespace nuv::test {

/// Counts the requests while it lives, and refuses one of them or all.
class MemoryRequests {
 public:
  static constexpr int none = 0, all = -1;

  /// refused  number of the request that is refused, from 1 on
  explicit MemoryRequests(int refused = none);
  ~MemoryRequests();
  MemoryRequests(const MemoryRequests&) = delete;
  MemoryRequests& operator=(const MemoryRequests&) = delete;

  int count() const;

  /// Whether one of them was for so many bytes.
  bool included(std::size_t bytes) const;

  /// Blocks that were given and not given back.
  int kept() const;
};

}  // namespace nuv::test
