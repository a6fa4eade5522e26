#pragma once

// Reduction of a symmetric (Hermitian) matrix to tridiagonal form in two stages: to a band, by blocks of reflectors
// whose work is in products of matrices, and from the band to tridiagonal form, by chasing bulges along it
// (C. H. Bischof, B. Lang and X. Sun, "A framework for symmetric band reduction", ACM TOMS 26, 2000).
//
// The complex members are exported as ?herdb and ?herb2.

#include "base/types.hpp"

namespace nuv {

/// Reduces A to a tridiagonal T = Q^H A Q.
///
/// jobz    'N': T alone, 'V': Q is returned in a, 'U': z is multiplied by Q from the right
/// uplo    'U' or 'L': the triangle that holds A; the other is not looked at
/// kd      diagonals beside the main one that the band is to have, >= 1; more than n - 1 count as n - 1
/// a       order n, lda >= max(1, n); A in, Q ('V') or nothing of use out
/// d, e    n and n - 1 elements: the diagonal of T and what stands beside it
/// tau     n elements; the factors of the reflectors of the first stage
/// z       jobz 'U': n by n, ldz >= max(1, n); else not used, ldz >= 1
/// work    lwork elements; work(1) returns the best lwork, (3 kd + 3) n
/// lwork   below the best one, blocks are narrower and Q is updated a reflector at a time. The least that does holds
///         the band, n (2 kd + 1), and n elements ('V', 'U') or kd ('N') beside it; 1 where n <= 1. -1 asks for the
///         best and does nothing else
/// info    0, or -k: argument k was bad (reported); a bad ldz counts as argument 9 and a bad lwork as 11
template <Scalar T>
void syrdb(char jobz, char uplo, Int n, Int kd, T* a, Int lda, Real<T>* d, Real<T>* e, T* tau, T* z, Int ldz, T* work,
           Int lwork, Int& info);

/// Triangularises a panel A of m rows and nb columns, A := Q^H A, with Q = I - Y V^H the product of its reflectors. For
/// uplo 'L' zeros come below the diagonal that begins in the upper left corner and the product is H1 ... Hnb; for any
/// other uplo above the diagonal that ends in the lower right one, and it is Hnb ... H1. Nothing is checked.
///
/// a       lda >= max(1, m); the triangle out, with the reflectors in place of the zeros
/// tau     nb elements; that of a column with nothing to make zero is not written
/// v, y    m by nb, ldv and ldy >= max(1, m); V has zeros and ones in place
template <Scalar T>
void syrb2(char uplo, Int m, Int nb, T* a, Int lda, T* tau, T* v, Int ldv, T* y, Int ldy);

}  // namespace nuv
