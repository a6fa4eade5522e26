#pragma once

#include "base/types.hpp"

namespace nuv {

/// Settings of the blocked routines.
///
/// ispec        1: block size, 2: smallest useful block size, 3: size below which the unblocked code is taken
/// name         upper-case routine name, read as six characters whatever its length says; letter case is ignored
/// opts         the routine's option characters, joined
/// n1 ... n4    the routine's problem sizes, -1 where there is none
///
/// Answers -1 for an ispec outside 1 to 16; a name that the table does not hold gets 1, 2 and 0 for ispec 1, 2 and 3.
Int ilaenv(Int ispec, Text name, Text opts, Int n1, Int n2, Int n3, Int n4);

}  // namespace nuv
