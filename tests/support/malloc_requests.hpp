#pragma once

// Requests to the malloc of the C library itself, which the rotation tables of the QR iterations come from. A program
// that uses this has a malloc and a free of its own in front of those.

#include <cstddef>

namespace nuv::test {

/// Counts the requests of the whole program while it lives, and may refuse them. One at a time.
class MallocRequests {
 public:
  enum class Answer { granted, refused };

  explicit MallocRequests(Answer answer = Answer::granted);
  ~MallocRequests();
  MallocRequests(const MallocRequests&) = delete;
  MallocRequests& operator=(const MallocRequests&) = delete;

  int count() const;

  /// Asked for by all of them together.
  std::size_t bytes() const;

  /// Blocks that were given and not given back.
  int kept() const;
};

}  // namespace nuv::test
