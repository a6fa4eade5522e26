#pragma once

// Representations L D L^T of the shifts of a symmetric tridiagonal matrix that determine their small eigenvalues to
// high relative accuracy: the root of each block, and the child of a cluster (I. S. Dhillon, B. N. Parlett and C.
// Voemel, The design and implementation of the MRRR algorithm, ACM Trans. Math. Softw. 32, 2006).

#include "base/types.hpp"

namespace nuv {

/// Splits a matrix of order n into blocks, finds a root representation L D L^T = T - sigma I of each of them that has
/// wanted eigenvalues, changed in the last places at random so that no values are equal, and approximations to these.
///
/// range   'A': all eigenvalues, 'V': those in (vl, vu], 'I': the il-th to the iu-th
/// vl, vu  for 'A' and 'I' bounds of the wanted eigenvalues, on return
/// d, e, e2   n numbers each: the diagonal, what stands beside it, its squares. On return D and L of each block, sigma
///         behind the elements of L; e2 is zero at the ends of blocks
/// rtol1, rtol2   an approximation is good enough where its interval is within max(rtol1 gap, rtol2 |w|)
/// spltol  what is negligible beside the diagonal, as larra takes it
/// nsplit  number of blocks;  isplit  the last row of each
/// m       number of eigenvalues found
/// w, werr, wgap   eigenvalues less sigma, ascending in each block; bounds of their errors; distances to the next
/// iblock, indexw  the block of each, and its index in there
/// gers    2 n numbers: the Gerschgorin interval of each row
/// pivmin  the least pivot of Sturm sequences for T
/// work    6 n numbers;  iwork  5 n
/// info    0; 2: no root among six shifts; -1: larrd, -3: larrb, -5: lasq2 failed; -6: lasq2 found a negative
///         eigenvalue
template <RealScalar R>
void larre(char range, Int n, R& vl, R& vu, Int il, Int iu, R* d, R* e, R* e2, R rtol1, R rtol2, R spltol, Int& nsplit,
           Int* isplit, Int& m, R* w, R* werr, R* wgap, Int* iblock, Int* indexw, R* gers, R& pivmin, R* work,
           Int* iwork, Int& info);

/// Finds a representation L+ D+ L+^T = L D L^T - sigma I for the cluster of eigenvalues w(clstrt) ... w(clend), with
/// sigma close to one of its ends, so that relative gaps open within it.
///
/// d, l, ld   D, L and their products, n and n - 1 numbers
/// w, werr    eigenvalues of L D L^T with bounds of their errors;  wgap  distances to the next
/// spdiam     diameter of the spectrum;  pivmin  least magnitude of a pivot
/// clgapl, clgapr   gaps on both sides of the cluster
/// dplus, lplus     D+ and L+
/// work       2 n numbers
/// info       0; 1: all shifts make elements grow
template <RealScalar R>
void larrf(Int n, const R* d, const R* l, const R* ld, Int clstrt, Int clend, const R* w, const R* wgap, const R* werr,
           R spdiam, R clgapl, R clgapr, R pivmin, R& sigma, R* dplus, R* lplus, R* work, Int& info);

}  // namespace nuv
