#pragma once

// Symmetric (Hermitian) positive definite band systems by Cholesky factorisation: A = U^H U or A = L L^H.
//
// uplo    'U' or 'L': the triangle that holds the matrix and then its factor
// ab      (kd + 1) by n, ldab >= kd + 1: element (i, j) stands in ab(kd + 1 + i - j, j) of an upper triangle, in
//         ab(1 + i - j, j) of a lower one
// info    0; -k: argument k was bad (reported); where a routine factors, k: the leading minor of order k is not
//         positive definite, and the triangle is then neither the matrix nor a factor

#include "base/types.hpp"

namespace nuv {

/// Factors a band matrix of order n, by blocks where it has more than 64 diagonals beside the main one. Imaginary parts
/// on the diagonal count as zero.
template <Scalar T>
void pbtrf(char uplo, Int n, Int kd, T* ab, Int ldab, Int& info);

/// The same column by column.
template <Scalar T>
void pbtf2(char uplo, Int n, Int kd, T* ab, Int ldab, Int& info);

/// Solves A X = B from the factor of A; the serial body behind the layer stub `pbtrs`. With several right-hand sides
/// and a band that is not narrow, by blocks, for which it asks for work memory.
///
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out
template <Scalar T>
void xpbtrs(char uplo, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb, Int& info);

/// The same, each right-hand side by itself.
template <Scalar T>
void pbts2(char uplo, Int n, Int kd, Int nrhs, const T* ab, Int ldab, T* b, Int ldb, Int& info);

/// Solves A X = B for a positive definite band matrix of order n.
///
/// ab      the matrix in, its factor out
/// b       n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out; untouched if info is not zero
template <Scalar T>
void pbsv(char uplo, Int n, Int kd, Int nrhs, T* ab, Int ldab, T* b, Int ldb, Int& info);

}  // namespace nuv
