#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace nuv::tools {

/// How many threads this process has processors for, up to a number that no disk needs.
inline std::size_t processors() {
  return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 8);
}

/// Runs work(0), ..., work(count - 1) at the same time, as far as threads can be had. An exception of the work comes
/// out, the first by number.
template <class Work>
void run_side_by_side(std::size_t count, Work work) {
  std::vector<std::exception_ptr> failures(count);
  const auto run = [&](std::size_t k) {
    try {
      work(k);
    } catch (...) {
      failures[k] = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> threads;
    threads.reserve(count);
    for (std::size_t k = 1; k < count; ++k) {
      try {
        threads.emplace_back(run, k);
      } catch (const std::system_error&) {
        run(k);
      }
    }
    if (count > 0) run(0);
  }
  for (const auto& failure : failures) {
    if (failure) std::rethrow_exception(failure);
  }
}

}  // namespace nuv::tools
