#pragma once

// Products with singular vectors of bidiagonal matrices that were kept as factors: those of one merge
// (svd/compact_merges.hpp tells how they are kept), and those of a whole tree (svd/compact_tree.hpp). A product takes
// about n times the number of levels operations a column in place of n^2 where much is deflated, and forms no vector of
// the whole matrix (M. Gu, S. C. Eisenstat, "A divide-and-conquer algorithm for the bidiagonal SVD", SIAM J. Matrix
// Anal. Appl. 16, 1995).
//
// The factors are real; the matrices that they multiply may be complex. Vectors of secular equations are formed a few
// at a time in memory of the pool, and multiply all columns together; where it has none they are formed one by one,
// with the same result up to rounding.
//
// icompq  0: the product with U^T, for the left vectors U; 1: the product with V, for the right ones
// nrhs    columns of the matrix that is multiplied, at least 1
// info    0, or -i: argument i was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Multiplies by the factors that one merge adds to those of its halves; n = nl + nr + 1, m = n + sqre.
///
/// nl, nr  rows of the halves, at least 1;  sqre  1 if the second half has one column more than rows, else 0
/// b       n by nrhs, or m by nrhs for icompq 1, ldb >= n (m); the matrix in, the product out
/// bx      n by nrhs, ldbx >= n; scratch memory
/// perm    n places;  givptr  number of rotations, at least 0
/// givcol  ldgcol by 2, ldgcol >= n;  givnum  ldgnum by 2, ldgnum >= n
/// poles, difr   ldgnum by 2;  difl, z  k elements
/// k       values that the secular equation has, at least 1;  c, s  the rotation of the null vectors, for sqre 1
/// work    k elements
template <RealScalar T>
void lals0(Int icompq, Int nl, Int nr, Int sqre, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const Int* perm, Int givptr,
           const Int* givcol, Int ldgcol, const T* givnum, Int ldgnum, const T* poles, const T* difl, const T* difr,
           const T* z, Int k, T c, T s, T* work, Int& info);

/// The same for a complex matrix.
///
/// rwork   k elements
template <ComplexScalar T>
void lals0(Int icompq, Int nl, Int nr, Int sqre, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const Int* perm, Int givptr,
           const Int* givcol, Int ldgcol, const Real<T>* givnum, Int ldgnum, const Real<T>* poles, const Real<T>* difl,
           const Real<T>* difr, const Real<T>* z, Int k, Real<T> c, Real<T> s, Real<T>* rwork, Int& info);

/// Multiplies by all singular vectors of a square bidiagonal matrix of order n, whose factors lasda left for sqre 0.
///
/// smlsiz  as lasda was told, at least 3;  n  at least smlsiz
/// b       n by nrhs, ldb >= n; the matrix in, destroyed
/// bx      n by nrhs, ldbx >= n; the product out
/// u, vt   vectors of the leaves: smlsiz and smlsiz + 1 columns, ldu >= n rows
/// k, givptr, c, s   one element for each node of the tree
/// difl, z, difr, poles, givnum   columns of ldu elements for each level of the tree, one, or two from difr on
/// givcol, perm   ldgcol >= n, two columns and one for each level
/// work    n elements;  iwork  3 n places
template <RealScalar T>
void lalsa(Int icompq, Int smlsiz, Int n, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const T* u, Int ldu, const T* vt,
           const Int* k, const T* difl, const T* difr, const T* z, const T* poles, const Int* givptr, const Int* givcol,
           Int ldgcol, const Int* perm, const T* givnum, const T* c, const T* s, T* work, Int* iwork, Int& info);

/// The same for a complex matrix.
///
/// rwork   n elements
template <ComplexScalar T>
void lalsa(Int icompq, Int smlsiz, Int n, Int nrhs, T* b, Int ldb, T* bx, Int ldbx, const Real<T>* u, Int ldu,
           const Real<T>* vt, const Int* k, const Real<T>* difl, const Real<T>* difr, const Real<T>* z,
           const Real<T>* poles, const Int* givptr, const Int* givcol, Int ldgcol, const Int* perm,
           const Real<T>* givnum, const Real<T>* c, const Real<T>* s, Real<T>* rwork, Int* iwork, Int& info);

}  // namespace nuv
