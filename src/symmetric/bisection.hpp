#pragma once

// Selected eigenvalues of a symmetric tridiagonal matrix by bisection (W. Kahan, "Accurate eigenvalues of a symmetric
// tri-diagonal matrix", Stanford University CS 41, 1966): the signs of the pivots of T - x I tell how many eigenvalues
// lie below x.

#include "base/types.hpp"

namespace nuv {

/// Finds the eigenvalues of a tridiagonal matrix of order n that are asked for.
///
/// range   'A': all; 'V': those in (vl, vu]; 'I': from the il-th to the iu-th, in ascending order of all
/// order   'B': ascending in each block into which the matrix falls, block after block; 'E': ascending altogether
/// vl, vu  vl < vu for 'V'; not looked at otherwise
/// il, iu  1 <= il <= max(1, n) and min(n, il) <= iu <= n for 'I'; not looked at otherwise
/// abstol  length of an interval that is taken for a value, as it also is at 2 eps times its magnitude; zero or less:
///         eps ||T||. Values of tiny magnitude are as accurate as can be with twice the underflow threshold.
/// d, e    n diagonal elements, and n - 1 beside them
/// m       values found: w(1) ... w(m); w has room for n
/// nsplit  blocks of the matrix, separated where e is negligible; block k ends in row isplit(k)
/// iblock  the block of each value, negative if its interval was not brought down to the tolerance
/// work, iwork  4 n and 3 n elements
/// info    0; -k: argument k was bad (reported);
///         1: some values did not converge, among them all of a block with an element that is not finite, or for 'I'
///         of such a matrix, which are NaN; 2: for 'I', fewer values were found than asked for; 3: both; 4: for 'I',
///         the bounds of all eigenvalues do not hold them, and nothing was computed
template <RealScalar T>
void stebz(char range, char order, Int n, T vl, T vu, Int il, Int iu, T abstol, const T* d, const T* e, Int& m,
           Int& nsplit, T* w, Int* iblock, Int* isplit, T* work, Int* iwork, Int& info);

/// The counts and the bisection behind stebz, for a few intervals at a time.
///
/// ijob    1: counts the eigenvalues below both ends of each interval;
///         2: halves the intervals, and cuts those that hold values on both sides, until they are short or empty;
///         3: finds points, one in each interval, with nval values below them
/// nitmax  halvings at most
/// mmax    intervals that ab, nab, c and nval have room for;  minp <= mmax: intervals given
/// nbmin   advisory: the counts of many intervals go side by side, whatever it says
/// abstol, reltol, pivmin  an interval has converged when it is shorter than abstol, pivmin or reltol times its end of
///         larger magnitude; pivmin > 0 also is the least magnitude of a pivot
/// d, e2   n diagonal elements, and n - 1 squares of those beside them;  e  not looked at
/// nval    for ijob 3, the counts wanted, in the order of the intervals, which may change
/// ab      mmax by 2: the ends of the intervals;  nab  mmax by 2: the counts there, for ijob 2 and 3 in and out
/// c       for ijob 3, where each interval is cut first; used for ijob 2
/// mout    ijob 1: the sum of the values in all intervals; else the number of intervals, those that converged in front
/// work, iwork  not used
/// info    0; k: the last k intervals did not converge; mmax + 1: there is no room for another interval
template <RealScalar T>
void laebz(Int ijob, Int nitmax, Int n, Int mmax, Int minp, Int nbmin, T abstol, T reltol, T pivmin, const T* d,
           const T* e, const T* e2, Int* nval, T* ab, T* c, Int& mout, Int* nab, T* work, Int* iwork, Int& info);

}  // namespace nuv
