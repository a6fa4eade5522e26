#pragma once

// Norms of triangular matrices. norm and work as in norms_general.hpp.
//
// uplo    'U': upper, else lower; the other triangle is not read
// diag    'U': the diagonal counts as ones and is not read

#include "base/types.hpp"

namespace nuv {

/// a  trapezoid of an m by n matrix, lda >= max(1, m)
template <Scalar T>
Real<T> lantr(char norm, char uplo, char diag, Int m, Int n, const T* a, Int lda, Real<T>* work);

/// ap  triangle of order n, its columns one behind the other
template <Scalar T>
Real<T> lantp(char norm, char uplo, char diag, Int n, const T* ap, Real<T>* work);

/// ab  k + 1 diagonals of a triangle of order n, the main one in row k + 1 (upper) or 1 (lower)
template <Scalar T>
Real<T> lantb(char norm, char uplo, char diag, Int n, Int k, const T* ab, Int ldab, Real<T>* work);

}  // namespace nuv
