#pragma once

// Singular values and vectors of bidiagonal matrices by divide and conquer.

#include "base/types.hpp"

namespace nuv {

/// Finds the singular values of a real bidiagonal matrix, B = U S V^T, and, if wanted, its vectors (M. Gu, S. C.
/// Eisenstat, "A divide-and-conquer algorithm for the bidiagonal SVD", SIAM J. Matrix Anal. Appl. 16, 1995).
///
/// uplo    'U' or 'L': B is upper or lower bidiagonal
/// compq   'N': values alone; 'I': and U and V^T; 'P': and U and V^T as factors
/// n       order of B
/// d       n elements; the diagonal in, the values in decreasing order out
/// e       n - 1 elements beside it; destroyed
/// u, vt   'I': n by n, out; ldu, ldvt >= 1, and >= max(1, n) for 'I'
/// work    'N': 4 n elements, 'P': 6 n, 'I': 3 n^2 + 4 n;  iwork  8 n places, for n up to the order of the leaves 0
/// info    0; -k: argument k was bad (reported); above 0: the values of a part, or a root of the secular equation of a
///         merge, were not found: its number there
///
/// The factors (svd/compact_tree.hpp), with s the order of the leaves that the tuning tables tell, l =
/// int(log2(n / (s + 1))) + 1 and matrices of n rows:
///
/// q       n (2 + 2 s + 8 l + 3) elements, for a lower B 2 n more: columns 1 and 2 are d and e as they came in; for a
///         lower B the next two are cosines and sines of the rotations of rows that made it an upper one, n - 1 each.
///         Behind them, for n > s: u (s columns), vt (s + 1), difl (l), difr (2 l), z (l), c, s (1 each), poles (2 l),
///         givnum (2 l), in which each part that has no negligible element above its diagonal has the rows that it has
///         in B; otherwise u and vt, n columns each. For n = 1, q(1) is the sign of d, and q(1 + s) is 1
/// iq      n (3 + 3 l) places: columns that were exchanged, step i of the sorting exchanging i and iq(i), but iq(n) is
///         one for an upper B and zero for a lower one; then k, givptr (1 column each), perm (l), givcol (2 l)
template <RealScalar T>
void bdsdc(char uplo, char compq, Int n, T* d, T* e, T* u, Int ldu, T* vt, Int ldvt, T* q, Int* iq, T* work, Int* iwork,
           Int& info);

}  // namespace nuv
