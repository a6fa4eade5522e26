#pragma once

// Sylvester equations between blocks of a real Schur form.

#include "base/types.hpp"

namespace nuv {

/// Solves op(TL) X + isgn X op(TR) = scale B, a linear system of order n1 n2, by elimination with complete pivoting.
///
/// ltranl  true: op(TL) = TL^T;  ltranr  the same for TR
/// isgn    1 or -1
/// n1, n2  orders of TL and TR, 0 to 2; if one of them is zero nothing is done
/// tl      n1 by n1, ldtl >= max(1, n1)
/// tr      n2 by n2, ldtr >= max(1, n2)
/// b       n1 by n2, ldb >= max(1, n1)
/// scale   at most 1, so that X does not overflow
/// x       n1 by n2, ldx >= max(1, n1)
/// xnorm   infinity-norm of X
/// info    1 if TL and -isgn TR have too close eigenvalues: a pivot was replaced, and X solves a system nearby
template <RealScalar T>
void lasy2(Logical ltranl, Logical ltranr, Int isgn, Int n1, Int n2, const T* tl, Int ldtl, const T* tr, Int ldtr,
           const T* b, Int ldb, T& scale, T* x, Int ldx, T& xnorm, Int& info);

}  // namespace nuv
