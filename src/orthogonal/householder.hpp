#pragma once

// Elementary reflectors H = I - tau v v^H with v(1) = 1, and blocks of them in compact WY form,
//
//     H1 H2 ... Hk = I - V T V^H
//
// (R. Schreiber and C. Van Loan, "A storage-efficient WY representation for products of Householder transformations",
// SIAM J. Sci. Stat. Comput. 10, 1989).
//
// V holds k reflectors of order n as the factorisations leave them, by storev "Columnwise" n by k, "Rowwise" k by n.
// direct tells the order of the product and the shape: "Forward", H = H1 ... Hk, unit elements on the diagonal from the
// first element on, T upper triangular; "Backward", H = Hk ... H1, unit elements on the diagonal that ends at the last
// element, T lower triangular. What stands in the place of a unit element or beyond it belongs to somebody else and is
// left as it was. Nothing here checks its arguments.

#include "base/types.hpp"

namespace nuv {

/// Generates the reflector of order n with H^H (alpha, x) = (beta, 0), beta real.
///
/// alpha   first element in, beta out;  x  the n - 1 others in, v(2:n) out
/// tau     zero for H = I
template <Scalar T>
void larfg(Int n, T& alpha, T* x, Int incx, T& tau);

/// C := H C (side 'L') or C H (any other), for an m by n matrix C; tau = 0 leaves everything alone.
///
/// v       m (left) or n elements, with its unit element in place
/// work    n (left) or m elements
template <Scalar T>
void larf(char side, Int m, Int n, const T* v, Int incv, T tau, T* c, Int ldc, T* work);

/// The factor T of a block of k reflectors of order n, column by column; for the base of recursive panels.
///
/// v       read; the unit elements are put in place and taken back on the way
/// t       k by k, ldt >= k; the triangle is written
template <RealScalar T>
void larf2(char direct, char storev, Int n, Int k, T* v, Int ldv, const T* tau, T* t, Int ldt);

/// The same by blocks of columns, so that most of the work is in products of matrices. The complex members take n
/// elements from the pool; where they get none they report 1000, and T is unset and not to be used. The routines of the
/// library take form_factor, which needs none.
template <Scalar T>
void larft(char direct, char storev, Int n, Int k, const T* v, Int ldv, const T* tau, T* t, Int ldt);

/// C := op(H) C (side 'L') or C op(H) (side 'R') for a block of k reflectors and an m by n matrix C; trans 'N' for H,
/// 'T' (real) or 'C' (complex) for H^H. An unknown side or storage leaves C as it is.
///
/// work    n (left) or m by k, ldwork >= max(1, n) (left) or max(1, m)
template <Scalar T>
void larfb(char side, char trans, char direct, char storev, Int m, Int n, Int k, const T* v, Int ldv, const T* t,
           Int ldt, T* c, Int ldc, T* work, Int ldwork);

/// The same as larf with a contiguous v, with code of its own for each order from 1 to 10 on the left.
template <Scalar T>
void larfx(char side, Int m, Int n, const T* v, T tau, T* c, Int ldc, T* work);

// These two are kernels.
template <>
void larfx<double>(char side, Int m, Int n, const double* v, double tau, double* c, Int ldc, double* work);

template <>
void larfx<std::complex<float>>(char side, Int m, Int n, const std::complex<float>* v, std::complex<float> tau,
                                std::complex<float>* c, Int ldc, std::complex<float>* work);

}  // namespace nuv
