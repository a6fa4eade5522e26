#pragma once

// Sylvester equations with coefficients in Schur form, by substitution (R. H. Bartels and G. W. Stewart, "Solution of
// the matrix equation AX + XB = C", Algorithm 432, CACM 15, 1972).

#include "base/types.hpp"

namespace nuv {

/// Solves op(A) X + isgn X op(B) = scale C.
///
/// trana   'N': op(A) = A, 'T' (real) or 'C': op(A) = A^H;  tranb  the same for B
/// isgn    1 or -1
/// m, n    orders of A and B
/// a       m by m Schur form, real with blocks in standard form, lda >= max(1, m)
/// b       n by n Schur form, ldb >= max(1, n)
/// c       m by n, ldc >= max(1, m); the right side in, X out
/// scale   at most 1, so that X does not overflow
/// info    0; 1: A and -isgn B have common or very close eigenvalues, X solves an equation with perturbed ones; or -k:
///         argument k was bad (reported)
template <Scalar T>
void trsyl(char trana, char tranb, Int isgn, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc,
           Real<T>& scale, Int& info);

}  // namespace nuv
