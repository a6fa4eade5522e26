#pragma once

namespace nuv {

/// The instruction sets for which the inner loops are compiled, in rising order.
enum class InstructionSet { sse2, avx2, avx512 };

inline constexpr int instruction_set_count = 3;
inline constexpr const char* instruction_set_names[instruction_set_count] = {"sse2", "avx2", "avx512"};

/// The widest set that processor and system offer. "avx2" includes FMA; "avx512" its foundation, DQ, BW and VL parts.
InstructionSet widest_instruction_set();

struct InstructionSetChoice {
  InstructionSet set;
  bool forced;                ///< NUV_ISA decided
  const char* ignored_value;  ///< what NUV_ISA says if that is unknown or not supported here, else null
};

/// The set to work with: what the environment variable NUV_ISA names if the machine has it, else the widest.
InstructionSetChoice choose_instruction_set();

}  // namespace nuv
