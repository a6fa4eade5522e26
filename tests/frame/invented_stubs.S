/* Stubs of invented names, in all three families: configured_kernel_NAME, kernel_NAME and layer_NAME ask for NAME. */

#include "frame/stub_pattern.S"

.macro stubs_of_a_family family
    .irp name, weigh_integers, weigh_doubles, mix, half, reciprocal, swapped, from_one, file_number, dump_registers
    \family\()_stub \family\()_\name, \name
    .endr
    \family\()_stub \family\()_dump_registers_again, dump_registers
.endm

stubs_of_a_family configured_kernel
stubs_of_a_family kernel
stubs_of_a_family layer
