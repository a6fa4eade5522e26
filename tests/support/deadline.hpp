#pragma once

#include <string>

namespace nuv::test {

/// Ends the program, with a word on what hangs, if an instance lives for more seconds than it is given. One at a time.
class Deadline {
 public:
  Deadline(unsigned seconds, const std::string& what);
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;
};

}  // namespace nuv::test
