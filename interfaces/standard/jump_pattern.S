/* A published name for a routine whose conventions are the same: a jump that touches no argument, and nothing is bound
 * at the call, for the loader fills the word before.
 *
 *   standard_jump NAME, TARGET */

.section .note.GNU-stack, "", @progbits
    .text

.macro standard_jump name, target
    .globl \name
    .type \name, @function
    .balign 16
\name:
    .cfi_startproc
#if defined(__x86_64__)
    jmpq *\target@GOTPCREL(%rip)
#else
    call jump_base
    addl $_GLOBAL_OFFSET_TABLE_, %ecx
    jmpl *\target@GOT(%ecx)
#endif
    .cfi_endproc
    .size \name, . - \name
.endm

#if defined(__i386__)
/* Out: %ecx the address of the instruction behind the call. */
    .type jump_base, @function
jump_base:
    movl (%esp), %ecx
    ret
    .size jump_base, . - jump_base
#endif
