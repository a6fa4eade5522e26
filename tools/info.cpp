#include "info.hpp"

#include <cpuid.h>
#include <dlfcn.h>
#include <fmt/format.h>
#include <nuv/nuv_lapack.h>
#include <nuv/nuv_services.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string_view>

#include "base/instruction_set.hpp"
#include "error.hpp"
#include "report.hpp"

namespace nuv::tools {
namespace {

constexpr const char* tier_variable = "NUV_PROCESSOR_TIER";
constexpr std::array<std::string_view, 5> tier_names = {"no SSE", "SSE", "SSE2", "SSE3", "SSSE3"};

/// The file that the code at an address was loaded from.
std::string file_of(const void* address) {
  Dl_info found;
  if (address == nullptr || dladdr(address, &found) == 0) return "(unknown)";
  std::error_code error;
  const auto file = std::filesystem::canonical(found.dli_fname, error);
  return printable(error ? found.dli_fname : file.string());
}

using CpuidRegisters = std::array<unsigned, 4>;  // EAX, EBX, ECX, EDX

std::optional<CpuidRegisters> cpuid(unsigned leaf) {
  CpuidRegisters r;
  if (__get_cpuid(leaf, &r[0], &r[1], &r[2], &r[3]) == 0) return std::nullopt;
  return r;
}

template <std::size_t count>
void append_text(std::string& text, const std::array<unsigned, count>& registers) {
  std::array<char, sizeof registers> bytes;
  std::memcpy(bytes.data(), registers.data(), sizeof registers);
  text.append(bytes.data(), strnlen(bytes.data(), bytes.size()));
}

std::string vendor() {
  std::string text;
  if (const auto r = cpuid(0)) append_text(text, std::array{(*r)[1], (*r)[3], (*r)[2]});
  return text.empty() ? "unknown vendor" : printable(text);
}

// Three leaves hold the brand, 16 characters each, with blanks on the left or zeros on the right.
std::string brand() {
  std::string text;
  for (unsigned leaf = 0x80000002u; leaf <= 0x80000004u; ++leaf) {
    if (const auto r = cpuid(leaf)) append_text(text, *r);
  }
  const auto first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "no brand string";
  return printable(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

int hardware_tier() {
  if (NUV_CPUIDavailable() == 0) return 0;
  if (NUV_CPUhasSSSE3() != 0) return 4;
  if (NUV_CPUhasSSE3() != 0) return 3;
  if (NUV_CPUhasSSE2() != 0) return 2;
  return NUV_CPUhasSSE() != 0 ? 1 : 0;
}

/// The tier that the variable's text asks for, by the rules that the library applies: it begins with a number from 1 to
/// 4, or is "0"; any other text is as good as none.
std::optional<int> requested_tier(const char* text) {
  if (text == nullptr) return std::nullopt;
  const long tier = std::strtol(text, nullptr, 10);
  if (tier >= 1 && tier <= 4) return static_cast<int>(tier);
  return std::string_view(text) == "0" ? std::optional(0) : std::nullopt;
}

struct Choice {
  int tier;
  std::string reason;
};

Choice choice_of_tier() {
  const char* text = std::getenv(tier_variable);
  const std::string setting = fmt::format("{}={}", tier_variable, printable(text == nullptr ? "" : text));
  if (const auto tier = requested_tier(text)) return {*tier, "asked for by " + setting};
  const std::string ignored = text == nullptr || *text == '\0' ? "" : fmt::format("; {} is ignored", setting);
  return {hardware_tier(), "by the processor's features" + ignored};
}

std::string instruction_set() {
  const InstructionSetChoice choice = choose_instruction_set();
  const char* name = instruction_set_names[static_cast<int>(choice.set)];
  if (choice.forced) return fmt::format("{}, asked for by NUV_ISA", name);
  const std::string ignored =
      choice.ignored_value == nullptr ? "" : fmt::format("; NUV_ISA={} is ignored", printable(choice.ignored_value));
  return fmt::format("{}, the widest of the machine{}", name, ignored);
}

std::string_view configuration(int word) {
  switch (word) {
    case -777:
      return "a nuv.cfg was read";
    case -111:
      return "no nuv.cfg found, built-in defaults";
    default:
      return "not read";
  }
}

}  // namespace

void show_libraries() {
  const Choice choice = choice_of_tier();
  const int bound_tier = nuv_serv_cpu_detect();
  const int configuration_word = __nuv_cfg_file_readed_extern;  // the next reading of the file overwrites it
  nuv_serv_load_dll();
  const bool fell_back = choice.tier > 0 && bound_tier == 0;

  Report report("info");
  const auto tell = [&](std::string_view label, const std::string& key, const std::string& words) {
    report.line(label, words).fact(key, words);
  };
  tell("solver library", "solver_library", file_of(reinterpret_cast<const void*>(&nuv_lapack_dgesv)));
  tell("kernel library", "kernel_library", file_of(nuv_serv_load_fun("nuv_blas_dgemv")));
  tell("thread layer", "thread_layer", file_of(nuv_serv_load_thread_fun("nuv_blas_dgemm")));
  report.line("threads", fmt::format("{}", nuv_serv_nuv_get_max_threads()));
  tell("processor", "processor", fmt::format("{}, {}", vendor(), brand()));
  tell("instruction set", "instruction_set", instruction_set());
  tell("tier", "tier",
       fmt::format("{} ({}), {}{}", choice.tier, tier_names[static_cast<std::size_t>(choice.tier)], choice.reason,
                   fell_back ? "; its kernel library cannot be opened, that of tier 0 serves" : ""));
  tell("configuration", "configuration", std::string(configuration(configuration_word)));
  report.show();
}

}  // namespace nuv::tools
