/* What the registers and the stack hold when a function is entered, for C++ and for the assembly on both sides of the
 * call. Words that a machine does not have stay zero. */

#ifndef NUV_REGISTER_IMAGE_H
#define NUV_REGISTER_IMAGE_H

#define IMAGE_GENERAL 0
#define IMAGE_MXCSR 128
#define IMAGE_X87_CONTROL 132
#define IMAGE_MASKS 136
#define IMAGE_VECTORS 200
#define IMAGE_STACK 2248

/* Words of the caller's stack above the return address, 8 bytes each in the image. */
#define STACK_WORDS 24

/* Places of the general registers in the image. %r11 on x86-64, and %ecx and %edx on i386, carry no argument and
 * belong to the stub. */
#define AX 0
#define BX 1
#define SI 2
#define DI 3
#define BP 4
#define SP 5
#define RETURN_ADDRESS 6
#define CX 7
#define DX 8
#define R8 9
#define R9 10
#define R10 11
#define R12 12
#define R13 13
#define R14 14
#define R15 15

#define GENERAL(place) (IMAGE_GENERAL + 8 * place)

/* Widths of the vector registers that a machine has. */
#define XMM_ONLY 0
#define UP_TO_YMM 1
#define UP_TO_ZMM 2

#ifndef __ASSEMBLER__

#include <cstddef>
#include <cstdint>

namespace nuv::test {

struct RegisterImage {
  std::uint64_t general[16];
  std::uint32_t mxcsr;
  std::uint32_t x87_control;
  std::uint64_t masks[8];
  unsigned char vectors[32][64];
  std::uint64_t stack[STACK_WORDS];
};

static_assert(offsetof(RegisterImage, mxcsr) == IMAGE_MXCSR);
static_assert(offsetof(RegisterImage, x87_control) == IMAGE_X87_CONTROL);
static_assert(offsetof(RegisterImage, masks) == IMAGE_MASKS);
static_assert(offsetof(RegisterImage, vectors) == IMAGE_VECTORS);
static_assert(offsetof(RegisterImage, stack) == IMAGE_STACK);

inline int widest_vectors() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512bw")) return UP_TO_ZMM;
  return __builtin_cpu_supports("avx") ? UP_TO_YMM : XMM_ONLY;
}

}  // namespace nuv::test

#endif
#endif
