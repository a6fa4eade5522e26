#pragma once

// Names of the functions behind exported entries: a body has the exported name and the instruction set it is compiled
// for, NAME_avx2, and the entry of that name leads to it.

#define NUV_JOIN_(a, b) a##_##b
#define NUV_JOIN(a, b) NUV_JOIN_(a, b)

#define NUV_BODY(result, name) extern "C" __attribute__((visibility("hidden"))) result NUV_JOIN(name, NUV_ISA)
