#pragma once

// The orthogonal (unitary) matrices of reductions of a general matrix to bidiagonal form, A = Q B P^H, and to
// Hessenberg form, A = Q H Q^H, and of a symmetric (Hermitian) one to tridiagonal form, A = Q T Q^H: their reflectors
// stand in parts of the reduced matrix as those of QR, LQ and QL factorisations do.
//
// tau, c, info and the letters of side and trans are as in orthogonal/apply_q.hpp and orthogonal/form_q.hpp; the real
// members are exported as ?orm.. and ?org.., the complex ones as ?unm.. and ?ung...
//
// work    lwork elements; work(1) returns the best lwork: where Q is formed, the block size times the least lwork;
//         where it is applied, the block size times max(1, nw), nw being the size of C that is not nq (the routine
//         that does so then asks the pool for its triangular factors)
// lwork   at least max(1, nw), or what stands below; -1 asks for the best and does nothing else

#include "base/types.hpp"

namespace nuv {

/// C := op(X) C or C op(X) for X = Q (vect 'Q') or P (vect 'P') of a bidiagonal reduction, C m by n, X of order nq = m
/// or n.
///
/// k       vect 'Q': columns, 'P': rows of the matrix that was reduced
/// a       nq by min(nq, k), lda >= max(1, nq) ('Q'), or min(nq, k) by nq, lda >= max(1, min(nq, k)) ('P')
template <Scalar T>
void ormbr(char vect, char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info);

/// C := op(Q) C or C op(Q) for the Q of a tridiagonal reduction that worked on the triangle uplo.
///
/// a       order nq, lda >= max(1, nq)
template <Scalar T>
void ormtr(char side, char uplo, char trans, Int m, Int n, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info);

/// C := op(Q) C or C op(Q) for the Q of a Hessenberg reduction of rows and columns ilo ... ihi.
///
/// ilo, ihi  1 <= ilo <= ihi <= nq; 1 and 0 where nq is zero
/// a       order nq, lda >= max(1, nq)
template <Scalar T>
void ormhr(char side, char trans, Int m, Int n, Int ilo, Int ihi, T* a, Int lda, const T* tau, T* c, Int ldc, T* work,
           Int lwork, Int& info);

/// Forms Q (vect 'Q') or P^H (vect 'P') of a bidiagonal reduction in the place of its reflectors.
///
/// m, n    'Q': the first n columns of Q of order m, m >= n >= min(m, k); 'P': the first m rows of P^H of order n,
///         n >= m >= min(n, k)
/// k       'Q': columns, 'P': rows of the matrix that was reduced
/// work    lwork >= max(1, min(m, n))
template <Scalar T>
void orgbr(char vect, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info);

/// Forms the Q of order n of a tridiagonal reduction that worked on the triangle uplo; lwork >= max(1, n - 1).
template <Scalar T>
void orgtr(char uplo, Int n, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info);

/// Forms the Q of order n of a Hessenberg reduction of rows and columns ilo ... ihi; lwork >= max(1, ihi - ilo).
/// work(1) is set whatever the arguments are.
template <Scalar T>
void orghr(Int n, Int ilo, Int ihi, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info);

}  // namespace nuv
