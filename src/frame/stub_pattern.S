/* The dispatch stub: the one pattern behind every exported kernel and every routine with a threaded form.
 *
 * A stub jumps to its target through a word of its own, FunctionAddress, so that no argument is copied or moved: the
 * target sees the caller's frame and returns to the caller. While the word is zero, or (in the stubs that test it)
 * while no configuration file was looked for, the stub goes through stub_bind, which keeps every register that can
 * carry an argument, finds the target, and jumps there too. A target that does not exist is the address zero.
 *
 *   configured_kernel_stub NAME, SYMBOL    kernel library; tests the configuration word
 *   kernel_stub NAME, SYMBOL               kernel library
 *   layer_stub NAME, SYMBOL                thread layer
 *
 * SYMBOL is what the stub asks the library for. Its descriptor is the StubDescriptor of stub_binding.cpp. */

#define FAMILY_CONFIGURED_KERNEL 0
#define FAMILY_KERNEL 1
#define FAMILY_LAYER 2

#include "frame/stub_bind.S"

.macro stub_data name, symbol, family
    stub_word \name
    .section .rodata
    .balign 4
.Ldescriptor.\name:
    .long FunctionAddress.\name - .
    .long \family
    .asciz "\symbol"
    .text
.endm

/* The configuration word is exported data, so it is reached the way a program may have relocated it. */
.macro test_configuration
#if defined(__x86_64__)
    movq __nuv_cfg_file_readed_extern@GOTPCREL(%rip), %r11
    cmpl $0, (%r11)
#else
    movl __nuv_cfg_file_readed_extern@GOT(%ecx), %edx
    cmpl $0, (%edx)
#endif
    je 1f
.endm

.macro configured_kernel_stub name, symbol
    stub_data \name, \symbol, FAMILY_CONFIGURED_KERNEL
    stub_begin \name
    load_base
    test_configuration
    jump_to_target \name
    stub_end \name
.endm

.macro kernel_stub name, symbol
    stub_data \name, \symbol, FAMILY_KERNEL
    stub_begin \name
    load_base
    jump_to_target \name
    stub_end \name
.endm

.macro layer_stub name, symbol
    stub_data \name, \symbol, FAMILY_LAYER
    stub_begin \name
    load_base
    jump_to_target \name
    stub_end \name
.endm
