#pragma once

// The right-looking LU factorisation on several threads.
//
// The serial body halves the columns down to panels, and after each panel, of whatever width, brings the columns to its
// right up to date. The product behind an update cuts its inner dimension into blocks of Block::depth, and the solve
// halves its triangle down to such blocks; so an update by a panel of some power of two times that depth is, operation
// for operation, the updates by the panel's strips of that depth, one after the other. Here every strip updates what
// lies to its right as soon as it is factored: the next strip is factored while other threads still update the columns
// behind it, and every element goes through the very operations of the serial body.

#include "base/types.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Factors an m by n matrix on `threads` threads; a, ipiv and info as for the serial body. False, with nothing done, if
/// the serial body doesn't divide into strips or there is no memory for the schedule.
bool factor_by_strips(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info, int threads);

}  // namespace nuv::threading::inline NUV_ISA
