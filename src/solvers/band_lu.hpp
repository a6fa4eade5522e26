#pragma once

// General band systems by LU factorisation with partial pivoting.
//
// kl, ku  diagonals below and above the main one
// ab      (2 kl + ku + 1) by n, ldab >= 2 kl + ku + 1: element (i, j) of the matrix stands in
//         ab(kl + ku + 1 + i - j, j). The first kl rows need not be set, and take what the row exchanges add to U,
//         which has kl + ku diagonals above the main one. The multipliers of L stand below the diagonal, each column
//         where it was made: later exchanges are not applied to them.
// ipiv    min(m, n) row exchanges, one-based

#include "base/types.hpp"

namespace nuv {

/// Factors an m by n band matrix by blocks; the serial body behind the layer stub `gbtrf`. With at most 64 diagonals
/// above or fewer than 32 below, column by column (J. Du Croz, P. Mayes, G. Radicati, "Factorizations of band matrices
/// using level 3 BLAS", Lecture Notes in Computer Science 457, 1990).
///
/// info    0; -k: argument k was bad (reported); k: U(k, k) is the first pivot that is exactly zero (the factorisation
///         is complete all the same, but nothing can be solved with it)
template <Scalar T>
void xgbtrf(Int m, Int n, Int kl, Int ku, T* ab, Int ldab, Int* ipiv, Int& info);

/// The same column by column.
template <Scalar T>
void gbtf2(Int m, Int n, Int kl, Int ku, T* ab, Int ldab, Int* ipiv, Int& info);

/// Solves op(A) X = B from the factors of a band matrix of order n; the serial body behind the layer stub `gbtrs`. With
/// several right-hand sides and a band that is not narrow, by blocks, for which it asks for work memory.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// ab      factors as left by gbtrf
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void xgbtrs(char trans, Int n, Int kl, Int ku, Int nrhs, const T* ab, Int ldab, const Int* ipiv, T* b, Int ldb,
            Int& info);

/// The same row by row.
template <Scalar T>
void gbts2(char trans, Int n, Int kl, Int ku, Int nrhs, const T* ab, Int ldab, const Int* ipiv, T* b, Int ldb,
           Int& info);

/// Solves A X = B for a general band matrix of order n.
///
/// ab      the matrix in, its factors out;  ipiv  n row exchanges, out
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out; untouched if info is not zero
/// info    as for xgbtrf
template <Scalar T>
void gbsv(Int n, Int kl, Int ku, Int nrhs, T* ab, Int ldab, Int* ipiv, T* b, Int ldb, Int& info);

}  // namespace nuv
