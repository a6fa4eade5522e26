#pragma once

// Merges of two halves of a bidiagonal matrix whose singular vectors are not formed, but kept as factors: of all right
// vectors only the first and the last elements are there, which is enough to go on (M. Gu, S. C. Eisenstat, SIAM J.
// Matrix Anal. Appl. 16, 1995). svd/bidiagonal_deflation.hpp says what is merged, and what nl, nr, sqre, n, m, alpha
// and beta are.
//
// The left vectors of the merge are the product of
//
//     diag(U1, 1, U2),  rotations of two columns each,  a permutation,  and  diag(S, I)
//
// with S the k left vectors of the secular equation, and the right ones are the same with diag(V1, V2), S the right
// vectors of the equation, and one rotation more. The lines of the halves are counted from one, with the joining row,
// and the null vector of the first half, in line nl + 1:
//
// givptr  number of rotations, the first of which was done first
// givcol  ldgcol by 2, ldgcol >= n: rotation i turns the lines givcol(i, 2) and givcol(i, 1)
// givnum  ldgnum by 2, ldgnum >= n: by cosine givnum(i, 2) and sine givnum(i, 1): lines x and y become c x + s y and
//         c y - s x
// perm    n places: place i is taken by line perm(i), the first by nl + 1
// c, s    the rotation of the null vectors of both halves for sqre 1: that of the first becomes c times it plus s times
//         the other, line m
// poles   n by 2, leading dimension ldgnum: k roots of the equation in column 1, its poles in column 2
// difl    k elements: d(j) less pole j
// difr    n by 2, leading dimension ldgnum: column 1, k - 1 elements: d(j) less pole j + 1; column 2, k elements:
//         lengths of the right vectors z(i) / (pole(i)^2 - d(j)^2). The left ones have the elements of these times
//         pole(i), and -1 in the place of the first. For k = 1 S is one, or for the left vectors the sign of z(1), and
//         difr(1, 2) is one
// z       k elements: the joining row, as the roots want it
// k       values that are left to the secular equation
//
// All these are numbers of a matrix that was divided by the largest of its values and joining elements, as is told.
// icompq  0: they are not wanted. perm, givcol, givnum and poles are not used; difl, difr and z are scratch memory
//         1: they are
// vf, vl  m elements: the first and last elements of the right vectors, first those of the first half, of all m in the
//         order of d out
//
// info    0; -i: argument i was bad (reported); i > 0: root i of the secular equation was not found

#include "base/types.hpp"

namespace nuv {

/// Merges two halves.
///
/// d       n elements: the values of the halves, with one place between them that is not looked at, in; those of the
///         whole out, in the order of idxq
/// idxq    n places: the permutations that sort each half, with one place between them that is not looked at, in; the
///         one that sorts the whole into increasing order out
/// z       m elements
/// work    4 m elements;  iwork  3 n places
template <RealScalar T>
void lasd6(Int icompq, Int nl, Int nr, Int sqre, T* d, T* vf, T* vl, T alpha, T beta, Int* idxq, Int* perm, Int& givptr,
           Int* givcol, Int ldgcol, T* givnum, Int ldgnum, T* poles, T* difl, T* difr, T* z, Int& k, T& c, T& s,
           T* work, Int* iwork, Int& info);

/// Deflates; the part of lasd6 before the secular equation.
///
/// d       the last n - k elements out: the values that are done, in decreasing order
/// idxq    n places: the permutations that sort each half, with one place between them that is not looked at
/// z       m elements; out the joining row in terms of the right vectors of dsigma, k of them
/// vf, vl  in the order of perm out
/// dsigma  n elements: the poles of the equation, k of them, in increasing order, the first of which is zero
/// zw, vfw, vlw   m elements of scratch memory each;  idx, idxp  n places of it
template <RealScalar T>
void lasd7(Int icompq, Int nl, Int nr, Int sqre, Int& k, T* d, T* z, T* zw, T* vf, T* vfw, T* vl, T* vlw, T alpha,
           T beta, T* dsigma, Int* idx, Int* idxp, Int* idxq, Int* perm, Int& givptr, Int* givcol, Int ldgcol,
           T* givnum, Int ldgnum, T& c, T& s, Int& info);

/// The part of lasd6 behind the deflation, for k >= 1.
///
/// d       k roots out, in increasing order
/// z, dsigma   the joining row and the poles in; z as it is kept out
/// vf, vl  k elements in, in the order of dsigma; those of the new vectors out
/// difl    k elements;  difr  icompq 1: lddifr by 2, 0: k elements; lddifr >= k
/// work    3 k elements
template <RealScalar T>
void lasd8(Int icompq, Int k, T* d, T* z, T* vf, T* vl, T* difl, T* difr, Int lddifr, const T* dsigma, T* work,
           Int& info);

}  // namespace nuv
