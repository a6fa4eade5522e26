#pragma once

// Eigenvalues and eigenvectors of symmetric tridiagonal matrices by implicit QL and QR iteration with Wilkinson's shift
// (J. H. Wilkinson, C. Reinsch, Handbook for Automatic Computation II, 1971). The rotations of many sweeps are kept and
// reach the eigenvectors together (B. Lang, Using level 3 BLAS in rotation-based algorithms, SIAM J. Sci. Comput. 19,
// 1998).

#include "base/types.hpp"

namespace nuv {

/// Finds all eigenvalues and, if wanted, eigenvectors of a symmetric tridiagonal matrix T.
///
/// compz   'N': eigenvalues alone; 'I': and the eigenvectors of T; 'V': and those of A = Q T Q^H
/// d       n elements; the diagonal in, the eigenvalues in increasing order out
/// e       n - 1 elements; the diagonal beside it; destroyed
/// z       n by n; 'V': Q in, else out alone; the eigenvectors in its columns; ldz >= 1, for 'V' and 'I' max(1, n)
/// work    max(1, 2 n - 2) elements; not used for 'N'
/// info    0; -k: argument k was bad (reported); k: after 30 n sweeps k off-diagonals are not zero yet. Then d and e
///         hold a tridiagonal matrix that is orthogonally similar to T by what has been applied to z, in no order
///
/// The table of rotations is asked of malloc: it lives as long as the call, and is too large for a pool that others
/// share. Without it each sweep goes to z at once.
template <Scalar T>
void steqr(char compz, Int n, Real<T>* d, Real<T>* e, T* z, Int ldz, Real<T>* work, Int& info);

/// One QR sweep over an unreduced tridiagonal matrix of order n + 1, n >= 1, with Wilkinson's shift from its end:
/// rotations 1 ... n, of which rotation i turns the plane (i, i + 1). No element of e is zero.
///
/// icompz  above 0: the rotations are stored
/// d, e    n + 1 and n elements
/// work    work(i) and work(ldwork + i): cosine and sine of rotation i
template <RealScalar T>
void laq5(Int icompz, Int n, T* d, T* e, T* work, Int ldwork);

/// One QL sweep, with the shift from the beginning: rotations n ... 1. The rest as for laq5.
template <RealScalar T>
void laq6(Int icompz, Int n, T* d, T* e, T* work, Int ldwork);

}  // namespace nuv
