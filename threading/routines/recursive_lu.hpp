#pragma once

// The right-looking recursive factorisation as a set of tasks on column blocks.
//
// The serial body halves the columns down to panels, and after each panel, of whatever width, brings the columns to its
// right up to date. Here every column block carries the list of what happens to it in that order: updates from the
// left, its own panel, exchanges that later panels ask for. A task may run once the columns it reads are far enough. So
// the next panel is factored while other threads still update the columns behind it, and every element goes through the
// very operations of the serial body.

#include "base/types.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Factors an m by n matrix on `threads` threads; a, ipiv and info as for the serial body. False, with nothing done, if
/// there is no memory for the tasks.
bool factor_by_tasks(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info, int threads);

}  // namespace nuv::threading::inline NUV_ISA
