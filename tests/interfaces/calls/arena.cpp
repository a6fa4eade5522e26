#include "interfaces/calls/arena.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace {

bool memory_is_refused = false;
int reports = 0;

void* no_memory(std::size_t) {
  return nullptr;
}

}  // namespace

// The handlers of a process take the place of the library's and of C++'s.
extern "C" int xerbla_(const char*, const int*, int) {
  return ++reports;
}

void* operator new(std::size_t size) {
  void* const memory = memory_is_refused ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace nuv_test {

RefusedMemory::RefusedMemory() {
  memory_is_refused = true;
  i_malloc = no_memory;
}

RefusedMemory::~RefusedMemory() {
  memory_is_refused = false;
  i_malloc = std::malloc;
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
  reports = 0;
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
}

}  // namespace nuv_test
