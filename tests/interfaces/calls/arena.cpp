#include "interfaces/calls/arena.hpp"

#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

bool memory_is_refused = false;
int reports = 0, overruns = 0;

constexpr std::size_t header_bytes = 32, guard_bytes = 512;
constexpr int guard = 0x5a;

/// Memory with its size in front and a guard behind, or null.
void* guarded_memory(std::size_t size) {
  if (memory_is_refused || size > PTRDIFF_MAX / 2) return nullptr;
  auto* const block = static_cast<unsigned char*>(std::malloc(header_bytes + size + guard_bytes));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &size, sizeof size);
  std::memset(block + header_bytes + size, guard, guard_bytes);
  return block + header_bytes;
}

void give_back(void* memory) {
  if (memory == nullptr) return;
  unsigned char* const block = static_cast<unsigned char*>(memory) - header_bytes;
  std::size_t size;
  std::memcpy(&size, block, sizeof size);
  const unsigned char* const behind = block + header_bytes + size;
  if (std::any_of(behind, behind + guard_bytes, [](unsigned char byte) { return byte != guard; })) ++overruns;
  std::free(block);
}

/// From before the library's first request on.
[[maybe_unused]] const bool hooks_are_set = [] {
  i_malloc = guarded_memory;
  i_free = give_back;
  return true;
}();

}  // namespace

// The handlers of a process take the place of the library's and of C++'s.
extern "C" int xerbla_(const char*, const int*, int) {
  return ++reports;
}

void* operator new(std::size_t size) {
  void* const memory = guarded_memory(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  give_back(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  give_back(memory);
}

namespace nuv_test {

RefusedMemory::RefusedMemory() {
  memory_is_refused = true;
}

RefusedMemory::~RefusedMemory() {
  memory_is_refused = false;
}

Arena::Arena() : memory_(new std::byte[regions * region_bytes]), first_(new std::byte[regions * region_bytes]) {}

void Arena::begin(const char* routine) {
  routine_ = routine;
  std::memset(memory_.get(), 0, regions * region_bytes);
  std::memset(is_scratch_, 0, sizeof is_scratch_);
  ++routines_;
}

bool Arena::next(int form) {
  if (form > 0 && is_over_) return false;
  is_over_ = leaves_no_result_ = false;
  reports = overruns = 0;
  result<double>() = 0;
  return true;
}

void Arena::form(const char* title) {
  is_over_ = title == nullptr;
  title_ = title;
  if (!is_over_ && std::strstr(title, "no memory") != nullptr) refused_ = std::make_unique<RefusedMemory>();
}

char& Arena::letter(int index, char letter) {
  return *array<char>(index) = letter;
}

int& Arena::zero(int index) {
  return *array<int>(index) = 0;
}

std::string Arena::here() const {
  return routine_ + ", " + title_;
}

void Arena::expect_memory(double status) {
  EXPECT_EQ(status, 0) << here();
}

void Arena::expect_no_memory(double status) {
  refused_.reset();
  leaves_no_result_ = true;
  EXPECT_EQ(status, NUV_NO_MEMORY) << here();
}

void Arena::expect_bad_alloc(bool thrown) {
  refused_.reset();
  leaves_no_result_ = true;
  EXPECT_TRUE(thrown) << here();
}

void Arena::compare() {
  if (is_over_ || leaves_no_result_) return;
  if (std::strcmp(title_, "exported") == 0) {
    std::memcpy(first_.get(), memory_.get(), regions * region_bytes);
    first_reports_ = reports;
    return;
  }
  for (int index = 0; index < regions; ++index) {
    const std::ptrdiff_t place = static_cast<std::ptrdiff_t>(index) * region_bytes;
    if (is_scratch_[index]) continue;
    EXPECT_EQ(std::memcmp(first_.get() + place, memory_.get() + place, region_bytes), 0)
        << here() << ": argument " << index + 1 << " differs";
  }
  EXPECT_EQ(reports, first_reports_) << here();
  EXPECT_EQ(overruns, 0) << here() << ": more is written than was allocated";
}

}  // namespace nuv_test
