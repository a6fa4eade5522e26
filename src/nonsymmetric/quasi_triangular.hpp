#pragma once

// Systems with a real quasi-triangular matrix, scaled so that nothing overflows.

#include "base/types.hpp"

namespace nuv {

/// Solves op(T) x = scale b, or op(T + iB) (p + iq) = scale (c + id) with
///
///     B = [ b(1) b(2) ... b(n) ]
///         [       w            ]
///         [           .        ]
///         [                w   ]
///
/// in real arithmetic. Nothing is checked.
///
/// ltran   true: op is the transpose, of the complex matrix the conjugate transpose
/// lreal   whether the system is real
/// n       order; nothing is done for n = 0
/// t       quasi-triangular with blocks in standard form, ldt >= max(1, n). The first is of order one if the system is
///         complex
/// b       n elements; complex systems alone
/// w       diagonal of B; complex systems alone
/// scale   at most 1
/// x       the right side in, the solution out: n elements, or 2n: the n real parts and then the imaginary ones
/// work    n elements
/// info    0, or 1: a diagonal block was replaced by one that is not singular
template <RealScalar T>
void laqtr(Logical ltran, Logical lreal, Int n, const T* t, Int ldt, const T* b, T w, T& scale, T* x, T* work,
           Int& info);

}  // namespace nuv
