#pragma once

// Merges of two halves of a bidiagonal matrix whose singular vectors are at hand: deflation
// (svd/bidiagonal_deflation.hpp, which explains the arguments that stand there as well), the secular equation
// (svd/secular_values.hpp), and products for the vectors. The computed values are the exact ones of a z close by, which
// Loewner's formula gives; its vectors are orthogonal, however close values lie (M. Gu, S. C. Eisenstat, SIAM J. Matrix
// Anal. Appl. 16, 1995).
//
// nl, nr, sqre   rows of either half, and 1 if the second has one column more than rows, else 0
// info    0; -i: argument i was bad (reported); i > 0: root i of the secular equation was not found

#include "base/types.hpp"

namespace nuv {

/// Merges two halves.
///
/// d       the values of the halves in, those of the whole out, in the order of idxq
/// alpha, beta   elements of the joining row in columns nl + 1 and nl + 2
/// u, vt   the vectors of the halves in, those of the whole out
/// idxq    the permutations that sort each half in; the one that sorts the whole into increasing order out
/// iwork   4 n places;  work  3 m^2 + 2 m elements
template <RealScalar T>
void lasd1(Int nl, Int nr, Int sqre, T* d, T alpha, T beta, T* u, Int ldu, T* vt, Int ldvt, Int* idxq, Int* iwork,
           T* work, Int& info);

/// The part of lasd1 behind the deflation.
///
/// k       values that are left to the secular equation, 1 <= k <= n
/// d       the first k values out, in increasing order
/// q       k by k, ldq >= k; scratch memory
/// dsigma, z   the poles and the joining row, k elements of each; z is destroyed
/// u, vt   the first k columns and rows out: the vectors; n rows and m columns
/// u2, vt2, idxc, ctot   what lasd2 left in u2, vt2, idxc and coltyp
template <RealScalar T>
void lasd3(Int nl, Int nr, Int sqre, Int k, T* d, T* q, Int ldq, const T* dsigma, T* u, Int ldu, const T* u2, Int ldu2,
           T* vt, Int ldvt, const T* vt2, Int ldvt2, const Int* idxc, const Int* ctot, T* z, Int& info);

}  // namespace nuv
