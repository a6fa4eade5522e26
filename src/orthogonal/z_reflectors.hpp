#pragma once

// The reflectors of a reduction of trapezoidal matrices, which take a row to an element and zeros at some distance:
//
//     H = I - tau u u^H    u = (1, 0 ... 0, v)^T, of order n, v its last l elements
//
// and blocks of k of them, whose unit elements are the first k of their n, the vectors being what is stored: V is k by
// l, and its rows are the v themselves, not their conjugates.

#include "base/types.hpp"

namespace nuv {

/// C := H C (side 'L') or C H (any other), for an m by n matrix C; tau = 0 leaves everything alone.
///
/// l       0 <= l < m (left) or n, where there is anything to do
/// v       l elements
/// work    n (left) or m elements
template <Scalar T>
void larz(char side, Int m, Int n, Int l, const T* v, Int incv, T tau, T* c, Int ldc, T* work);

/// The same for a C in two parts that need not be neighbours: its first row (side 'L') or column (side 'R') is c1, and
/// the others, which the elements of v meet, are c2. An older form of larz; for any other side nothing is done.
///
/// m, n    sizes of both parts together
/// v       m - 1 (left) or n - 1 elements
/// c1      n elements at distances of ldc (left), or m elements one behind the other
/// c2      m - 1 by n (left) or m by n - 1, ldc >= max(1, m)
/// work    n (left) or m elements
template <Scalar T>
void latzm(char side, Int m, Int n, const T* v, Int incv, T tau, T* c1, T* c2, Int ldc, T* work);

/// The factor T of a block, lower triangular, with
///
///     I - V^H T V = Gk ... G1,    Gi = I - tau_i conj(v_i) v_i^T,
///
/// for the parts of the u that are stored. That is what larzb takes.
///
/// direct  'B': none of the others is there, which is reported as argument 1
/// storev  'R': likewise, argument 2
/// v       k by n, ldv >= max(1, k); read, a row conjugated and taken back on the way in c and z
/// tau     k factors
/// t       k by k, ldt >= k: the lower triangle is written
template <Scalar T>
void larzt(char direct, char storev, Int n, Int k, T* v, Int ldv, const T* tau, T* t, Int ldt);

/// C := op(B) C (side 'L') or C op(B) (side 'R') with B = Hk ... H1, each H with the conjugate of the tau that larzt
/// was given, and an m by n matrix C; trans 'N' for B, 'T' (real) or 'C' (complex) for B^H.
///
/// direct, storev  'B' and 'R', others are reported as arguments 3 and 4
/// v, t    as for larzt; read, and conjugated and taken back on the way in c and z
/// work    n (left) or m by k, ldwork >= max(1, n) (left) or max(1, m)
template <Scalar T>
void larzb(char side, char trans, char direct, char storev, Int m, Int n, Int k, Int l, T* v, Int ldv, T* t, Int ldt,
           T* c, Int ldc, T* work, Int ldwork);

}  // namespace nuv
