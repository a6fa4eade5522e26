#pragma once

// Generalised singular values of a pair of upper triangular matrices by Kogbetliantz's method, the method of Jacobi for
// singular values, on the product of the one and the inverse of the other, which is never formed (C. C. Paige,
// "Computing the generalized singular value decomposition", SIAM J. Sci. Stat. Comput. 7, 1986; Z. Bai and J. W.
// Demmel, "Computing the generalized singular value decomposition", SIAM J. Sci. Comput. 14, 1993).

#include "base/types.hpp"

namespace nuv {

/// Generalised singular value decomposition of a pair in the form that ggsvp leaves it in:
///
///     U^H A Q = D1 (0 R),  V^H B Q = D2 (0 R),
///
/// U, V and Q unitary, R upper triangular of order k + l, D1 and D2 diagonal, of m and p rows, as ggsvd has them. A
/// cycle goes through all pairs of rows; the triangles are lower ones after an odd cycle and upper ones after an even
/// one, and then the method ends if each row of A is parallel to its row of B, or else with the fortieth cycle.
///
/// jobu, jobv, jobq  'U', 'V' and 'Q': the array of that name holds a matrix that is multiplied by U, V or Q from the
///         right, 'I': it is set to U, V or Q, 'N': this one is not wanted
/// m       rows of A;  p  rows of B;  n  columns of both; each >= 0
/// k, l    sizes of the blocks, as ggsvp returns them
/// a       m by n, lda >= max(1, m), with A12 and A13 in the first k rows and A23 in the l rows below or what there is
///         of them; out R in columns n - k - l + 1 ... n of its first min(k + l, m) rows
/// b       p by n, ldb >= max(1, p), with B13 in the last columns of its first l rows; the diagonals of A23 and of B13
///         are real. Out, for m < k + l, the last k + l - m rows of R in rows m - k + 1 ... l of its last columns
/// tola, tolb  the tolerances of ggsvp: rows are parallel where the smaller singular value of both is at most the
///         smaller of them
/// alpha, beta  n elements each, the diagonals of D1 and D2: the first k are 1 and 0, the next l pairs have
///         alpha^2 + beta^2 = 1, with alpha = 0 and beta = 1 for those behind row m, and the rest is 0 and 0; not set
///         for info = 1
/// u       m by m, ldu >= 1, and >= m where U is wanted, else not touched
/// v       p by p, ldv >= 1, and >= p where V is wanted, else not touched
/// q       n by n, ldq >= 1, and >= n where Q is wanted, else not touched
/// work    2 n elements
/// ncycle  cycles that were made, out: none for l = 0
/// info    0; -i: argument i was bad (reported); 1: forty cycles were not enough
template <Scalar T>
void tgsja(char jobu, char jobv, char jobq, Int m, Int p, Int n, Int k, Int l, T* a, Int lda, T* b, Int ldb,
           Real<T> tola, Real<T> tolb, Real<T>* alpha, Real<T>* beta, T* u, Int ldu, T* v, Int ldv, T* q, Int ldq,
           T* work, Int& ncycle, Int& info);

}  // namespace nuv
