#pragma once

// General tridiagonal systems by LU factorisation with exchanges of neighbouring rows.
//
// dl, d, du   n - 1, n, n - 1 elements below, on and above the diagonal. As factors: the multipliers of L, the diagonal
//             of U, its first superdiagonal
// du2         n - 2 elements: the second superdiagonal of U
// ipiv        n row exchanges, one-based: i or i + 1
// b           n by nrhs, ldb >= max(1, n); right-hand sides in, solutions out

#include "base/types.hpp"

namespace nuv {

/// Factors a matrix of order n.
///
/// info    0; -1: n was bad (reported); k: U(k, k) is the first pivot that is exactly zero; the factorisation is
///         complete all the same, but nothing can be solved with it
template <Scalar T>
void gttrf(Int n, T* dl, T* d, T* du, T* du2, Int* ipiv, Int& info);

/// Solves op(A) X = B from the factors of A; the serial body behind the layer stub `gttrs`.
///
/// trans   'N': A, 'T': A^T, 'C': A^H
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void xgttrs(char trans, Int n, Int nrhs, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, T* b,
            Int ldb, Int& info);

/// The same without checks. itrans 0: A, 1: A^T, 2: A^H. From four right-hand sides on it asks for memory to hold four
/// of them by rows, so that the recurrences run side by side.
template <Scalar T>
void gtts2(Int itrans, Int n, Int nrhs, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, T* b,
           Int ldb);

/// Solves A X = B for a general tridiagonal matrix of order n. From four right-hand sides on it factors the matrix, in
/// memory that it asks for; else, or without that, it eliminates in the right-hand sides at once.
///
/// dl, d, du   the matrix in; left as gttrf or gtsv_small leave them
/// info        0; -k: argument k was bad (reported); k: pivot k is exactly zero and there is no solution
template <Scalar T>
void gtsv(Int n, Int nrhs, T* dl, T* d, T* du, T* b, Int ldb, Int& info);

/// The same with no memory but that of its arguments. On return d and du hold the diagonal and the first superdiagonal
/// of U, the first n - 2 elements of dl its second one. If a pivot is exactly zero, the arrays are left as the
/// elimination up to it made them.
template <ComplexScalar T>
void gtsv_small(Int n, Int nrhs, T* dl, T* d, T* du, T* b, Int ldb, Int& info);

/// B := alpha op(A) X + beta B for a tridiagonal matrix of order n; checks nothing.
///
/// trans        'N': A, 'T': A^T, any other letter: A^H
/// alpha        1 or -1; any other value counts as 0
/// beta         0 or -1; any other value counts as 1. With 0 B is not read
/// x, b         n by nrhs, ldx, ldb >= max(1, n)
template <Scalar T>
void lagtm(char trans, Int n, Int nrhs, Real<T> alpha, const T* dl, const T* d, const T* du, const T* x, Int ldx,
           Real<T> beta, T* b, Int ldb);

}  // namespace nuv
