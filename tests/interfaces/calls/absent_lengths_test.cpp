// Callers that pass no lengths behind the options, such as the short names of the Fortran module, have nothing of their
// stack changed: no routine writes where a length would stand, which would be its own to use if it were there.

#include <gtest/gtest.h>
#include <nuv/nuv_lapack.h>

#include <array>
#include <complex>
#include <cstddef>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

extern "C" unsigned call_with_canaries(void (*routine)(), void* const* arguments, unsigned count);

// Bad options are none of this test's business.
extern "C" int xerbla_(const char*, const int*, int) {
  return 0;
}

namespace {

struct Routine {
  const char* name;
  void (*address)();
  /// What each argument points to: f: a function of two numbers, n: integers, s, d, c, z: numbers of this precision;
  /// with a value in a small and in a large call iA,B: one integer, lAB: a letter.
  const char* arguments;
};

using F = void (*)();
const Routine routines[] = {
#include "absent_lengths.inc"
};

constexpr int most_arguments = 48, region_bytes = 1 << 18;

template <class T>
void fill(void* region) {
  T* const elements = static_cast<T*>(region);
  for (int i = 0; i < region_bytes / 2 / int{sizeof(T)}; ++i)
    elements[i] = i % 105 == 0 ? T(4) : T(0.125) / T(1 + i % 7);
}

int select_none(const void*, const void*) {
  return 0;
}

/// What the arguments of a call point to.
class Arguments {
 public:
  Arguments() : memory_(new std::byte[most_arguments * region_bytes]) {}

  /// Returns their number.
  unsigned prepare(const Routine& routine, bool is_large) {
    std::istringstream texts(routine.arguments);
    unsigned count = 0;
    for (std::string text; texts >> text; ++count) {
      pointers_[count] = text[0] == 'f' ? reinterpret_cast<void*>(select_none) : memory_.get() + count * region_bytes;
      if (text[0] != 'f') prepare(text, is_large, pointers_[count]);
    }
    return count;
  }

  void* const* pointers() const { return pointers_.data(); }

 private:
  static void prepare(const std::string& text, bool is_large, void* region) {
    int* const integers = static_cast<int*>(region);
    switch (text[0]) {
      case 'i':
        integers[0] = std::stoi(text.substr(is_large ? text.find(',') + 1 : 1));
        break;
      case 'l':
        *static_cast<char*>(region) = text[is_large ? 2 : 1];
        break;
      case 'n':
        for (int i = 0; i < 1000; ++i) integers[i] = i + 1;
        break;
      case 's':
        fill<float>(region);
        break;
      case 'd':
        fill<double>(region);
        break;
      case 'c':
        fill<std::complex<float>>(region);
        break;
      default:
        fill<std::complex<double>>(region);
    }
  }

  std::unique_ptr<std::byte[]> memory_;
  std::array<void*, most_arguments> pointers_{};
};

TEST(AbsentLengths, LeaveTheCallersStackAlone) {
  Arguments arguments;
  for (const Routine& routine : routines) {
    for (const bool is_large : {false, true}) {
      const unsigned count = arguments.prepare(routine, is_large);
      EXPECT_EQ(call_with_canaries(routine.address, arguments.pointers(), count), 0U)
          << routine.name << (is_large ? ", large" : ", small");
    }
  }
  EXPECT_GT(std::size(routines), 400U);
}

/// Does what a routine must not do: it takes the place behind its arguments for its own.
extern "C" void writes_behind_its_arguments(void*, void*, void*, void*, void*, void*, void*, void* behind) {
  asm volatile("movb $0, %0" : "+m"(behind));
}

TEST(AbsentLengths, CanariesNoticeARoutineThatWrites) {
  std::array<void*, 8> arguments{};
  const auto routine = reinterpret_cast<void (*)()>(writes_behind_its_arguments);
  EXPECT_EQ(call_with_canaries(routine, arguments.data(), 7), 1U);
  EXPECT_EQ(call_with_canaries(routine, arguments.data(), 8), 0U);
}

}  // namespace
