#pragma once

// Reduction of an upper trapezoidal matrix to triangular form, which makes a complete orthogonal factorisation of a QR
// factorisation with pivoting (R. J. Hanson and C. L. Lawson, "Extensions and applications of the Householder algorithm
// for solving linear least squares problems", Math. Comp. 23, 1969),
//
//     A = (R 0) Z,    Z = Z1 Z2 ... Zm,    Zi = I - tau_i u_i u_i^H
//
// with the unit element of u_i in place i, zeros behind it, and l elements at its end.
//
// a       m by n, n >= m, lda >= max(1, m): the upper triangle and what lies right of it; out, R in the triangle and
//         the last l elements of u_i in row i. What lies below the diagonal is not touched.
// tau     m factors, out; zeros where m = n
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Reduces by blocks of rows from the last on, the first rows one by one; l = n - m.
///
/// work    lwork elements; work(1) returns the best lwork
/// lwork   at least max(1, m), best m times the rows of a block; with less than that, blocks are smaller; -1 asks for
///         the best and does nothing else
template <Scalar T>
void tzrzf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info);

/// Reduces one row after another; l = n - m.
template <Scalar T>
void tzrqf(Int m, Int n, T* a, Int lda, T* tau, Int& info);

/// The same for a matrix of which the triangle in the first m columns, and the last l ones, are all there is: what lies
/// between is zero and not read. Checks nothing.
///
/// work    m elements
template <Scalar T>
void latrz(Int m, Int n, Int l, T* a, Int lda, T* tau, T* work);

}  // namespace nuv
