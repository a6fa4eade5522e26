/* unsigned call_with_canaries(void (*routine)(void), void* const* arguments, unsigned count)
 *
 * Calls a routine that takes nothing but pointers, with a known word in each place of the stack behind the last of them,
 * where further arguments would stand, and tells how many of these words the routine has changed. */

#define WORDS 64
#define CANARY 0x5ca1ab1e

  .text
  .globl call_with_canaries
  .type call_with_canaries, @function

#if defined(__x86_64__)

call_with_canaries:
  push %rbp
  mov %rsp, %rbp
  push %r12
  push %r13
  push %r14
  push %r15
  sub $8 * WORDS, %rsp
  mov %rdi, %r12
  mov %rsi, %r13
  mov %edx, %r14d
  mov %rsp, %rdi
  mov $WORDS, %ecx
  mov $CANARY, %eax
  rep stosq
  /* Arguments from the seventh on stand on the stack. */
  sub $6, %r14d
  jns 1f
  xor %r14d, %r14d
1:
  mov %r14d, %ecx
  lea 48(%r13), %rsi
  mov %rsp, %rdi
  rep movsq
  mov (%r13), %rdi
  mov 8(%r13), %rsi
  mov 16(%r13), %rdx
  mov 24(%r13), %rcx
  mov 32(%r13), %r8
  mov 40(%r13), %r9
  call *%r12
  xor %eax, %eax
2:
  cmpq $CANARY, (%rsp, %r14, 8)
  je 3f
  inc %eax
3:
  inc %r14d
  cmp $WORDS, %r14d
  jb 2b
  lea -32(%rbp), %rsp
  pop %r15
  pop %r14
  pop %r13
  pop %r12
  pop %rbp
  ret

#else

call_with_canaries:
  push %ebp
  mov %esp, %ebp
  push %ebx
  push %esi
  push %edi
  sub $4 * WORDS, %esp
  and $-16, %esp
  mov %esp, %edi
  mov $WORDS, %ecx
  mov $CANARY, %eax
  rep stosl
  mov 12(%ebp), %esi
  mov 16(%ebp), %ecx
  mov %esp, %edi
  rep movsl
  call *8(%ebp)
  fninit /* a value may have come back on the stack of the floating-point unit */
  xor %eax, %eax
  mov 16(%ebp), %ecx
2:
  cmpl $CANARY, (%esp, %ecx, 4)
  je 3f
  inc %eax
3:
  inc %ecx
  cmp $WORDS, %ecx
  jb 2b
  lea -12(%ebp), %esp
  pop %edi
  pop %esi
  pop %ebx
  pop %ebp
  ret

#endif

  .size call_with_canaries, . - call_with_canaries
  .section .note.GNU-stack, "", @progbits
