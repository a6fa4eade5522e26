#pragma once

// Extreme singular values of a triangle that grows by a column at a time.

#include "base/types.hpp"

namespace nuv {

/// Carries an estimate of the largest or smallest singular value of a triangle R over to the triangle with one column
/// more, without R (C. H. Bischof, "Incremental condition estimation", SIAM J. Matrix Anal. Appl. 11, 1990):
///
///     R+ = (R w)    (s x)^H R+ as long as can be (job 1) or as short as can be (job 2) for |s|^2 + |c|^2 = 1,
///          (0 g)    ( c )    g for gamma
///
/// where x^H R is known to be of length sest. That length is exact for the vector in question, so that it is a lower
/// bound of the largest singular value, or an upper one of the smallest. R may be any matrix with j rows. Where one of
/// sest, gamma and x^H w is negligible beside the others it is left out.
///
/// job     1: the largest, 2: the smallest singular value; for any other nothing is done
/// j       rows of R
/// x       j elements, a vector of length one
/// sest    length of x^H R, not negative
/// w       j elements, the column that joins R
/// gamma   the diagonal element below it
/// sestpr  length of the product above
/// s, c    factors that make (s x, c), a vector of length one, of x
template <Scalar T>
void laic1(Int job, Int j, const T* x, Real<T> sest, const T* w, T gamma, Real<T>& sestpr, T& s, T& c);

}  // namespace nuv
