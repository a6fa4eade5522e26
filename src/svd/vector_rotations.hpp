#pragma once

// Plane rotations by the vector: reductions of band matrices work on several bulges at once, which are far enough apart
// that their rotations have nothing in common (L. Kaufman, "Banded eigenvalue solvers on vector machines", ACM Trans.
// Math. Softw. 10, 1984). The third operation of the set, the rotation of pairs, is the kernel `lartv`.
//
// Rotation i has the real cosine c(i) and the sine s(i); all increments are positive. Nothing here checks its
// arguments.

#include "base/types.hpp"

namespace nuv {

/// Generates n rotations,
///
///     [     c(i)     s(i) ] [ x(i) ]   [ r(i) ]
///     [ -conj(s(i))  c(i) ] [ y(i) ] = [  0   ]
///
/// y(i) = 0 gives the identity, and otherwise x(i) = 0 gives c(i) = 0. Where an element is not finite, there may be
/// NaNs.
///
/// x       x(i) in, r(i) out
/// y       y(i) in, s(i) out
template <Scalar T>
void largv(Int n, T* x, Int incx, T* y, Int incy, Real<T>* c, Int incc);

/// Applies n rotations from both sides to as many symmetric (Hermitian) matrices of order two,
///
///     [     x(i)     z(i) ]      [  c(i)  conj(s(i)) ] [     x(i)     z(i) ] [ c(i)  -conj(s(i)) ]
///     [ conj(z(i))   y(i) ]  :=  [ -s(i)     c(i)    ] [ conj(z(i))   y(i) ] [ s(i)      c(i)    ]
///
/// With the elements below the diagonal, conj(z(i)), in the place of z it applies the rotations of largv from the left
/// and their adjoints from the right.
///
/// x, y, z  incx apart; x and y are real numbers: imaginary parts are not read and come out as zeros
/// c, s     incc apart
template <Scalar T>
void lar2v(Int n, T* x, T* y, T* z, Int incx, const Real<T>* c, const T* s, Int incc);

}  // namespace nuv
