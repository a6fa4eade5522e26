#pragma once

// Reduction of the generalised eigenproblem A x = lambda B x with band matrices to a standard one, C y = lambda y,
// whose matrix has the band of A (C. R. Crawford, "Reduction of a band-symmetric generalized eigenvalue problem", Comm.
// ACM 16, 1973), by the split factor of B (split_cholesky.hpp), which halves the way that what leaves the band is
// chased, many elements at once (L. Kaufman, "An algorithm for the banded symmetric generalized matrix eigenvalue
// problem", SIAM J. Matrix Anal. Appl. 14, 1993).

#include "base/types.hpp"

namespace nuv {

/// vect    'N': C alone; 'V': and X
/// uplo    'U' or 'L': the triangles that are stored
/// ka, kb  diagonals beside the main ones, ka >= kb >= 0; there may be more of them than the matrices have
/// ab      ka + 1 by n, ldab >= ka + 1: A in, C = X^H A X out; imaginary parts on the diagonal count as zero
/// bb      kb + 1 by n, ldbb >= kb + 1: the factor S of B = S^H S as pbstf leaves it
/// x       'V': n by n, X = S^-1 Q with an orthogonal Q out, ldx >= max(1, n); 'N': not touched, ldx >= 1
/// work    2 n elements
/// info    0, or -k: argument k was bad (reported)
template <RealScalar T>
void sbgst(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x, Int ldx, T* work,
           Int& info);

/// work, rwork  n elements each
template <ComplexScalar T>
void hbgst(char vect, char uplo, Int n, Int ka, Int kb, T* ab, Int ldab, const T* bb, Int ldbb, T* x, Int ldx, T* work,
           Real<T>* rwork, Int& info);

}  // namespace nuv
