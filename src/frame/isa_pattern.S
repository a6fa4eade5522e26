/* The entry of a routine that is compiled for several instruction sets: a stub whose target is the body for the set in
 * use, found at the first call. The bodies are NAME_sse2, NAME_avx2 and NAME_avx512 of the same library. A library that
 * is compiled for one set alone, NUV_ONE_SET, has no choice to make: its entries are jumps.
 *
 *   isa_stub NAME
 *
 * Its descriptor is the IsaDescriptor of isa_binding.cpp. */

#if defined(NUV_ONE_SET)

.section .note.GNU-stack, "", @progbits
    .text

/* The assembler joins the parts of a name only where the preprocessor has put the set in its place. */
.macro isa_stub_of_set name, set
    .globl \name
    .type \name, @function
    .balign 16
\name:
    jmp \name\()_\set
    .size \name, . - \name
.endm
.macro isa_stub name
    isa_stub_of_set \name, NUV_ONE_SET
.endm

#else

#include "frame/stub_bind.S"

.macro isa_stub name
    stub_word \name
    .section .rodata
    .balign 4
.Ldescriptor.\name:
    .long FunctionAddress.\name - .
    .long \name\()_sse2 - .
    .long \name\()_avx2 - .
    .long \name\()_avx512 - .
    .text
    stub_begin \name
    load_base
    jump_to_target \name
    stub_end \name
.endm

#endif
