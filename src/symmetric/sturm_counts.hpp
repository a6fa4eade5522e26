#pragma once

// What can be told of a real symmetric tridiagonal matrix T, or of a representation L D L^T of one, without computing
// its eigenvalues: how many of them lie below a number, where T falls apart, and how accurately T determines them.
//
// n       order
// d       n elements: the diagonal of T, or that of D
// e       n - 1 elements: those beside the diagonal of T, or below the diagonal of L
// e2      their squares
// lld     n - 1 elements l(i)^2 d(i)
// pivmin  least magnitude of a pivot of T: one below it counts as -pivmin

#include "base/types.hpp"

namespace nuv {

/// The number of eigenvalues of L D L^T below sigma: that of the negative pivots of the twisted factorisation
///
///     L D L^T - sigma I = N Delta N^T
///
/// which is made from the top down to row r, and from the bottom up to it (O. A. Marques, E. J. Riedy, C. Voemel,
/// "Benefits of IEEE-754 features in modern symmetric tridiagonal eigensolvers", SIAM J. Sci. Comput. 28, 2006). Zero
/// pivots are divided by. Every sigma and all contents of d and lld have a count. pivmin is not looked at.
///
/// r       row of the twist, 1 ... n
template <RealScalar R>
Int laneg(Int n, const R* d, const R* lld, R sigma, R pivmin, Int r);

/// Counts the eigenvalues in (vl, vu].
///
/// jobt    'T': of T, from d and e; 'L': of L D L^T; any other letter counts as 'L'
/// lcnt, rcnt   numbers of eigenvalues up to vl, and up to vu;  eigcnt  their difference
/// info    0
template <RealScalar R>
void larrc(char jobt, Int n, R vl, R vu, const R* d, const R* e, R pivmin, Int& eigcnt, Int& lcnt, Int& rcnt,
           Int& info);

/// Finds the blocks into which T falls where elements beside its diagonal are negligible; these become zero, and their
/// squares too.
///
/// spltol  negative: |e(i)| <= |spltol| tnrm is negligible; else |e(i)| <= spltol sqrt|d(i)| sqrt|d(i+1)|, which
///         preserves relative accuracy
/// tnrm    norm of T
/// nsplit  number of blocks;  isplit  n places: the last row of each block, the last of all being n
/// info    0
template <RealScalar R>
void larra(Int n, const R* d, R* e, R* e2, R spltol, R tnrm, Int& nsplit, Int* isplit, Int& info);

/// Tests whether T is scaled diagonally dominant, so that it determines all eigenvalues to high relative accuracy (J.
/// Barlow, J. Demmel, "Computing accurate eigensystems of scaled diagonally dominant matrices", SIAM J. Numer. Anal.
/// 27, 1990).
///
/// info    0: it is; 1: it is not, or a diagonal element is too small to tell, or something is NaN
template <RealScalar R>
void larrr(Int n, const R* d, const R* e, Int& info);

}  // namespace nuv
