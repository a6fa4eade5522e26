#include "base/instruction_set.hpp"

#include <cpuid.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace nuv {
namespace {

/// Register state that the system saves and restores: bits of XCR0.
std::uint32_t enabled_state() {
  std::uint32_t low, high;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

constexpr std::uint32_t avx_state = 0x06;     // SSE and AVX
constexpr std::uint32_t avx512_state = 0xe6;  // and opmask, upper halves, upper registers

constexpr bool has_all(unsigned word, unsigned bits) {
  return (word & bits) == bits;
}

}  // namespace

InstructionSet widest_instruction_set() {
  unsigned eax, ebx, ecx, edx;
  if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx)) return InstructionSet::sse2;
  if (!has_all(ecx, bit_OSXSAVE | bit_AVX | bit_FMA) || !has_all(enabled_state(), avx_state)) {
    return InstructionSet::sse2;
  }
  if (!__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) || !has_all(ebx, bit_AVX2 | bit_BMI2)) {
    return InstructionSet::sse2;
  }
  const bool avx512 =
      has_all(ebx, bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL) && has_all(enabled_state(), avx512_state);
  return avx512 ? InstructionSet::avx512 : InstructionSet::avx2;
}

InstructionSetChoice choose_instruction_set() {
  const InstructionSet widest = widest_instruction_set();
  const char* value = std::getenv("NUV_ISA");
  if (value == nullptr || *value == '\0') return {widest, false, nullptr};
  for (int i = 0; i <= static_cast<int>(widest); ++i) {
    if (std::strcmp(value, instruction_set_names[i]) == 0) return {static_cast<InstructionSet>(i), true, nullptr};
  }
  return {widest, false, value};
}

}  // namespace nuv
