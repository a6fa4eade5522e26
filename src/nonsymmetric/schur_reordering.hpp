#pragma once

// Reordering of the eigenvalues on the diagonal of a Schur form by swaps of neighbours (Z. Bai and J. W. Demmel, "On
// swapping diagonal blocks in real Schur form", Linear Algebra Appl. 186, 1993).

#include "base/types.hpp"

namespace nuv {

/// Moves a diagonal block of a real Schur form from row ifst to row ilst; the blocks between move by one place.
///
/// compq   'V': the columns of Q follow, 'N': they don't
/// n       order of T and Q
/// t       quasi-triangular with blocks in standard form, ldt >= max(1, n); reordered out
/// q       n by n, ldq >= max(1, n) for 'V'; else not looked at, ldq >= 1
/// ifst    1 ... n; the second row of a block of order two stands for the first, and is replaced by it
/// ilst    the same; out the first row of the block where it has come to rest, which may be off by one where blocks of
///         order two lie in between, or where they split
/// work    n elements
/// info    0; 1: two blocks were too close to be swapped, T is reordered as far as ilst tells; -k: argument k was bad
///         (reported)
template <RealScalar T>
void trexc(char compq, Int n, T* t, Int ldt, T* q, Int ldq, Int& ifst, Int& ilst, T* work, Int& info);

/// Moves the element in row ifst of the diagonal of a complex Schur form to row ilst; those between move by one place.
template <ComplexScalar T>
void trexc(char compq, Int n, T* t, Int ldt, T* q, Int ldq, Int ifst, Int ilst, Int& info);

}  // namespace nuv
