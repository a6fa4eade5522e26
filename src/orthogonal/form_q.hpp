#pragma once

// The first columns (QR), last columns (QL), first rows (LQ) or last rows (RQ) of the orthogonal (unitary) Q of a
// factorisation, formed in the place of its reflectors.
//
// QR, QL: an m by n matrix with orthonormal columns, m >= n >= k >= 0; a holds the k reflectors in its first (QR) or
//         last (QL) k columns; work holds n elements, or lwork >= max(1, n)
// LQ, RQ: an m by n matrix with orthonormal rows, n >= m >= k >= 0; a holds them in its first (LQ) or last (RQ) k rows;
//         work holds m elements, or lwork >= max(1, m)
//
// lda     >= max(1, m)
// tau     k factors
// work    work(1) returns the best lwork: n (m) times the block size, or n (m) where blocks would not pay; lwork = -1
//         asks for the former and does nothing else
// info    0, or -i: argument i was bad (reported)
//
// The real members are exported as ?org.. and the complex ones as ?ung...

#include "base/types.hpp"

namespace nuv {

/// By blocks of reflectors.
template <Scalar T>
void orgqr(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info);
template <Scalar T>
void orglq(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info);
template <Scalar T>
void orgql(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info);
template <Scalar T>
void orgrq(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int lwork, Int& info);

/// One reflector at a time.
template <Scalar T>
void org2r(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info);
template <Scalar T>
void orgl2(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info);
template <Scalar T>
void org2l(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info);
template <Scalar T>
void orgr2(Int m, Int n, Int k, T* a, Int lda, const T* tau, T* work, Int& info);

}  // namespace nuv
