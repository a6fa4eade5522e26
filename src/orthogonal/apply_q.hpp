#pragma once

// Products with the orthogonal (unitary) Q of a QR, LQ, QL or RQ factorisation:
//
//     C := op(Q) C (side 'L') or C op(Q) (side 'R')    C m by n, Q of order nq = m or n, the product of k reflectors
//
// trans   'N' for Q; 'T' (real) or 'C' (complex) for Q^H
// k       0 <= k <= nq
// a       the reflectors as the factorisation left them: k columns of nq elements with lda >= max(1, nq) (QR, QL), or k
//         rows with lda >= max(1, k) (LQ, RQ); read, with unit elements put in place and taken back on the way, so
//         that nobody else may read it meanwhile
// tau     k factors;  c  ldc >= max(1, m)
// info    0, or -i: argument i was bad (reported)
//
// The real members are exported as ?orm.. and the complex ones as ?unm...

#include "base/types.hpp"

namespace nuv {

/// The serial bodies behind the layer stubs. The triangular factors of all blocks are formed first; then C passes
/// through them in strips of at most 256 columns (left) or rows (right), each strip staying in cache for all blocks.
///
/// work    lwork elements; work(1) returns the best lwork: (nw + k) nb, with nw the size of C that is not nq and nb the
///         block size
/// lwork   at least max(1, nw); -1 asks for the best and does nothing else. With less than the best the memory comes
///         from the pool; where that has none, reflectors are applied one by one, with the same result up to rounding.
template <Scalar T>
void xormqr(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info);
template <Scalar T>
void xormlq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info);
template <Scalar T>
void xormql(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info);
template <Scalar T>
void xormrq(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int lwork,
            Int& info);

/// One reflector at a time; work holds nw elements.
template <Scalar T>
void orm2r(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info);
template <Scalar T>
void orml2(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info);
template <Scalar T>
void orm2l(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info);
template <Scalar T>
void ormr2(char side, char trans, Int m, Int n, Int k, T* a, Int lda, const T* tau, T* c, Int ldc, T* work, Int& info);

}  // namespace nuv
