/* The entry of a routine that is compiled for several instruction sets: a stub whose target is the body for the set in
 * use, found at the first call. The bodies are NAME_sse2, NAME_ssse3, NAME_avx2 and NAME_avx512 of the same library.
 *
 *   isa_stub NAME
 *
 * Its descriptor is the IsaDescriptor of isa_binding.cpp. */

#include "frame/stub_bind.S"

.macro isa_stub name
    stub_word \name
    .section .rodata
    .balign 4
.Ldescriptor.\name:
    .long FunctionAddress.\name - .
    .long \name\()_sse2 - .
#if defined(__x86_64__)
    .long \name\()_ssse3 - .
    .long \name\()_avx2 - .
    .long \name\()_avx512 - .
#endif
    .text
    stub_begin \name
    load_base
    jump_to_target \name
    stub_end \name
.endm
