#pragma once

// Processors that this machine does not have. A function runs in a child process one instruction at a time, and cpuid
// and the flag that tells of it are answered from here; the code under test is the one that ships, without a hook.

#include <string>
#include <vector>

namespace nuv::test {

struct MadeUpProcessor {
  bool has_cpuid = true;  ///< without it the ID flag can't be toggled, and meeting the instruction is an error
  std::string vendor = "GenuineMadeUp";
  unsigned leaf_1_ecx = 0;
  unsigned leaf_1_edx = 0;
};

struct SteppedRun {
  int result = -1;               ///< what the function returned, 0 to 255; -1 if it did not come to its end
  std::vector<unsigned> leaves;  ///< those that cpuid was asked for, in order
};

SteppedRun run_on(const MadeUpProcessor& processor, int (*function)());

}  // namespace nuv::test
