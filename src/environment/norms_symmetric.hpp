#pragma once

// Norms of symmetric and Hermitian matrices of order n, of which one triangle is stored. norm as in norms_general.hpp.
//
// uplo    'U': the upper triangle is there, else the lower; the other one is not read
// work    n row sums for the one-norm and the infinity-norm, which are the same; no other norm touches it
//
// In Hermitian matrices the imaginary parts of the diagonal are not read.

#include "base/types.hpp"

namespace nuv {

/// a  n by n, lda >= max(1, n)
template <Scalar T>
Real<T> lansy(char norm, char uplo, Int n, const T* a, Int lda, Real<T>* work);

/// ap  a triangle, its columns one behind the other
template <Scalar T>
Real<T> lansp(char norm, char uplo, Int n, const T* ap, Real<T>* work);

/// ab  k + 1 diagonals, the main one in row k + 1 (upper) or 1 (lower)
template <Scalar T>
Real<T> lansb(char norm, char uplo, Int n, Int k, const T* ab, Int ldab, Real<T>* work);

/// Tridiagonal with diagonal d and e beside it.
template <RealScalar T>
T lanst(char norm, Int n, const T* d, const T* e);

/// Hermitian, a  n by n, lda >= max(1, n)
template <ComplexScalar T>
Real<T> lanhe(char norm, char uplo, Int n, const T* a, Int lda, Real<T>* work);

/// The same in packed storage.
template <ComplexScalar T>
Real<T> lanhp(char norm, char uplo, Int n, const T* ap, Real<T>* work);

/// ab  k + 1 diagonals, the main one in row k + 1 (upper) or 1 (lower)
template <ComplexScalar T>
Real<T> lanhb(char norm, char uplo, Int n, Int k, const T* ab, Int ldab, Real<T>* work);

/// Tridiagonal with real diagonal d, and e beside it.
template <ComplexScalar T>
Real<T> lanht(char norm, Int n, const Real<T>* d, const T* e);

}  // namespace nuv
