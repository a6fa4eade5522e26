#pragma once

// Norms of general matrices.
//
// norm    'M': largest magnitude (not a matrix norm), 'O' or '1': one-norm, 'I': infinity-norm, 'F' or 'E': Frobenius
//         norm; the norm for any other letter is zero
// work    row sums for the infinity-norm, one for each row; no other norm touches it
//
// The norm of an empty matrix is zero. Nothing looks for NaN in maxima and sums: one may or may not survive into the
// result. The Frobenius norm is NaN then.

#include "base/types.hpp"

namespace nuv {

/// a  m by n, lda >= max(1, m)
template <Scalar T>
Real<T> lange(char norm, Int m, Int n, const T* a, Int lda, Real<T>* work);

/// ab  kl + ku + 1 diagonals of a band matrix of order n, the main one in row ku + 1
template <Scalar T>
Real<T> langb(char norm, Int n, Int kl, Int ku, const T* ab, Int ldab, Real<T>* work);

/// Tridiagonal of order n: dl below the diagonal d, du above it.
template <Scalar T>
Real<T> langt(char norm, Int n, const T* dl, const T* d, const T* du);

/// a  upper Hessenberg of order n; nothing below the first subdiagonal is read
template <Scalar T>
Real<T> lanhs(char norm, Int n, const T* a, Int lda, Real<T>* work);

}  // namespace nuv
