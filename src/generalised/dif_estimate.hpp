#pragma once

// The look-ahead of estimates of Dif, the separation of two pencils (B. Kagstrom and L. Westin, "Generalized Schur
// methods with condition estimators for solving the generalized Sylvester equation", IEEE Trans. Autom. Control 34,
// 1989; B. Kagstrom and P. Poromaa, ACM Trans. Math. Softw. 22, 1996).

#include "base/types.hpp"

namespace nuv {

/// Solves Z x = b for a right side that it chooses, near the given one and so that x becomes large, and adds the
/// squares of x to a sum.
///
/// ijob    2: b = rhs + y or rhs - y, whichever makes x larger, where y is a unit vector near the left null vector of
///         Z, from an estimate of its condition. Any other: each element of b is that of P rhs plus 1 or minus 1,
///         decided one by one with a look ahead at those to come
/// n       order of Z, at most 8; for more nothing is done
/// z       n by n, ldz >= max(1, n); the factors of Z by getc2
/// rhs     n elements; what earlier systems have left for this one in, x out
/// rdsum   the sum of squares so far is rdscal^2 rdsum; out with those of x
/// rdscal  scale of that sum, so that no square overflows; 0 and a rdsum of 1 begin a sum
/// ipiv    n row exchanges, as getc2 leaves them
/// jpiv    n column exchanges, as getc2 leaves them
template <Scalar T>
void latdf(Int ijob, Int n, const T* z, Int ldz, T* rhs, Real<T>& rdsum, Real<T>& rdscal, const Int* ipiv,
           const Int* jpiv);

}  // namespace nuv
