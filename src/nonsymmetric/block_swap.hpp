#pragma once

// Exchange of two neighbouring diagonal blocks of a real Schur form (Z. Bai and J. W. Demmel, "On swapping diagonal
// blocks in real Schur form", Linear Algebra Appl. 186, 1993).

#include "base/types.hpp"

namespace nuv {

/// Exchanges the block of order n1 that begins in row j1 with that of order n2 behind it, by an orthogonal similarity.
/// Blocks of order two are in standard form afterwards, unless their eigenvalues turn out to be real: then they are
/// two blocks of order one.
///
/// wantq   whether the columns of Q follow
/// n       order of T and Q; nothing is done for n = 0
/// t       quasi-triangular with blocks in standard form, ldt >= max(1, n)
/// q       n by n, ldq >= n with wantq; else not looked at
/// j1      first row of the first block
/// n1, n2  0, 1 or 2; nothing is done if one of them is 0, or if there are no rows behind the first block
/// work    n elements
/// info    1 if the blocks are so close that the result would not be quasi-triangular: T and Q are as they were
template <RealScalar T>
void laexc(Logical wantq, Int n, T* t, Int ldt, T* q, Int ldq, Int j1, Int n1, Int n2, T* work, Int& info);

}  // namespace nuv
