#pragma once

// Least squares with a second matrix: under linear constraints, and with errors that depend on each other. Both go by a
// joint factorisation of the pair (generalised/pair_factorisations.hpp), which takes the second matrix to a triangle
// beside zeros, so that some unknowns follow from it alone (E. Anderson, Z. Bai, J. Dongarra, "Generalized QR
// factorization and its applications", Linear Algebra Appl. 162, 1992). Neither notices a matrix without full rank:
// there is a zero on the diagonal of a triangle, or a number that stands for one, and what the solution holds means
// nothing.

#include "base/types.hpp"

namespace nuv {

/// Least squares under equality constraints: the x that minimises ||c - A x|| among those with B x = d, which is unique
/// where B has rank p, and A and B one above the other rank n.
///
///     B Q^H = (0 T12)    V^H A Q^H = (R11 R12)    T12 p by p, R11 n - p by n - p; both upper triangular
///                                    ( 0  R22)
///
/// m       rows of A
/// n       columns of A and B, unknowns
/// p       rows of B, constraints, n - m <= p <= n
/// a       m by n, lda >= max(1, m); out, the triangle of V^H A Q^H above, whose first n - p columns hold R11
/// b       p by n, ldb >= max(1, p); out, T12 in the last p columns, and the reflectors of Q before it
/// c       m elements; right-hand side in; out, elements n - p + 1 to m hold numbers whose sum of squares is that of
///         the residual
/// d       p elements; right-hand side of the constraints in; destroyed
/// x       n elements, the solution out
/// work    lwork elements; work(1) returns the best lwork, also where an argument is bad
/// lwork   at least max(1, m + n + p), best p + min(m, n) + max(m, n) nb with nb columns to a block; with less than the
///         best, blocks are narrower; -1 asks for the best and does nothing else
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void gglse(Int m, Int n, Int p, T* a, Int lda, T* b, Int ldb, T* c, T* d, T* x, T* work, Int lwork, Int& info);

/// The general linear model of Gauss and Markov: the x and the shortest y with d = A x + B y. For a square B that is
/// the least-squares problem with residuals weighted by B^-1. The solution is unique where A has rank m, and A and B
/// side by side rank n.
///
///     V^H A = (R11)    V^H B Z^H = (T11 T12)    R11 m by m, T22 n - m by n - m; both upper triangular
///             ( 0 )                ( 0  T22)
///
/// n       rows of A and B, equations
/// m       columns of A, unknowns, m <= n
/// p       columns of B, errors, p >= n - m
/// a       n by m, lda >= max(1, n); out, R11, and the reflectors of V below it
/// b       n by p, ldb >= max(1, n); out, the triangle of V^H B Z^H, T22 in its last rows and columns, and the
///         reflectors of Z
/// d       n elements; left-hand side in; destroyed
/// x       m elements, out
/// y       p elements, out; zeros where n = 0
/// work    lwork elements; work(1) returns the best lwork, also where an argument is bad
/// lwork   at least max(1, n + m + p), best m + min(n, p) + max(n, p) nb with nb columns to a block; with less than the
///         best, blocks are narrower; -1 asks for the best and does nothing else
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void ggglm(Int n, Int m, Int p, T* a, Int lda, T* b, Int ldb, T* d, T* x, T* y, T* work, Int lwork, Int& info);

}  // namespace nuv
