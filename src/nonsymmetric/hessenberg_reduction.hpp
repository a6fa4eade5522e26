#pragma once

// Reduction of a general matrix to upper Hessenberg form, H = Q^H A Q, by reflectors (A. S. Householder, 1958), in
// panels (C. Bischof and C. Van Loan, "The WY representation for products of Householder matrices", SIAM J. Sci. Stat.
// Comput. 8, 1987; G. Quintana-Orti and R. van de Geijn, "Improving the performance of reduction to Hessenberg form",
// ACM Trans. Math. Softw. 32, 2006).
//
// ilo, ihi  rows and columns outside are triangular already, as gebal leaves them; 1 and n if nothing is known.
//           1 <= ilo <= ihi <= n; 1 and 0 if n is zero
// a         n by n, lda >= max(1, n); out H, and below its first subdiagonal, in columns ilo ... ihi - 1, the
//           reflectors of which Q is the product, as ormhr and orghr (orthogonal/q_of_reductions.hpp) take them
// tau       n - 1 factors of the reflectors, of which those outside ilo ... ihi - 1 are set to zero by gehrd alone
// info      0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Reduces by panels, the last columns unblocked.
///
/// work    lwork elements; work(1) returns the best lwork, n times the width of a panel
/// lwork   at least max(1, n); with less than the best, panels are narrower, and there are none if they would be too
///         narrow; -1 asks for the best and does nothing else
template <Scalar T>
void gehrd(Int n, Int ilo, Int ihi, T* a, Int lda, T* tau, T* work, Int lwork, Int& info);

/// Reduces column by column.
///
/// work    n elements
template <Scalar T>
void gehd2(Int n, Int ilo, Int ihi, T* a, Int lda, T* tau, T* work, Int& info);

/// Reduces the first nb columns of A below row k, and gives what the rest of the matrix needs for its update: the
/// factor T of the block of reflectors I - V T V^H, and Y = A V T. Nothing is checked; n <= 1 does nothing.
///
/// a       n by n - k + 1, lda >= n, the columns of a matrix from the k-th on
/// tau     nb elements
/// t       nb by nb, upper triangular, ldt >= nb
/// y       n by nb, ldy >= n
template <Scalar T>
void lahr2(Int n, Int k, Int nb, T* a, Int lda, T* tau, T* t, Int ldt, T* y, Int ldy);

/// The same with the first k rows of Y formed column by column, and the panel's first k rows updated on the way. gehrd
/// has no use for it.
template <Scalar T>
void lahrd(Int n, Int k, Int nb, T* a, Int lda, T* tau, T* t, Int ldt, T* y, Int ldy);

}  // namespace nuv
