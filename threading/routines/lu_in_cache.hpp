#pragma once

// The right-looking LU factorisation of few columns on several threads.
//
// The serial body halves the columns down to panels, and after each panel, of whatever width, brings the columns to its
// right up to date:
//
//     1 2 | 3 | 3 4 5 | 5      an update by panel 1 reaches panel 2, one by the first half all of the second
//
// Here its narrowest panels that take the products are tasks, and so is each of its updates, for some columns at a
// time: while one thread factors a panel, others update the columns to its right. Every element goes through the very
// operations of the serial body.

#include "base/types.hpp"

namespace nuv::threading::inline NUV_ISA {

/// Whether an m by n matrix is one for this way.
bool is_factored_in_cache(Int m, Int n);

/// Factors such a matrix, or a taller one, on `threads` threads; a, ipiv and info as for the serial body. Gives the
/// longest time that the calling thread slept, in microseconds.
int factor_in_cache(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info, int threads);

}  // namespace nuv::threading::inline NUV_ISA
