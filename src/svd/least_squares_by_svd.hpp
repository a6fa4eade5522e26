#pragma once

// Least squares with a general matrix of any rank, by its singular value decomposition (G. H. Golub and C. Reinsch,
// "Singular value decomposition and least squares solutions", Numer. Math. 14, 1970): of all X that minimise
// ||A X - B||, column by column, the one of least norm. A singular value that is negligible beside the largest counts
// as zero.
//
// A matrix with one side 1.6 times as long as the other or more is factored first, A = Q R or A = L Q; a wide one only
// where there is workspace for a copy of L.
//
// m, n    rows and columns of A;  nrhs  columns of B, at least 0. Below, k = min(m, n) and l = max(m, n)
// a       m by n, lda >= max(1, m); destroyed
// b       ldb >= max(1, m, n); m rows of right-hand sides in, n rows of solutions out. Below the solutions of more
//         equations than unknowns, where the rank is n, stand numbers whose sum of squares is that of the residual, the
//         residual of a scaled B where B is very small or large
// s       k singular values out, in decreasing order
// rank    number of the values that count
// work    lwork elements; work(1) returns the best lwork, one for an empty matrix

#include "base/types.hpp"

namespace nuv {

/// By QR iteration (svd/bidiagonal_qr.hpp).
///
/// rcond   a value of rcond times the largest or less counts as zero, and so does one whose reciprocal is not finite;
///         below zero rcond stands for the unit of rounding
/// lwork   at least 1 for an empty matrix, else max(3 k + nrhs, 5 k), and 3 k + l but where A = Q R; -1 asks for the
///         best and does nothing else. With less than the best, blocks are narrower, and products go by fewer columns
/// info    0, or -i: argument i was bad (reported); i > 0: i elements beside the diagonal of the bidiagonal matrix did
///         not converge to zero; b and s hold nothing of use then, and rank is zero
template <RealScalar T>
void gelss(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, T* s, T rcond, Int& rank, T* work, Int lwork,
           Int& info);

/// The same for complex matrices.
///
/// lwork   at least 1 for an empty matrix, else 2 k + max(nrhs, l)
/// rwork   5 k elements
template <ComplexScalar T>
void gelss(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Real<T>* s, Real<T> rcond, Int& rank, T* work,
           Int lwork, Real<T>* rwork, Int& info);

/// By divide and conquer (svd/divided_least_squares.hpp), which is faster for all but small matrices.
///
/// rcond   a value of rcond times the largest or less counts as zero; what is zero or less, or one or more, stands for
///         the unit of rounding
/// lwork   at least 1 for an empty matrix, else, with h = max(0, int(log2(k / 26)) + 1), k (62 + 8 h + nrhs) + 676, and
///         3 k + l but where A = Q R; -1 asks for the best, which also sets iwork(1), and does nothing else
/// iwork   max(1, k (3 h + 11)) places; iwork(1) returns that number
/// info    0, or -i: argument i was bad (reported); i > 0: the singular values of a part of the bidiagonal matrix were
///         not found, as lalsd says; b and s hold nothing of use then, and rank is zero
template <RealScalar T>
void gelsd(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, T* s, T rcond, Int& rank, T* work, Int lwork,
           Int* iwork, Int& info);

/// The same for complex matrices.
///
/// lwork   at least 1 for an empty matrix, else 2 k + max(k, k nrhs), and 2 k + l but where A = Q R
/// rwork   max(1, k (60 + 8 h) + 75 nrhs + 676) elements; rwork(1) returns that number, also where lwork is -1
template <ComplexScalar T>
void gelsd(Int m, Int n, Int nrhs, T* a, Int lda, T* b, Int ldb, Real<T>* s, Real<T> rcond, Int& rank, T* work,
           Int lwork, Real<T>* rwork, Int* iwork, Int& info);

}  // namespace nuv
