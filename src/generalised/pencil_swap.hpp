#pragma once

// Exchange of two neighbouring diagonal blocks of a pair (A, B) in generalised Schur form (B. Kagstrom, "A direct
// method for reordering eigenvalues in the generalized real Schur form of a regular matrix pair (A, B)", in: Linear
// Algebra for Large Scale and Real-Time Applications, Kluwer, 1993). The pair is transformed from both sides,
// Q^H (A, B) Z.
//
// wantq   whether the columns of Q follow
// wantz   whether the columns of Z follow
// n       order of all matrices; nothing is done for n <= 1
// a       n by n, upper quasi-triangular (real) or triangular (complex), lda >= n
// b       n by n, upper triangular, ldb >= n
// q       n by n, ldq >= n with wantq; else not looked at
// z       n by n, ldz >= n with wantz; else not looked at

#include "base/types.hpp"

namespace nuv {

/// Exchanges the block of order n1 that begins in row j1 with that of order n2 behind it, in a real pair.
/// Afterwards B is diagonal with a positive diagonal in blocks of order two, unless their eigenvalues turn out to be
/// real: then they are two blocks of order one.
///
/// j1      first row of the first block
/// n1, n2  0, 1 or 2; nothing is done if one of them is 0, or if there are no rows behind the first block
/// work    lwork elements
/// lwork   at least max(n (n1 + n2), 2 (n1 + n2)^2)
/// info    0; 1: the blocks are so close that the result would not be a Schur form, or not that of a pair near enough:
///         all matrices are as they were; -16: lwork is too small, work(1) tells how much it takes
template <RealScalar T>
void tgex2(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int j1,
           Int n1, Int n2, T* work, Int lwork, Int& info);

/// Exchanges the elements in rows j1 and j1 + 1 of the diagonals of a complex pair.
///
/// j1      1 ... n - 1
/// info    0, or 1: the eigenvalues are so close that the result would not be a Schur form, or not that of a pair near
///         enough: all matrices are as they were
template <ComplexScalar T>
void tgex2(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int j1,
           Int& info);

}  // namespace nuv
