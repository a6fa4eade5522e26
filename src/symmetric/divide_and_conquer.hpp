#pragma once

// Eigenvalues and eigenvectors of symmetric tridiagonal matrices by divide and conquer: the matrix is halved until the
// parts are small, whose eigensystems are then merged again two by two (symmetric/merges.hpp).
//
// info    0; -k: argument k was bad (reported); above 0: the eigensystem of the part in rows and columns info / (n + 1)
//         to mod(info, n + 1) was not found

#include "base/types.hpp"

namespace nuv {

/// Finds all eigenvalues and, if wanted, eigenvectors of a symmetric tridiagonal matrix T.
///
/// compz   'N': eigenvalues alone; 'I': and the eigenvectors of T; 'V': and those of A = Q T Q^H
/// d       n elements; the diagonal in, the eigenvalues in increasing order out
/// e       n - 1 elements; the diagonal beside it; destroyed
/// z       n by n; 'V': Q in, else out alone; the eigenvectors in its columns; ldz >= 1, for 'V' and 'I' max(1, n)
/// work    lwork >= 1 elements; for n > 1, with 2^l the least power of two from n on: 'V' 1 + 3 n + 2 n l + 3 n^2,
///         'I' 1 + 4 n + n^2; work(1): that number
/// iwork   liwork >= 1 elements; 'V' 6 + 6 n + 5 n l, 'I' 3 + 5 n; iwork(1): that number
///
/// lwork = -1 or liwork = -1 asks for both numbers alone.
template <RealScalar T>
void stedc(char compz, Int n, T* d, T* e, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int liwork, Int& info);

/// The same for complex eigenvectors.
///
/// work    lwork >= 1 elements; 'V' n^2
/// rwork   lrwork >= 1 elements; 'V' 1 + 3 n + 2 n l + 3 n^2, 'I' 1 + 4 n + 2 n^2; rwork(1): that number
template <ComplexScalar T>
void stedc(char compz, Int n, Real<T>* d, Real<T>* e, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork, Int lrwork,
           Int* iwork, Int liwork, Int& info);

}  // namespace nuv
