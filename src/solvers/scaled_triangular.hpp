#pragma once

// Solves of triangular systems that neither overflow nor stop at a singular matrix: what estimates of a condition
// number and inverse iteration stand on (E. Anderson, "Robust triangular solves for use in condition estimation",
// 1991).
//
// They find x with op(A) x = scale b for a factor that keeps x in range. Where no number gets too large without a
// factor, scale is one and the solve a plain one, at its speed. If A has an exact zero on its diagonal, scale is zero
// and x a solution of op(A) x = 0 that is not zero.
//
// uplo    'U' or 'L': the triangle that is stored
// trans   'N': A, 'T': A^T, 'C': A^H
// diag    'N', or 'U' for a diagonal of ones, which is not touched
// normin  'Y': cnorm holds the column sums, as an earlier solve with A left them; 'N': they are computed
// x       n elements; b in, x out
// scale   the factor, at least 0; above 1 only if a column sum of A exceeds the largest reciprocal of a safe number
// cnorm   n elements: the sums of the magnitudes (|re| + |im|) in each column of A without its diagonal entry
// info    0, or -k: argument k was bad (reported)
//
// If a number in x or A is infinite or NaN, scale is one and x what plain substitution makes of it.

#include "base/types.hpp"

namespace nuv {

/// a   order n, lda >= max(1, n)
template <Scalar T>
void latrs(char uplo, char trans, char diag, char normin, Int n, const T* a, Int lda, T* x, Real<T>& scale,
           Real<T>* cnorm, Int& info);

/// ap  order n, packed
template <Scalar T>
void latps(char uplo, char trans, char diag, char normin, Int n, const T* ap, T* x, Real<T>& scale, Real<T>* cnorm,
           Int& info);

/// ab  order n with kd >= 0 diagonals beside the main one, ldab >= kd + 1; the main diagonal is row kd + 1 (upper) or 1
template <Scalar T>
void latbs(char uplo, char trans, char diag, char normin, Int n, Int kd, const T* ab, Int ldab, T* x, Real<T>& scale,
           Real<T>* cnorm, Int& info);

}  // namespace nuv
