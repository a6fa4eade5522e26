#pragma once

// Reordering of the eigenvalues of a pair (A, B) in generalised Schur form by swaps of neighbours (B. Kagstrom, "A
// direct method for reordering eigenvalues in the generalized real Schur form of a regular matrix pair (A, B)", in:
// Linear Algebra for Large Scale and Real-Time Applications, Kluwer, 1993). The pair is transformed from both sides,
// Q^H (A, B) Z.
//
// wantq   whether the columns of Q follow
// wantz   whether the columns of Z follow
// n       order of all matrices
// a       n by n, upper quasi-triangular (real) or triangular (complex), lda >= max(1, n); reordered out
// b       n by n, upper triangular, ldb >= max(1, n); reordered out
// q       n by n, ldq >= max(1, n) with wantq; else not looked at, ldq >= 1
// z       n by n, ldz >= max(1, n) with wantz; else not looked at, ldz >= 1

#include "base/types.hpp"

namespace nuv {

/// Moves a diagonal block of a real pair from row ifst to row ilst; the blocks between move by one place.
///
/// ifst    1 ... n; the second row of a block of order two stands for the first, and is replaced by it
/// ilst    the same; out the first row of the block where it has come to rest, which may be off by one where blocks of
///         order two lie in between, or where they split
/// work    lwork elements; work(1) returns the least lwork: 4 n + 16, and 1 for n <= 1
/// lwork   as much; -1 asks for that and does nothing else
/// info    0; 1: two blocks were too close to be swapped, the pair is reordered as far as ilst tells; -k: argument
///         k was bad (reported)
template <RealScalar T>
void tgexc(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int& ifst,
           Int& ilst, T* work, Int lwork, Int& info);

/// Moves the elements in row ifst of the diagonals of a complex pair to row ilst; those between move by one place.
///
/// ifst    1 ... n
/// ilst    1 ... n; out the row where the elements have come to rest
/// info    0; 1: two eigenvalues were too close to be swapped, the pair is reordered as far as ilst tells; -k: argument
///         k was bad (reported)
template <ComplexScalar T>
void tgexc(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int ifst,
           Int& ilst, Int& info);

}  // namespace nuv
