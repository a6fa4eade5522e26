#pragma once

// The tree of divide and conquer for a symmetric tridiagonal matrix: it is halved until the parts are small, their
// eigensystems are found by QR iteration, and merged again two by two (symmetric/merges.hpp).
//
// n       order of the matrix
// d       n elements; the diagonal in, the eigenvalues in increasing order out
// e       n - 1 elements; the diagonal beside it
// qsiz    rows of Q, qsiz >= n where there is one
// qstore  qsiz by n, ldqs >= max(1, n): scratch memory
// info    0; -k: argument k was bad (reported); first (n + 1) + last: the eigensystem of the part in these rows and
//         columns was not found
//
// With l the logarithm of the least power of two from n on. Where eigenvectors are kept as factors, n is at most 46340:
// places in them are counted in 32 bits.

#include "base/types.hpp"

namespace nuv {

/// The serial body behind the layer stub `laed0`.
///
/// icompq  0: eigenvalues alone; 1: and the products of Q with the eigenvectors; 2: and the eigenvectors themselves
/// q       ldq >= max(1, n); 1: qsiz by n, Q in, the products out; 2: n by n, the identity in, the eigenvectors out;
///         0: not used, nor is qstore, which only 1 uses
/// work    2: 4 n + n^2 elements, else 1 + 3 n + 2 n l + n^2 + max(qsiz, n) n;  iwork  2: 3 + 5 n, else 6 + 6 n + 5 n l
template <RealScalar T>
void xlaed0(Int icompq, Int qsiz, Int n, T* d, T* e, T* q, Int ldq, T* qstore, Int ldqs, T* work, Int* iwork, Int& info);

/// The same for a complex Q, as for icompq = 1.
///
/// q       qsiz by n, ldq >= max(1, n); Q in, its products with the eigenvectors out
/// rwork   1 + 3 n + 2 n l + n^2 elements;  iwork  6 + 6 n + 5 n l
template <ComplexScalar T>
void xlaed0(Int qsiz, Int n, Real<T>* d, Real<T>* e, T* q, Int ldq, T* qstore, Int ldqs, Real<T>* rwork, Int* iwork,
            Int& info);

}  // namespace nuv
