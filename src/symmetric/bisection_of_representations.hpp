#pragma once

// Bisection for eigenvalues of a real symmetric tridiagonal matrix T, or of a representation L D L^T of one, from
// intervals that are known roughly.
//
// n       order
// d       n elements: the diagonal of T, or that of D
// e, e2   n - 1 elements beside the diagonal of T, and their squares
// lld     n - 1 elements l(i)^2 d(i)
// pivmin  least magnitude of a pivot of T; intervals narrower than twice of it are not halved
// spdiam  diameter of the spectrum, for the limit of halvings
// w, werr  approximate values, and how far they may be off: value i stands at w(i - offset), werr(i - offset)

#include "base/types.hpp"

namespace nuv {

/// Refines the eigenvalues ifirst ... ilast of L D L^T, counted from one in ascending order. Intervals w -+ werr that
/// miss their values are widened first.
///
/// rtol1, rtol2  an interval is narrow enough if half its width is at most max(rtol1 gap, rtol2 max(|left|, |right|))
/// wgap    the gap between value i and the next stands at wgap(i - offset); renewed but for the last
/// work, iwork   2 n elements each
/// twist   row at which factorisations meet, see laneg; outside 1 ... n: n
/// info    0
template <RealScalar R>
void larrb(Int n, const R* d, const R* lld, Int ifirst, Int ilast, R rtol1, R rtol2, Int offset, R* w, R* wgap, R* werr,
           R* work, Int* iwork, R pivmin, R spdiam, Int twist, Int& info);

/// Refines the eigenvalues ifirst and ilast > ifirst of L D L^T alone, side by side; gaps stay. Arguments are those of
/// larrb, rtol for both of its tolerances.
template <RealScalar R>
void refine_ends(Int n, const R* d, const R* lld, Int ifirst, Int ilast, R rtol, Int offset, R* w, const R* wgap,
                 R* werr, R pivmin, R spdiam);

/// Refines the eigenvalues ifirst ... ilast of T, counted from one in ascending order. Intervals w -+ werr that miss
/// their values are widened first, and values whose intervals are narrow enough are left alone.
///
/// rtol    an interval is narrow enough if half its width is below rtol max(|left|, |right|)
/// work, iwork   2 n elements each
/// info    0
template <RealScalar R>
void larrj(Int n, const R* d, const R* e2, Int ifirst, Int ilast, R rtol, Int offset, R* w, R* werr, R* work,
           Int* iwork, R pivmin, R spdiam, Int& info);

/// Computes eigenvalue iw of T, counted from one in ascending order.
///
/// gl, gu  an interval that holds the spectrum
/// reltol  the interval is narrow enough if its width is below reltol times its larger end
/// w, werr  the value and how far it may be off
/// info    0; -1: the interval did not become narrow enough
template <RealScalar R>
void larrk(Int n, Int iw, R gl, R gu, const R* d, const R* e2, R pivmin, R reltol, R& w, R& werr, Int& info);

/// Computes the eigenvalues of T that a range asks for, block by block.
///
/// range   'A': all; 'V': those in (vl, vu]; 'I': those from il to iu, counted from one in ascending order
/// order   'B': block by block, ascending in each; 'E': ascending
/// gers    2 n elements: the Gerschgorin interval of row i is gers(2i-1), gers(2i)
/// reltol  an interval is narrow enough if its width is below reltol times its larger end
/// nsplit, isplit   the blocks, as larra tells them
/// m       number of values found;  w, werr  n places for them
/// wl, wu  the values lie in (wl, wu]
/// iblock, indexw   n places: the block of each value, and its place in the block; negative blocks did not converge
/// work    4 n elements;  iwork  3 n elements
/// info    0; -k: argument k was bad (not reported); 1: values did not converge; 2: not all that 'I' asks for were
///         found; 3: both; 4: no interval holds il ... iu
template <RealScalar R>
void larrd(char range, char order, Int n, R vl, R vu, Int il, Int iu, const R* gers, R reltol, const R* d, const R* e,
           const R* e2, R pivmin, Int nsplit, const Int* isplit, Int& m, R* w, R* werr, R& wl, R& wu, Int* iblock,
           Int* indexw, R* work, Int* iwork, Int& info);

}  // namespace nuv
