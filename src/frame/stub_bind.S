/* The cold path that all stubs of a library share. Keeps every register that can carry an argument, asks nuv_bind_stub
 * for the target of the stub's descriptor, and jumps there with the caller's stack as it was. */

.section .note.GNU-stack, "", @progbits

#if defined(__x86_64__)
#define WORD 8
#else
#define WORD 4
#endif

/* x87, SSE, AVX and AVX-512 state in the standard layout of xsave. */
#define STATE_AREA 2688

/* The target word of a stub. */
.macro stub_word name
    .local FunctionAddress.\name
    .comm FunctionAddress.\name, WORD, WORD
.endm

.macro stub_begin name
    .globl \name
    .type \name, @function
    .balign 16
\name:
    .cfi_startproc
.endm

.macro stub_end name
    .cfi_endproc
    .size \name, . - \name
.endm

/* On i386, the address by which data is reached; on x86-64 there is no need. */
.macro load_base
#if defined(__i386__)
    call stub_base
    addl $_GLOBAL_OFFSET_TABLE_, %ecx
#endif
.endm

/* Jumps through the target word; a word that is zero goes through stub_bind with the descriptor. The label 1 may be
 * jumped to from before. */
#if defined(__x86_64__)
.macro jump_to_target name
    movq FunctionAddress.\name(%rip), %r11
    testq %r11, %r11
    je 1f
    jmpq *%r11
1:  leaq .Ldescriptor.\name(%rip), %r11
    jmp stub_bind
.endm
#else
.macro jump_to_target name
    movl FunctionAddress.\name@GOTOFF(%ecx), %edx
    testl %edx, %edx
    je 1f
    jmpl *%edx
1:  leal .Ldescriptor.\name@GOTOFF(%ecx), %ecx
    jmp stub_bind
.endm
#endif

    .text

#if defined(__x86_64__)

/* In: %r11 the descriptor; the caller's stack and registers as at the call. Keeps all but %r11.
 *
 * Vector registers are saved whole by xsave where the system has it switched on, by fxsave elsewhere. */
    .type stub_bind, @function
    .balign 16
stub_bind:
    .cfi_startproc
    pushq %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset %rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register %rbp
    pushq %rbx
    .cfi_offset %rbx, -24
    pushq %r12
    .cfi_offset %r12, -32
    pushq %rax
    pushq %rcx
    pushq %rdx
    pushq %rsi
    pushq %rdi
    pushq %r8
    pushq %r9
    pushq %r10
    movq %r11, %r12
    subq $STATE_AREA, %rsp
    andq $-64, %rsp

    movl $1, %eax
    cpuid
    xorl %ebx, %ebx
    btl $27, %ecx                   /* OSXSAVE */
    jnc 1f
    xorl %ecx, %ecx
    xgetbv
    movl %eax, %ebx
    andl $0xe7, %ebx
    xorl %eax, %eax
    xorl %edx, %edx
    movl $8, %ecx
    leaq 512(%rsp), %rdi            /* the header must be zero before xsave */
    rep stosq
    movl %ebx, %eax
    xsave64 (%rsp)
    jmp 2f
1:  fxsave64 (%rsp)

2:  movq %r12, %rdi
    call nuv_bind_stub
    movq %rax, %r11

    testl %ebx, %ebx
    je 3f
    movl %ebx, %eax
    xorl %edx, %edx
    xrstor64 (%rsp)
    jmp 4f
3:  fxrstor64 (%rsp)
4:  leaq -80(%rbp), %rsp
    popq %r10
    popq %r9
    popq %r8
    popq %rdi
    popq %rsi
    popq %rdx
    popq %rcx
    popq %rax
    popq %r12
    popq %rbx
    popq %rbp
    .cfi_def_cfa %rsp, 8
    jmpq *%r11
    .cfi_endproc
    .size stub_bind, . - stub_bind

#else

/* Out: %ecx the address of the instruction behind the call. */
    .type stub_base, @function
stub_base:
    movl (%esp), %ecx
    ret

/* In: %ecx the descriptor; the caller's stack as at the call. Keeps all but %ecx. Vector registers as above. */
    .type stub_bind, @function
    .balign 16
stub_bind:
    .cfi_startproc
    pushl %ebp
    .cfi_def_cfa_offset 8
    .cfi_offset %ebp, -8
    movl %esp, %ebp
    .cfi_def_cfa_register %ebp
    pushl %ebx
    .cfi_offset %ebx, -12
    pushl %esi
    .cfi_offset %esi, -16
    pushl %edi
    .cfi_offset %edi, -20
    pushl %eax
    pushl %edx
    movl %ecx, %esi
    subl $STATE_AREA + 64, %esp
    andl $-64, %esp

    movl $1, %eax
    cpuid
    xorl %ebx, %ebx
    btl $27, %ecx                   /* OSXSAVE */
    jnc 1f
    xorl %ecx, %ecx
    xgetbv
    movl %eax, %ebx
    andl $0xe7, %ebx
    xorl %eax, %eax
    movl $16, %ecx
    leal 64 + 512(%esp), %edi       /* the header must be zero before xsave */
    rep stosl
    movl %ebx, %eax
    xorl %edx, %edx
    xsave 64(%esp)
    jmp 2f
1:  fxsave 64(%esp)

2:  movl %esi, (%esp)
    call nuv_bind_stub
    movl %eax, %ecx

    testl %ebx, %ebx
    je 3f
    movl %ebx, %eax
    xorl %edx, %edx
    xrstor 64(%esp)
    jmp 4f
3:  fxrstor 64(%esp)
4:  leal -20(%ebp), %esp
    popl %edx
    popl %eax
    popl %edi
    popl %esi
    popl %ebx
    popl %ebp
    .cfi_def_cfa %esp, 4
    jmpl *%ecx
    .cfi_endproc
    .size stub_bind, . - stub_bind

#endif
