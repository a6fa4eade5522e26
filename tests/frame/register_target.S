/* void dump_registers()            writes what it was entered with into register_dump
 * void spoil_vector_registers()    leaves nothing in them
 *
 * Both go by the width in register_dump_width. */

#include "register_image.h"
#include "vector_registers.inc"

.section .note.GNU-stack, "", @progbits

    .text
    .globl dump_registers
    .type dump_registers, @function
dump_registers:
    .cfi_startproc

#if defined(__x86_64__)

    leaq register_dump(%rip), %r11
    movq %rax, GENERAL(AX)(%r11)
    movq %rbx, GENERAL(BX)(%r11)
    movq %rcx, GENERAL(CX)(%r11)
    movq %rdx, GENERAL(DX)(%r11)
    movq %rsi, GENERAL(SI)(%r11)
    movq %rdi, GENERAL(DI)(%r11)
    movq %rbp, GENERAL(BP)(%r11)
    movq %rsp, GENERAL(SP)(%r11)
    movq %r8, GENERAL(R8)(%r11)
    movq %r9, GENERAL(R9)(%r11)
    movq %r10, GENERAL(R10)(%r11)
    movq %r12, GENERAL(R12)(%r11)
    movq %r13, GENERAL(R13)(%r11)
    movq %r14, GENERAL(R14)(%r11)
    movq %r15, GENERAL(R15)(%r11)
    movq (%rsp), %rax
    movq %rax, GENERAL(RETURN_ADDRESS)(%r11)
    .set word, 0
    .rept STACK_WORDS
    movq 8 + 8 * word(%rsp), %rax
    movq %rax, IMAGE_STACK + 8 * word(%r11)
    .set word, word + 1
    .endr
    stmxcsr IMAGE_MXCSR(%r11)
    fnstcw IMAGE_X87_CONTROL(%r11)
    movl register_dump_width(%rip), %eax
    store_vectors %r11, %eax
    ret

#else

    call 1f
1:  popl %ecx
    addl $_GLOBAL_OFFSET_TABLE_ + (. - 1b), %ecx
    movl register_dump_width@GOTOFF(%ecx), %edx
    leal register_dump@GOTOFF(%ecx), %ecx
    movl %eax, GENERAL(AX)(%ecx)
    movl %ebx, GENERAL(BX)(%ecx)
    movl %esi, GENERAL(SI)(%ecx)
    movl %edi, GENERAL(DI)(%ecx)
    movl %ebp, GENERAL(BP)(%ecx)
    movl %esp, GENERAL(SP)(%ecx)
    movl (%esp), %eax
    movl %eax, GENERAL(RETURN_ADDRESS)(%ecx)
    .set word, 0
    .rept STACK_WORDS
    movl 4 + 4 * word(%esp), %eax
    movl %eax, IMAGE_STACK + 8 * word(%ecx)
    .set word, word + 1
    .endr
    stmxcsr IMAGE_MXCSR(%ecx)
    fnstcw IMAGE_X87_CONTROL(%ecx)
    store_vectors %ecx, %edx
    ret

#endif

    .cfi_endproc
    .size dump_registers, . - dump_registers

    .globl spoil_vector_registers
    .hidden spoil_vector_registers
    .type spoil_vector_registers, @function
spoil_vector_registers:
    .cfi_startproc
#if defined(__x86_64__)
    movl register_dump_width(%rip), %eax
#else
    call 1f
1:  popl %eax
    addl $_GLOBAL_OFFSET_TABLE_ + (. - 1b), %eax
    movl register_dump_width@GOTOFF(%eax), %eax
#endif
    FOR_LOW_VECTORS
    pxor %xmm\i, %xmm\i
    .endr
    cmpl $XMM_ONLY, %eax
    je 2f
    vzeroall
    cmpl $UP_TO_YMM, %eax
    je 2f
    FOR_ALL_VECTORS
    vpxord %zmm\i, %zmm\i, %zmm\i
    .endr
    FOR_MASKS
    kxorq %k\i, %k\i, %k\i
    .endr
2:  ret
    .cfi_endproc
    .size spoil_vector_registers, . - spoil_vector_registers
