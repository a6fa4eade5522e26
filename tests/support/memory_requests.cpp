#include "support/memory_requests.hpp"

#include <nuv/nuv_services.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace nuv::test {
namespace {

[[maybe_unused]] const bool pool_is_off = setenv("NUV_MM_DISABLE", "1", 1) == 0;

/// Threads of the library ask and give back at the same time; what is counted lies under this lock.
std::mutex counting;
int refused_request, blocks;
std::vector<std::size_t> requests;

void* give_or_refuse(std::size_t size) {
  const std::scoped_lock lock(counting);
  requests.push_back(size);
  if (refused_request == MemoryRequests::all || refused_request == int(requests.size())) return nullptr;
  ++blocks;
  return std::malloc(size);
}

void take_back(void* block) {
  if (block == nullptr) return;
  const std::scoped_lock lock(counting);
  --blocks;
  std::free(block);
}

}  // namespace

MemoryRequests::MemoryRequests(int refused) {
  refused_request = refused;
  blocks = 0;
  requests.clear();
  i_malloc = give_or_refuse;
  i_free = take_back;
}

MemoryRequests::~MemoryRequests() {
  i_malloc = std::malloc;
  i_free = std::free;
}

int MemoryRequests::count() const {
  return int(requests.size());
}

bool MemoryRequests::included(std::size_t bytes) const {
  return std::find(requests.begin(), requests.end(), bytes) != requests.end();
}

int MemoryRequests::kept() const {
  return blocks;
}

}  // namespace nuv::test
