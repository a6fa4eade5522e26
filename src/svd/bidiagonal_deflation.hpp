#pragma once

// The merge of the singular values and vectors of two halves of a bidiagonal matrix with nl + nr + 1 rows,
//
//     [ B1              ]          [ U1         ] [ D1  0         ]
//     [     alpha  beta ]     =    [     1      ] [  z1    z2     ] [ VT1      ]
//     [              B2 ]          [         U2 ] [          D2 0 ] [      VT2 ]
//
// begins with what needs no secular equation (svd/merged_halves.hpp). B1 has one column more than rows, B2 as many or
// one more; alpha is the last of B1's columns, beta the first of B2's.
//
// nl, nr  rows of both halves, at least 1; n = nl + nr + 1
// sqre    0 or 1; m = n + sqre columns
// d       n elements: the values of the first half, one place that is not looked at, those of the second
// u       n by n, ldu >= n: U1 and U2, with zeros beside them; column nl + 1 is not looked at
// vt      m by m, ldvt >= m: VT1 and VT2, with zeros beside them
// idxq    n places: the permutations that sort each half, counted from one in each, with one place between them that is
//         not looked at
// k       values that are left to the secular equation, at least 1

#include "base/types.hpp"

namespace nuv {

/// Deflates, and gathers the vectors for products without their zero blocks.
///
/// d       the last n - k elements out: the values that are done, in decreasing order
/// z       m elements; out the joining row in terms of the right vectors of dsigma, k of them
/// u, vt   the last n - k columns and rows of the first n out: the vectors that are done; for sqre 1 row m of vt: the
///         vector without a value
/// dsigma  n elements: the poles of the equation, k of them, in increasing order, the first of which is zero
/// u2      n by n, ldu2 >= n: first the columns with elements in the first nl rows alone, then those with elements
///         everywhere, to which the joining row belongs, those with elements in the last nr rows alone, and those that
///         are done
/// vt2     n rows of m elements, ldvt2 >= m, in the same order
/// idxp, idx   n places of scratch memory
/// idxc    the places in dsigma of the columns of u2, the first k of n
/// coltyp  n elements, the first three of which are the numbers of columns of the first three kinds
/// info    0, or -i: argument i was bad (reported)
template <RealScalar T>
void lasd2(Int nl, Int nr, Int sqre, Int& k, T* d, T* z, T alpha, T beta, T* u, Int ldu, T* vt, Int ldvt, T* dsigma,
           T* u2, Int ldu2, T* vt2, Int ldvt2, Int* idxp, Int* idx, Int* idxc, Int* idxq, Int* coltyp, Int& info);

}  // namespace nuv
