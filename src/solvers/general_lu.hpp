#pragma once

// General systems by LU factorisation with partial pivoting: A = P L U, L unit lower triangular below the diagonal, U
// upper triangular. Matrices are column-major; ipiv holds, for each row i up to min(m, n), the one-based row with which
// row i was exchanged.

#include "base/types.hpp"

namespace nuv {

/// Factors an m by n matrix; the serial body behind the layer stub `getrf`, which checks the arguments for it.
///
/// a       m by n, lda >= max(1, m); the matrix in, L and U out
/// ipiv    min(m, n) row exchanges, out
/// info    in: zero; out: k if U(k, k) is the first pivot that is exactly zero (the factorisation is complete all the
///         same, but nothing can be solved with it), else as it was
///
/// The double-precision member is right-looking and takes its block widths from `getrf_panel_width`; the others are
/// left-looking (S. Toledo, "Locality of reference in LU decomposition with partial pivoting", SIAM J. Matrix Anal.
/// Appl. 18, 1997, for the recursion on the panel). Pivots and factors agree up to rounding.
template <Scalar T>
void xgetrf(Int m, Int n, T* a, Int lda, Int* ipiv, Int& info);

template <>
void xgetrf<double>(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info);

/// Factors an m by n matrix column by column with matrix-vector products; checks nothing. Arguments as for xgetrf, but
/// info is set to zero first.
template <Scalar T>
void getf2(Int m, Int n, T* a, Int lda, Int* ipiv, Int& info);

/// Solves op(A) X = B for a general square A from its LU factors. A pivot that is zero is not noticed: what is divided
/// by it is infinite or NaN.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// a       n by n factors, lda >= max(1, n), as left by getrf;  ipiv  n row exchanges, one-based
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
/// info    0, or -k: argument k was bad (reported); b is untouched then
template <Scalar T>
void getrs(char trans, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info);

/// Solves A X = B for a general square A.
///
/// a       n by n, lda >= max(1, n); the matrix in, its factors out;  ipiv  n row exchanges, out
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
/// info    0; -k: argument k was bad (reported); k: U(k, k) is exactly zero, the factors are there, b is untouched and
///         no solution
template <Scalar T>
void gesv(Int n, Int nrhs, T* a, Int lda, Int* ipiv, T* b, Int ldb, Int& info);

/// Inverts a general square A from its LU factors, in place.
///
/// a       n by n, lda >= max(1, n); factors as left by getrf in, the inverse out;  ipiv  n row exchanges
/// work    lwork elements; work(1) returns the best lwork
/// lwork   at least max(1, n), best n times the block size; -1 asks for the best and does nothing else
/// info    0; -k: argument k was bad (reported); k: U(k, k) is exactly zero, a is untouched and no inverse
template <Scalar T>
void getri(Int n, T* a, Int lda, const Int* ipiv, T* work, Int lwork, Int& info);

/// Applies the row interchanges i <-> ipiv(ix) for i from k1 to k2 to the n columns of A; checks nothing.
///
/// incx    increment of ix through ipiv; positive: i runs from k1 up with ix starting at 1 + (k1 - 1) incx, negative: i
///         runs from k2 down with ix starting at 1 + (1 - k2) incx, zero: nothing is done
///
/// The double-precision member takes a few columns at a time through all interchanges and swaps whatever ipiv says; the
/// others swap whole rows and leave out those that stay.
template <Scalar T>
void laswp(Int n, T* a, Int lda, Int k1, Int k2, const Int* ipiv, Int incx);

template <>
void laswp<double>(Int n, double* a, Int lda, Int k1, Int k2, const Int* ipiv, Int incx);

}  // namespace nuv
