#pragma once

// Test problems for generalised Sylvester equations.

#include "base/types.hpp"

namespace nuv {

/// The matrices of
///
///     A R - L B = C
///     D R - L E = F
///
/// with A and D of order m, B and E of order n and the others m by n (B. Kagstrom, P. Poromaa, ACM Trans. Math. Softw.
/// 22, 1996). They are reproducible: their random numbers are w(k) = 1/2 - sin(k) for integers k. Nothing is checked,
/// and each leading dimension is at least the number of rows.
///
/// prtype   1: A a Jordan block with eigenvalue 1 and -1 above it, B one with 1 - alpha and 1, D and E identities;
///             L = R = 20 w(i / j), in integers
///          2: upper triangular, A = 2 w(i), B = 2 w(i + j), D = 2 w(i j), E = 2 w(j); R = 20 w(i j), L = 20 w(i + j)
///          3: the same with quasi-triangular A and B: at k = 1, 1 + qblcka, ... a block of order two in A, at
///             1, 1 + qblckb, ... one in B, with equal elements on the diagonal and signs that differ beside it
///          4: full, A = 20 w(i j), B = 20 w(i + j), D = 2 w(i + j), E = 2 w(i j); R = 20 w(j / i), L = 2 w(i j)
///          5: blocks of order two with eigenvalues that come close as alpha grows, D and E identities;
///             R = alpha w(i j) / 20, L = alpha w(i + j) / 20
///          less: the six matrices are given; more: as 5
/// a ... l  the matrices A to F, R and L
/// alpha    for 1 and 5
/// qblcka, qblckb  for 3; less than 2 counts as 2
template <Scalar T>
void latm5(Int prtype, Int m, Int n, T* a, Int lda, T* b, Int ldb, T* c, Int ldc, T* d, Int ldd, T* e, Int lde, T* f,
           Int ldf, T* r, Int ldr, T* l, Int ldl, Real<T> alpha, Int qblcka, Int qblckb);

}  // namespace nuv
