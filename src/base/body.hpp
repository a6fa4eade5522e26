#pragma once

// Names of the functions behind exported entries. A body has the exported name and the instruction set it is compiled
// for, NAME_avx2, and the entry chooses among them; a library with one instruction set has no choice to make, and its
// bodies have the exported names themselves.

#define NUV_JOIN_(a, b) a##_##b
#define NUV_JOIN(a, b) NUV_JOIN_(a, b)

#if defined(NUV_ONLY_BODY)
#define NUV_BODY(result, name) extern "C" __attribute__((visibility("default"))) result name
#else
#define NUV_BODY(result, name) extern "C" __attribute__((visibility("hidden"))) result NUV_JOIN(name, NUV_ISA)
#endif
