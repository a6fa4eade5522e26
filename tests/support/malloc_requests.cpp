#include "support/malloc_requests.hpp"

#include <dlfcn.h>

#include <atomic>

namespace nuv::test {
namespace {

std::atomic<bool> is_counting, refuses;
std::atomic<int> requests, blocks;
std::atomic<std::size_t> bytes_asked_for;

/// The function of that name which this program's own one hides.
template <class Function>
Function* hidden(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

MallocRequests::MallocRequests(Answer answer) {
  requests = blocks = 0;
  bytes_asked_for = 0;
  refuses = answer == Answer::refused;
  is_counting = true;
}

MallocRequests::~MallocRequests() {
  is_counting = false;
}

int MallocRequests::count() const {
  return requests;
}

std::size_t MallocRequests::bytes() const {
  return bytes_asked_for;
}

int MallocRequests::kept() const {
  return blocks;
}

}  // namespace nuv::test

using namespace nuv::test;

extern "C" void* malloc(std::size_t size) {
  static const auto next = hidden<void*(std::size_t)>("malloc");
  if (is_counting) {
    ++requests;
    bytes_asked_for += size;
    if (refuses) return nullptr;
    ++blocks;
  }
  return next(size);
}

extern "C" void free(void* block) {
  static const auto next = hidden<void(void*)>("free");
  if (is_counting && block != nullptr) --blocks;
  next(block);
}
