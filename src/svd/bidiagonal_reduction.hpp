#pragma once

// Reduction of a general matrix to real bidiagonal form, B = Q^H A P (G. H. Golub and W. Kahan, "Calculating the
// singular values and pseudo-inverse of a matrix", SIAM J. Numer. Anal. 2, 1965), by blocks (J. J. Dongarra, D. C.
// Sorensen, S. J. Hammarling, "Block reduction of matrices to condensed forms for eigenvalue computations", J. Comput.
// Appl. Math. 27, 1989).
//
// B is upper bidiagonal where m >= n, and otherwise lower bidiagonal.
//
// a       m by n, lda >= max(1, m); out B on two diagonals, below it the reflectors whose product is Q, right of it
//         those whose product is P, as orthogonal/q_of_reductions.hpp takes them; the rows of c and z hold conjugates
// d, e    min(m, n) elements: the diagonal of B, and min(m, n) - 1 that are beside it
// tauq, taup   factors of the reflectors, min(m, n) each

#include "base/types.hpp"

namespace nuv {

/// Reduces by panels, the last rows and columns unblocked.
///
/// work    lwork elements; work(1) returns the best lwork, the width of a panel times m + n
/// lwork   at least max(1, m, n); with less than the best, panels are narrower, and there are none if they would be too
///         narrow; -1 asks for the best and does nothing else
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void gebrd(Int m, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tauq, T* taup, T* work, Int lwork, Int& info);

/// Reduces row by row and column by column.
///
/// work    max(m, n) elements
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void gebd2(Int m, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tauq, T* taup, T* work, Int& info);

/// Reduces the first nb rows and columns, and gives the matrices X and Y with which the rest of A is to be updated,
/// A := A - V Y^H - X U^H, V and U the reflectors of columns and of rows with their unit elements, which are in place
/// afterwards. Nothing is checked; m <= 0 or n <= 0 does nothing.
///
/// d, e    nb elements
/// x       m by nb, ldx >= m;  y  n by nb, ldy >= n
template <Scalar T>
void labrd(Int m, Int n, Int nb, T* a, Int lda, Real<T>* d, Real<T>* e, T* tauq, T* taup, T* x, Int ldx, T* y, Int ldy);

}  // namespace nuv
