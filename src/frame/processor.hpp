#pragma once

// The processor tier: a small integer for what the processor offers, the index of its kernel library in dll_cfg_names.
// The exported functions are declared in <nuv/nuv_services.h>.
//
//   -1          not found out yet
//   0           no SSE, or no cpuid instruction
//   1 2 3 4     SSE, SSE2, SSE3, SSSE3
//   -1 ... -4   that tier's library could not be opened, and entry 0 serves
//
// Tier 1 negated reads as not found out. That is accepted: nuv_serv_cpu_detect then tries once more, and
// nuv_serv_load_dll does not get there, since its handle is set.

namespace nuv {

/// The tier in use. Both loaders write it without a lock: all threads find the same tier, but one that comes between
/// the tier and the handle has entry 0 serve all of them if it binds first.
extern int nuv_cpu_type;

/// The tier that the environment asks for or the processor has, 0 to 4; leaves nuv_cpu_type alone. An override in the
/// environment beats the hardware, and may name a tier whose instructions the processor lacks.
int detect_tier();

/// Finds the tier out, has the configuration read and opens the tier's kernel library. The tier; 0 if that is the tier
/// or its library can't be opened, which negates nuv_cpu_type.
int bind_kernels_of_detected_tier();

}  // namespace nuv
