#pragma once

// The first step of the generalised singular value decomposition of a pair of matrices: what does not belong to both is
// split off by QR factorisations with column pivoting and RQ factorisations (Z. Bai and H. Zha, "A new preprocessing
// algorithm for the computation of the generalized singular value decomposition", SIAM J. Sci. Comput. 14, 1993). It is
// done without blocks.

#include "base/types.hpp"

namespace nuv {

/// Unitary U, V and Q that bring A and B to
///
///                     n-k-l   k    l                          n-k-l   k    l
///               k  [    0    A12  A13 ]                   l [   0     0   B13 ]
///     U^H A Q = l  [    0     0   A23 ]         V^H B Q = p-l [ 0     0    0  ]
///           m-k-l  [    0     0    0  ]
///
/// with regular upper triangular A12 of order k and B13 of order l, and A23 upper triangular, or, with m - k < l,
/// trapezoidal of m - k rows, which are the last. l is the rank of B and k + l that of both below each other, as far as
/// the tolerances tell. The diagonals of A23 and of B13 are real.
///
/// jobu, jobv, jobq  'U', 'V' and 'Q': that matrix is wanted, 'N': it is not
/// m       rows of A;  p  rows of B;  n  columns of both; each >= 0
/// a       m by n, lda >= max(1, m); out the form above
/// b       p by n, ldb >= max(1, p); out the form above
/// tola, tolb  what counts as zero on the diagonals of the triangles of A and of B:
///         max(m, n) ||A|| eps and max(p, n) ||B|| eps as a rule, eps the distance from 1 to the next number. A NaN on
///         a diagonal is not taken for zero
/// k, l    the sizes of the blocks, out
/// u       'U': m by m, out, ldu >= 1, and >= m for 'U'; 'N': not touched
/// v       'V': p by p, out, ldv >= 1, and >= p for 'V'; 'N': not touched
/// q       'Q': n by n, out, ldq >= 1, and >= n for 'Q'; 'N': not touched
/// iwork   n elements
/// tau     n elements of workspace
/// work    max(3 n, m, p) elements
/// info    0, or -i: argument i was bad (reported)
template <RealScalar T>
void ggsvp(char jobu, char jobv, char jobq, Int m, Int p, Int n, T* a, Int lda, T* b, Int ldb, T tola, T tolb, Int& k,
           Int& l, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, Int* iwork, T* tau, T* work, Int& info);

/// rwork   2 n elements
template <ComplexScalar T>
void ggsvp(char jobu, char jobv, char jobq, Int m, Int p, Int n, T* a, Int lda, T* b, Int ldb, Real<T> tola,
           Real<T> tolb, Int& k, Int& l, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq, Int* iwork, Real<T>* rwork,
           T* tau, T* work, Int& info);

}  // namespace nuv
