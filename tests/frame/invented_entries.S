/* An entry with a body for each instruction set, of an invented name. */

#include "frame/isa_pattern.S"

isa_stub own_set
