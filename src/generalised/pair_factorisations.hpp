#pragma once

// Generalised QR and RQ factorisations of two matrices that share a side (E. Anderson, Z. Bai and J. Dongarra,
// "Generalized QR factorization and its applications", Linear Algebra Appl. 162-164, 1992): for B square and regular,
// they are the QR factorisation of B^-1 A and the RQ factorisation of A B^-1, of which neither is formed.

#include "base/types.hpp"

namespace nuv {

/// Generalised QR factorisation of A, n by m, and B, n by p:
///
///     A = Q R,  B = Q T Z,
///
/// Q and Z unitary, R upper triangular or trapezoidal, T upper triangular or trapezoidal towards its last element.
///
/// n       rows of A and of B;  m  columns of A;  p  columns of B; each >= 0
/// a       n by m, lda >= max(1, n); out R in the upper triangle, and below it the reflectors of Q as geqrf leaves them
/// taua    min(n, m) factors of these, out
/// b       n by p, ldb >= max(1, n); out T in the upper triangle that ends in the last element, and beside or above it
///         the reflectors of Z as gerqf leaves them
/// taub    min(n, p) factors of these, out
/// work    lwork elements; work(1) returns the best lwork
/// lwork   at least max(1, n, m, p), best max(n, m, p) times the largest of the block sizes; -1 asks for the best and
///         does nothing else
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void ggqrf(Int n, Int m, Int p, T* a, Int lda, T* taua, T* b, Int ldb, T* taub, T* work, Int lwork, Int& info);

/// Generalised RQ factorisation of A, m by n, and B, p by n:
///
///     A = R Q,  B = Z T Q,
///
/// Q and Z unitary, R upper triangular or trapezoidal towards its last element, T upper triangular or trapezoidal.
///
/// m       rows of A;  p  rows of B;  n  columns of A and of B; each >= 0
/// a       m by n, lda >= max(1, m); out R in the upper triangle that ends in the last element, and beside or above it
///         the reflectors of Q as gerqf leaves them
/// taua    min(m, n) factors of these, out
/// b       p by n, ldb >= max(1, p); out T in the upper triangle, and below it the reflectors of Z as geqrf leaves them
/// taub    min(p, n) factors of these, out
/// work    lwork elements; work(1) returns the best lwork
/// lwork   at least max(1, m, p, n), best max(m, p, n) times the largest of the block sizes; -1 asks for the best and
///         does nothing else
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void ggrqf(Int m, Int p, Int n, T* a, Int lda, T* taua, T* b, Int ldb, T* taub, T* work, Int lwork, Int& info);

}  // namespace nuv
