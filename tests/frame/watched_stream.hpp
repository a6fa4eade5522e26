#pragma once

#include <sys/types.h>

#include <cstdio>
#include <functional>
#include <utility>

namespace nuv::test {

/// In its scope, what is printed to a standard stream goes nowhere, and each call that prints is told of.
class WatchedStream {
 public:
  WatchedStream(std::FILE*& stream, std::function<void()> on_print) : stream_(stream), on_print_(std::move(on_print)) {
    cookie_io_functions_t functions = {};
    functions.write = [](void* self, const char*, std::size_t size) {
      static_cast<WatchedStream*>(self)->on_print_();
      return static_cast<ssize_t>(size);
    };
    replaced_ = std::exchange(stream_, fopencookie(this, "w", functions));
    setvbuf(stream_, nullptr, _IONBF, 0);
  }
  WatchedStream(const WatchedStream&) = delete;
  WatchedStream& operator=(const WatchedStream&) = delete;
  ~WatchedStream() { std::fclose(std::exchange(stream_, replaced_)); }

 private:
  std::FILE*& stream_;
  std::FILE* replaced_;
  std::function<void()> on_print_;
};

}  // namespace nuv::test
