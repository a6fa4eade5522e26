/* void call_with_registers(RegisterImage* image, void (*function)(), int width)
 *
 * Calls a function with every register and STACK_WORDS words of stack as the image says, and notes in the image what
 * stack pointer and return address the function will see. */

#include "register_image.h"
#include "vector_registers.inc"

.section .note.GNU-stack, "", @progbits

    .text
    .globl call_with_registers
    .type call_with_registers, @function
call_with_registers:
    .cfi_startproc

#if defined(__x86_64__)

    pushq %rbx
    pushq %rbp
    pushq %r12
    pushq %r13
    pushq %r14
    pushq %r15
    subq $24, %rsp                  /* MXCSR, x87 control word, width; from here on aligned to 16 */
    .cfi_def_cfa_offset 80
    stmxcsr (%rsp)
    fnstcw 4(%rsp)
    movl %edx, 8(%rsp)
    movq %rsi, %r11

    subq $8 * STACK_WORDS, %rsp
    .cfi_adjust_cfa_offset 8 * STACK_WORDS
    .set word, 0
    .rept STACK_WORDS
    movq IMAGE_STACK + 8 * word(%rdi), %rax
    movq %rax, 8 * word(%rsp)
    .set word, word + 1
    .endr
    leaq -8(%rsp), %rax
    movq %rax, GENERAL(SP)(%rdi)
    leaq 1f(%rip), %rax
    movq %rax, GENERAL(RETURN_ADDRESS)(%rdi)

    load_vectors %rdi, %edx
    ldmxcsr IMAGE_MXCSR(%rdi)
    fldcw IMAGE_X87_CONTROL(%rdi)
    movq GENERAL(AX)(%rdi), %rax
    movq GENERAL(BX)(%rdi), %rbx
    movq GENERAL(CX)(%rdi), %rcx
    movq GENERAL(DX)(%rdi), %rdx
    movq GENERAL(SI)(%rdi), %rsi
    movq GENERAL(BP)(%rdi), %rbp
    movq GENERAL(R8)(%rdi), %r8
    movq GENERAL(R9)(%rdi), %r9
    movq GENERAL(R10)(%rdi), %r10
    movq GENERAL(R12)(%rdi), %r12
    movq GENERAL(R13)(%rdi), %r13
    movq GENERAL(R14)(%rdi), %r14
    movq GENERAL(R15)(%rdi), %r15
    movq GENERAL(DI)(%rdi), %rdi
    call *%r11
1:  addq $8 * STACK_WORDS, %rsp
    .cfi_adjust_cfa_offset -8 * STACK_WORDS

    ldmxcsr (%rsp)
    fldcw 4(%rsp)
    cmpl $XMM_ONLY, 8(%rsp)
    je 2f
    vzeroupper
2:  addq $24, %rsp
    popq %r15
    popq %r14
    popq %r13
    popq %r12
    popq %rbp
    popq %rbx
    .cfi_def_cfa_offset 8
    ret

#else

    pushl %ebx
    pushl %ebp
    pushl %esi
    pushl %edi
    movl 20(%esp), %edi             /* image */
    movl 24(%esp), %ecx             /* function */
    movl 28(%esp), %edx             /* width */
    subl $12, %esp                  /* MXCSR, x87 control word, width; from here on aligned to 16 */
    .cfi_def_cfa_offset 32
    stmxcsr (%esp)
    fnstcw 4(%esp)
    movl %edx, 8(%esp)

    subl $4 * STACK_WORDS, %esp
    .cfi_adjust_cfa_offset 4 * STACK_WORDS
    .set word, 0
    .rept STACK_WORDS
    movl IMAGE_STACK + 8 * word(%edi), %eax
    movl %eax, 4 * word(%esp)
    .set word, word + 1
    .endr
    leal -4(%esp), %eax
    movl %eax, GENERAL(SP)(%edi)
    call 3f
3:  popl %eax
    addl $1f - 3b, %eax
    movl %eax, GENERAL(RETURN_ADDRESS)(%edi)

    load_vectors %edi, %edx
    ldmxcsr IMAGE_MXCSR(%edi)
    fldcw IMAGE_X87_CONTROL(%edi)
    movl GENERAL(AX)(%edi), %eax
    movl GENERAL(BX)(%edi), %ebx
    movl GENERAL(SI)(%edi), %esi
    movl GENERAL(BP)(%edi), %ebp
    movl GENERAL(DI)(%edi), %edi
    call *%ecx
1:  addl $4 * STACK_WORDS, %esp
    .cfi_adjust_cfa_offset -4 * STACK_WORDS

    ldmxcsr (%esp)
    fldcw 4(%esp)
    cmpl $XMM_ONLY, 8(%esp)
    je 2f
    vzeroupper
2:  addl $12, %esp
    popl %edi
    popl %esi
    popl %ebp
    popl %ebx
    .cfi_def_cfa_offset 4
    ret

#endif

    .cfi_endproc
    .size call_with_registers, . - call_with_registers
