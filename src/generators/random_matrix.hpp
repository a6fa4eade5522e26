#pragma once

// Random matrices made element by element.

#include "base/types.hpp"

namespace nuv {

/// An m by n matrix of random elements (J. Demmel, A. McKenney, A test matrix generation suite, Argonne National
/// Laboratory, MCS-P69-0389, 1989): elements are drawn column by column, the diagonal is set, the matrix graded,
/// pivoted, made sparse, cut to a band, scaled and packed. Calls that differ in packing alone make the same matrix; so
/// do, but for the order of rows and columns, calls that differ in pivoting alone, where the band is full.
///
/// dist      'U': uniform on (0, 1); 'S': uniform on (-1, 1); 'N': normal
/// iseed     state of the random numbers; words that can't be one are made to be
/// sym       'S': symmetric; 'H': Hermitian, with a real diagonal; 'N': neither; the former two with m = n
/// d         min(m, n) elements of the diagonal, by mode, cond and rsign as in latm1; in modes 1 to 5 scaled so that
///           the largest becomes dmax, up to its sign
/// rsign     'T' or 'F', in modes 1 to 5 alone
/// grade     'N': none; 'L': diag(dl) A; 'R': A diag(dr); 'B': diag(dl) A diag(dr); 'E': diag(dl) A diag(dl)^-1;
///           'H': diag(dl) A diag(dl)^H; 'S': diag(dl) A diag(dl)^T; the last three with m = n. For a symmetric matrix
///           'N' or 'S', for a Hermitian one 'N' or 'H'; for real numbers those are one.
/// dl, dr    m and n numbers, by model, condl and moder, condr as in latm1
/// pivtng    'N' or blank: none; 'L': of the rows; 'R': of the columns; 'B' or 'F': of both, with m = n. A symmetric or
///           Hermitian matrix is pivoted on both sides or not at all.
/// ipivot    for each row or column that is pivoted the one that it changes places with, the last one first: the
///           inverse of what elimination with these pivots does
/// kl, ku    bandwidths; the same for a symmetric or Hermitian matrix
/// sparse    probability in 0 ... 1 for an element to be zero
/// anorm     the largest magnitude is made to be this; negative: the matrix is not scaled
/// pack      'N': as it is. Symmetric or Hermitian: 'U': the upper triangle, zeros below; 'L': the lower triangle,
///           zeros above; 'B', 'Q': the lower or upper triangle as a band. Those, or square and triangular: 'C': the
///           upper triangle packed, column by column; 'R': the lower one, row by row. 'Z': all diagonals, below kl rows
///           of zeros, as the factorisation of a general band wants them
/// a         lda >= max(1, m) for 'N', 'U', 'L'; ku + 1 rows for 'B', 'Q'; 2 kl + ku + 1 for 'Z'; n (n + 1) / 2
///           elements for 'C', 'R', lda >= 1
/// iwork     as many as are pivoted
/// info      0, or -k: argument k was bad (reported); 1: d could not be made; 2: it is zero and can't be scaled to
///           dmax; 3, 4: dl, dr could not be made; 5: the matrix is zero and can't be scaled to anorm
template <Scalar T>
void latmr(Int m, Int n, char dist, Int* iseed, char sym, T* d, Int mode, Real<T> cond, T dmax, char rsign, char grade,
           T* dl, Int model, Real<T> condl, T* dr, Int moder, Real<T> condr, char pivtng, const Int* ipivot, Int kl,
           Int ku, Real<T> sparse, Real<T> anorm, char pack, T* a, Int lda, Int* iwork, Int& info);

}  // namespace nuv
