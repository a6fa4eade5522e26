#pragma once

// Balancing of a general matrix before its eigenvalues are computed (B. N. Parlett and C. Reinsch, "Balancing a matrix
// for calculation of eigenvalues and eigenvectors", Numer. Math. 13, 1969): a permutation brings rows and columns that
// isolate an eigenvalue to the ends, and a diagonal scaling by powers of two brings the norms of each row and column
// of what is left close to one another. Neither adds a rounding error.
//
//     T1  X  Y      T1, T2 upper triangular, B rows and columns ilo ... ihi
//         B  Z
//           T2
//
// job     'N': neither, 'P': permute, 'S': scale, 'B': both
// scale   n elements. j outside ilo ... ihi: the row and column with which j was exchanged, n down to ihi + 1 first,
//         then 1 up to ilo - 1; inside: the factor by which column j was multiplied and row j divided
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Balances a matrix of order n.
///
/// a         n by n, lda >= max(1, n); the balanced matrix out
/// ilo, ihi  rows and columns that are left; 1 and 0 if there are none at all
template <Scalar T>
void gebal(char job, Int n, T* a, Int lda, Int& ilo, Int& ihi, Real<T>* scale, Int& info);

/// Turns eigenvectors of a balanced matrix of order n into those of the matrix that gebal was given.
///
/// side    'R': right, 'L': left eigenvectors
/// job, ilo, ihi, scale   as gebal had and left them
/// v       n by m, ldv >= max(1, n)
template <Scalar T>
void gebak(char job, char side, Int n, Int ilo, Int ihi, const Real<T>* scale, Int m, T* v, Int ldv, Int& info);

}  // namespace nuv
