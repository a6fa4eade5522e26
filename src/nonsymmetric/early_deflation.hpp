#pragma once

// Aggressive early deflation: the last rows and columns of an active block, its window, are brought to Schur form, and
// eigenvalues whose components in the spike, what the one subdiagonal element beside the window becomes by that, are
// negligible are split off at once (K. Braman, R. Byers and R. Mathias, "The multishift QR algorithm. Part II:
// Aggressive early deflation", SIAM J. Matrix Anal. Appl. 23, 2002). The eigenvalues that are left make good shifts.
//
// wantt       true if the Schur form of all of H is wanted: then rows above and columns behind the active block are
//             updated as well; else what is in it alone
// wantz       true to update Z
// n           order of H
// ktop, kbot  rows and columns of the active block: h(ktop, ktop - 1) and h(kbot + 1, kbot) are zero, or outside
// nw          order of the window, at most; it has no more rows than the active block
// h           n by n, upper Hessenberg, ldh >= n; out a similar matrix that is so, too
// iloz, ihiz  rows of Z to be updated
// z           columns ktop ... kbot are multiplied by the transformation, ldz >= ihiz; not touched unless wantz
// ns          number of eigenvalues that did not deflate and may serve as shifts
// nd          number of those that did
// sr, si, sh  elements kbot - nd - ns + 1 ... kbot - nd: real and imaginary parts of the shifts, or the shifts;
//             kbot - nd + 1 ... kbot: the eigenvalues that were found
// v           nw by nw scratch, ldv >= nw
// nh          columns of t, at least nw
// t           nw by nh scratch, ldt >= nw
// nv          rows of wv, at least nw
// wv          nv by nw scratch, ldwv >= nv
// work        lwork elements; work(1) returns the best lwork
// lwork       at least 2 nw; with less than the best, panels of reductions are narrower. -1 asks for the best and does
//             nothing else

#include "base/types.hpp"

namespace nuv {

/// Brings the window to Schur form by laqr4 where it is large.
template <RealScalar T>
void laqr3(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sr, T* si, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv,
           T* work, Int lwork);
template <ComplexScalar T>
void laqr3(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sh, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv, T* work,
           Int lwork);

/// Brings the window to Schur form by lahqr always, so that laqr4 may call it.
template <RealScalar T>
void laqr2(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sr, T* si, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv,
           T* work, Int lwork);
template <ComplexScalar T>
void laqr2(Logical wantt, Logical wantz, Int n, Int ktop, Int kbot, Int nw, T* h, Int ldh, Int iloz, Int ihiz, T* z,
           Int ldz, Int& ns, Int& nd, T* sh, T* v, Int ldv, Int nh, T* t, Int ldt, Int nv, T* wv, Int ldwv, T* work,
           Int lwork);

}  // namespace nuv
