#pragma once

// Reduction of a symmetric or Hermitian matrix to real symmetric tridiagonal form, T = Q^H A Q (J. J. Dongarra, D. C.
// Sorensen, S. J. Hammarling, "Block reduction of matrices to condensed forms for eigenvalue computations", J. Comput.
// Appl. Math. 27, 1989).
//
// uplo    'U' or 'L': the triangle that holds the matrix; the other is neither read nor written
// a       order n, lda >= max(1, n); the matrix in, T on the diagonals and the reflectors beyond them out, as
//         orthogonal/q_of_reductions.hpp takes them. The imaginary parts of a Hermitian diagonal are not read
// d, e    the diagonal of T, n elements, and the n - 1 beside it
// tau     n - 1 factors of reflectors; untouched where n < 2

#include "base/types.hpp"

namespace nuv {

/// Reduces by panels, the last columns unblocked; the serial body behind the layer stub `sytrd` (`hetrd`).
///
/// work    lwork elements; work(1) returns the best lwork, the width of a panel times n
/// lwork   at least 1; with less than the best, panels are narrower, and there are none if they would be too narrow; -1
///         asks for the best and does nothing else
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void xsytrd(char uplo, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tau, T* work, Int lwork, Int& info);

/// Reduces nb columns, the last ones (uplo 'U') or the first (any other), and gives the matrix W with which the rest of
/// A is to be updated: A := A - V W^H - W V^H, V the reflectors with their unit elements, which are in place
/// afterwards, those beside the diagonal in e. The serial body behind the layer stub `latrd`; nothing is checked.
///
/// e, tau  n - 1 elements; those of the reduced columns are set
/// w       n by nb, ldw >= n
template <Scalar T>
void xlatrd(char uplo, Int n, Int nb, T* a, Int lda, Real<T>* e, T* tau, T* w, Int ldw);

/// Reduces column by column. Nothing is checked; uplo 'U' or any other for 'L'.
///
/// info    0
template <Scalar T>
void sytd2(char uplo, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tau, Int& info);

/// Does nothing. It stands in the table of names in which thread layers look.
template <Scalar T>
void xsytd3() {}

}  // namespace nuv
