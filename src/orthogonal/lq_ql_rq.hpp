#pragma once

// LQ, QL and RQ factorisation by Householder reflectors, k = min(m, n) of them, with their factors in tau.
//
//     LQ   A = L Q, Q = Hk^H ... H1^H   L in the lower triangle, v_i^H in row i right of it
//     QL   A = Q L, Q = Hk ... H1       L in the lower triangle that ends in the last element, v_i in column n - k + i
//                                       above it
//     RQ   A = R Q, Q = H1^H ... Hk^H   R in the upper triangle that ends in the last element, v_i^H in row m - k + i
//                                       left of it
//
// The unit elements of the v are implied.
//
// a       m by n, lda >= max(1, m);  tau  k, out
// work    blocked: lwork elements, of which the first returns the best lwork; unblocked: m (LQ, RQ) or n (QL) elements
// lwork   at least max(1, m) (LQ, RQ) or max(1, n) (QL), best that times the block size; -1 asks for the best and does
//         nothing else
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// LQ factorisation, blocked.
template <Scalar T>
void gelqf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info);
/// QL factorisation, blocked.
template <Scalar T>
void geqlf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info);
/// RQ factorisation, blocked.
template <Scalar T>
void gerqf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info);

/// LQ factorisation, one reflector after another.
template <Scalar T>
void gelq2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info);
/// QL factorisation, one reflector after another.
template <Scalar T>
void geql2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info);
/// RQ factorisation, one reflector after another.
template <Scalar T>
void gerq2(Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info);

}  // namespace nuv
