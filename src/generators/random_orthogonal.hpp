#pragma once

// Random orthogonal matrices, unitary for complex scalars, and the plane rotations of which banded ones are made.
//
// iseed    state of the random numbers, see generators/random_numbers.hpp
// info     0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Multiplies an m by n matrix by a random orthogonal U that is distributed by Haar's measure (G. W. Stewart, The
/// efficient generation of random orthogonal matrices with an application to condition estimators, SIAM J. Numer. Anal.
/// 17, 1980).
///
/// side    'L': U A; 'R': A U^H; 'C': U A U^H with m = n
/// init    'I': A starts as the identity, 'N': as it is given
/// a       m by n, lda >= m
/// x       work, 2m + n numbers for side 'L', 2n + m for 'R', 3n for 'C'
/// info    1: a random vector of zeros was drawn (reported)
template <Scalar T>
void laror(char side, char init, Int m, Int n, T* a, Int lda, Int* iseed, T* x, Int& info);

/// A := U A U^H for a matrix of order n and a random orthogonal U.
///
/// a       lda >= max(1, n)
/// work    2n numbers
template <Scalar T>
void large(Int n, T* a, Int lda, Int* iseed, T* work, Int& info);

/// Rotates two adjacent rows, or columns, of a matrix that may be stored as a band or packed:
///
///     row 1       a(1)    . . .   xright       (x, y) := (c x + s y, -conj(s) x + conj(c) y)
///     row 2       xleft   . . .   a(last)
///
/// Where the rows begin and end the array need not have room for one of the two elements; it is passed by itself.
///
/// lrows           true: rows, whose elements are lda apart; false: columns, which are lda apart
/// lleft, lright   true: the row that starts later, or ends earlier, is completed by xleft, or xright
/// nl              length of the rows, with those elements; at least their number
/// a               the first element that is stored
/// lda             leading dimension, for columns at least their stored length but the ends
template <Scalar T>
void larot(Logical lrows, Logical lleft, Logical lright, Int nl, T c, T s, T* a, Int lda, T& xleft, T& xright);

}  // namespace nuv
