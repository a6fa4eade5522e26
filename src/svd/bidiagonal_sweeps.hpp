#pragma once

// Sweeps of the implicit QR iteration on an upper bidiagonal matrix, with a shift (G. H. Golub, W. Kahan, "Calculating
// the singular values and pseudo-inverse of a matrix", SIAM J. Numer. Anal. 2, 1965) and with the shift zero, which
// keeps all values to high relative accuracy (J. Demmel, W. Kahan, "Accurate singular values of bidiagonal matrices",
// SIAM J. Sci. Stat. Comput. 11, 1990).
//
// Each step makes two rotations: one of columns, which goes to the right vectors, and one of rows, for the left ones.
// In sweeps from top to bottom that of columns is the first, in those from bottom to top that of rows.
//
// d, e    the diagonal and what is above it
// shift   the shift, not negative
// store   where the rotations go, element i for the plane (i, i + 1): cosines and sines of the first ones at i and
//         ldst + i, of the second 2 ldst off further
// off     may be negative
//
// Nothing here checks its arguments.

#include "base/types.hpp"

namespace nuv {

/// With a shift, from top to bottom, for a matrix of order count + 1.
template <RealScalar R>
void laq1(Int count, R* d, R* e, R shift, R* store, Int ldst, Int off);

/// With a shift, from bottom to top, for a matrix of order count. The sines are stored with the opposite sign.
template <RealScalar R>
void laq2(Int count, R* d, R* e, R shift, R* store, Int ldst, Int off);

/// With the shift zero, from top to bottom, for a matrix of order count + 1.
template <RealScalar R>
void laq3(Int count, R* d, R* e, R* store, Int ldst, Int off);

/// With the shift zero, from bottom to top, for a matrix of order count. The sines are stored with the opposite sign.
template <RealScalar R>
void laq4(Int count, R* d, R* e, R* store, Int ldst, Int off);

}  // namespace nuv
