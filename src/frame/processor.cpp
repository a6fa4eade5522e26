#include "frame/processor.hpp"

#include <cpuid.h>
#include <nuv/nuv_services.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "frame/binding.hpp"
#include "frame/configuration.hpp"
#include "frame/plain_word.hpp"

namespace nuv {

int nuv_cpu_type = -1;

namespace {

/// Name of the variable that overrides the tier, each character i combined with (2i mod 5) + 1 by exclusive or.
constexpr char scrambled_override_name[] = "OVS]TSLFGWRLW]PHFW";

constexpr char vendor[] = "OrvoOrvoOrvo";

struct CpuidAnswer {
  unsigned eax, ebx, ecx, edx;
};

/// Runs the instruction, which must be there.
CpuidAnswer ask_cpuid(unsigned leaf) {
  CpuidAnswer answer;
  __cpuid(leaf, answer.eax, answer.ebx, answer.ecx, answer.edx);
  return answer;
}

bool edx_of_leaf_1_has(int bit) {
  return (ask_cpuid(1).edx >> bit & 1) != 0;
}
bool ecx_of_leaf_1_has(int bit) {
  return (ask_cpuid(1).ecx >> bit & 1) != 0;
}

/// The tier that the environment asks for, or -1. What stands behind a number doesn't matter. Zero is believed only
/// when written as the one character "0", since any text that is not a number reads as zero too.
int overriding_tier() {
  // Read through volatile: the compiler would otherwise work the name out and store it in the clear.
  const volatile char* stored = scrambled_override_name;
  char name[sizeof scrambled_override_name] = "";
  for (int i = 0; i + 1 < static_cast<int>(sizeof name); ++i) name[i] = static_cast<char>(stored[i] ^ (2 * i % 5 + 1));

  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return -1;
  const long tier = std::strtol(text, nullptr, 10);
  if (tier >= 1 && tier < tier_count) return static_cast<int>(tier);
  return std::strcmp(text, "0") == 0 ? 0 : -1;
}

}  // namespace

int detect_tier() {
  const int tier = overriding_tier();
  if (tier >= 0) return tier;
  if (!NUV_CPUIDavailable()) return 0;
  if (NUV_CPUhasSSSE3()) return 4;
  if (NUV_CPUhasSSE3()) return 3;
  if (NUV_CPUhasSSE2()) return 2;
  if (NUV_CPUhasSSE()) return 1;
  return 0;
}

int bind_kernels_of_detected_tier() {
  const int tier = detect_tier();
  plain_store(nuv_cpu_type, tier);
  read_configuration(0);
  if (tier < 1) return 0;
  if (bind_kernels_of(tier)) return tier;
  plain_store(nuv_cpu_type, -tier);
  return 0;
}

}  // namespace nuv

using namespace nuv;

int NUV_CPUIDavailable() {
  constexpr std::uintptr_t id_flag = 1u << 21;
  std::uintptr_t before, after;
#if defined(__x86_64__)
  asm volatile(
      "lea -128(%%rsp), %%rsp\n\t"  // leaves the red zone of the enclosing function alone
      "pushfq\n\t"
      "popq %0\n\t"
      "movq %0, %1\n\t"
      "xorq %2, %1\n\t"
      "pushq %1\n\t"
      "popfq\n\t"
      "pushfq\n\t"
      "popq %1\n\t"
      "lea 128(%%rsp), %%rsp"
      : "=&r"(before), "=&r"(after)
      : "i"(id_flag)
      : "cc", "memory");
#else
  asm volatile(
      "pushfl\n\t"
      "popl %0\n\t"
      "movl %0, %1\n\t"
      "xorl %2, %1\n\t"
      "pushl %1\n\t"
      "popfl\n\t"
      "pushfl\n\t"
      "popl %1"
      : "=&r"(before), "=&r"(after)
      : "i"(id_flag)
      : "cc", "memory");
#endif
  return ((before ^ after) & id_flag) != 0;
}

int NUV_CPUhasSSE() {
  return edx_of_leaf_1_has(25);
}
int NUV_CPUhasSSE2() {
  return edx_of_leaf_1_has(26);
}
int NUV_CPUhasSSE3() {
  return ecx_of_leaf_1_has(0);
}
int NUV_CPUhasSSSE3() {
  return ecx_of_leaf_1_has(9);
}
int NUV_CPUhasSSE41() {
  return ecx_of_leaf_1_has(19);
}

int NUV_CPUisORVO() {
  const CpuidAnswer answer = ask_cpuid(0);
  const unsigned found[] = {answer.ebx, answer.edx, answer.ecx};
  return std::memcmp(found, vendor, sizeof found) == 0;
}

int nuv_serv_cpu_detect() {
  const int known_tier = plain_load(nuv_cpu_type);
  return known_tier != -1 ? known_tier : bind_kernels_of_detected_tier();
}
