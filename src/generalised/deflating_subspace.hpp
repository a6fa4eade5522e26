#pragma once

// Deflating subspaces of a pair (A, B) in generalised Schur form for selected eigenvalues, and their condition numbers
// (B. Kagstrom and P. Poromaa, "Computing eigenspaces with specified eigenvalues of a regular matrix pair (A, B) and
// condition estimation: theory, algorithms and software", Numer. Algorithms 12, 1996). The pair is transformed from
// both sides, Q^H (A, B) Z, to
//
//     A11 A12     B11 B12    m
//         A22         B22    n - m
//
// with the selected eigenvalues in (A11, B11). Dif of two pairs is the smallest singular value of the operator
// (R, L) -> (A11 R - L A22, B11 R - L B22); where it maps (R, L) to (A12, B12), the norms of the projectors onto the
// subspaces are sqrt(1 + |R|^2) and sqrt(1 + |L|^2).
//
// ijob     0: no condition numbers, 1: pl and pr, 2: dif by the Frobenius norm, 3: dif by one-norms, which costs about
//          five times as much, 4: pl, pr, and dif as 2, 5: pl, pr, and dif as 3
// wantq    whether the columns of Q follow
// wantz    whether the columns of Z follow
// select   n flags; a pair of eigenvalues of a real form is selected if either of its flags is set
// n        order of all matrices
// a        n by n, upper quasi-triangular (real) or triangular (complex), lda >= max(1, n); reordered out
// b        n by n, upper triangular, ldb >= max(1, n); reordered out
// q        n by n, ldq >= max(1, n) with wantq; else not looked at, ldq >= 1. Out its first m columns span the left
//          deflating subspace
// z        n by n, ldz >= max(1, n) with wantz; else not looked at, ldz >= 1. Out its first m columns span the right
//          deflating subspace
// m        out; number of the selected eigenvalues
// pl       out, for 1, 4, 5; 1 / sqrt(1 + |R|^2) in the Frobenius norm, a lower bound of the reciprocal norm of the
//          projector; 1 for m = 0 and m = n
// pr       the same of L
// dif      2 elements, for 2 to 5; estimates of Dif of (A11, B11) and (A22, B22), and of Dif of (A22, B22) and
//          (A11, B11); for m = 0 and m = n both are the Frobenius norm of (A, B). Not touched for 0 and 1
// lwork    as much; -1 asks for that and does nothing else
// liwork   as much; -1 asks for that and does nothing else
// info     0; 1: two blocks were too close to be swapped, (A, B) is a Schur form that is reordered in part, what was
//          wanted of pl, pr and dif is zero; or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Reorders a real pair.
///
/// alphar   n elements; eigenvalue k of the reordered pair is (alphar(k) + i alphai(k)) / beta(k)
/// alphai   n elements; of a complex pair, the one with positive imaginary part comes first
/// beta     n elements, not negative: rows of A and B, and columns of Q, change their signs for that
/// work     lwork elements; work(1) returns the least lwork: 4 n + 16, at least 2 m (n - m) for 1, 2 and 4, and
///          4 m (n - m) for 3 and 5
/// iwork    liwork elements; iwork(1) returns the least liwork: 1 for 0, else n + 6, at least 2 m (n - m) for 3 and 5
template <RealScalar T>
void tgsen(Int ijob, Logical wantq, Logical wantz, const Logical* select, Int n, T* a, Int lda, T* b, Int ldb,
           T* alphar, T* alphai, T* beta, T* q, Int ldq, T* z, Int ldz, Int& m, T& pl, T& pr, T* dif, T* work,
           Int lwork, Int* iwork, Int liwork, Int& info);

/// Reorders a complex pair.
///
/// alpha    n elements; eigenvalue k of the reordered pair is alpha(k) / beta(k), the quotient of diagonal elements
/// beta     n elements, real and not negative: rows of A and B, and columns of Q, are turned for that
/// work     lwork elements; work(1) returns the least lwork: 1, at least 2 m (n - m) for 1, 2 and 4, and
///          4 m (n - m) for 3 and 5
/// iwork    liwork elements; iwork(1) returns the least liwork: 1 for 0, else n + 2, at least 2 m (n - m) for 3 and 5
template <ComplexScalar T>
void tgsen(Int ijob, Logical wantq, Logical wantz, const Logical* select, Int n, T* a, Int lda, T* b, Int ldb, T* alpha,
           T* beta, T* q, Int ldq, T* z, Int ldz, Int& m, Real<T>& pl, Real<T>& pr, Real<T>* dif, T* work, Int lwork,
           Int* iwork, Int liwork, Int& info);

}  // namespace nuv
