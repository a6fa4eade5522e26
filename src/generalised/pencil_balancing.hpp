#pragma once

// Balancing of a pencil A - lambda B of general matrices before its eigenvalues are computed (R. C. Ward, "Balancing
// the generalized eigenvalue problem", SIAM J. Sci. Stat. Comput. 2, 1981): permutations of rows and of columns bring
// what isolates an eigenvalue to the ends, and powers of ten, one for each row and column of what is left, bring the
// magnitudes of the elements of both matrices close to one another.
//
//     T1  X  Y      T1, T2 upper triangular in both matrices, M rows and columns ilo ... ihi
//         M  Z
//           T2
//
// job     'N': neither, 'P': permute, 'S': scale, 'B': both
// lscale  n elements for rows. i outside ilo ... ihi: the row with which row i was exchanged, n down to ihi + 1 first,
//         then 1 up to ilo - 1; inside: the factor by which row i was multiplied
// rscale  n elements for columns, in the same way
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Balances a pencil of order n.
///
/// a, b      n by n, lda, ldb >= max(1, n); the balanced pencil out
/// ilo, ihi  rows and columns that are left; 1 and 0 if there are none at all
/// work      6 n elements for job 'S' or 'B'; else not used
template <Scalar T>
void ggbal(char job, Int n, T* a, Int lda, T* b, Int ldb, Int& ilo, Int& ihi, Real<T>* lscale, Real<T>* rscale,
           Real<T>* work, Int& info);

/// Turns eigenvectors, or a basis of a deflating subspace, of a balanced pencil of order n into those of the pencil
/// that ggbal was given.
///
/// side    'R': right vectors, which take rscale, 'L': left vectors, which take lscale
/// job, ilo, ihi, lscale, rscale   as ggbal had and left them
/// m       number of vectors
/// v       n by m, ldv >= max(1, n)
template <Scalar T>
void ggbak(char job, char side, Int n, Int ilo, Int ihi, const Real<T>* lscale, const Real<T>* rscale, Int m, T* v,
           Int ldv, Int& info);

}  // namespace nuv
