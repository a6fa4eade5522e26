#pragma once

// Merges of the eigensystems of two halves of a symmetric tridiagonal matrix into that of the whole: deflation
// (symmetric/deflation.hpp), the secular equation (symmetric/secular_equation.hpp), and products for the eigenvectors
// (J. J. M. Cuppen, Numer. Math. 36, 1981; M. Gu, S. C. Eisenstat, A divide-and-conquer algorithm for the symmetric
// tridiagonal eigenproblem, SIAM J. Matrix Anal. Appl. 16, 1995).
//
// Where the eigenvectors of a larger matrix are wanted, or none, the parts of the eigenvectors of the tridiagonal
// matrix are kept as factors, one for each node of the tree, in arrays whose places are counted from one. The nodes
// have numbers: the leaves come first, then their parents and so on, each generation from the left.
//
// tlvls   generations above the leaves;  curlvl  the one of the merge, the lowest being 1
// curpbm  the merge's number in it, from zero
// qstore  the square blocks of eigenvectors of all nodes, node i's from qptr(i) on to qptr(i + 1)
// perm    for each merge the columns in the order in which its block takes them, from prmptr(i) on
// givcol  for each merge 2 by m pairs of columns that were rotated before, from givptr(i) on, with cosines and sines in
//         givnum
//
// info    0; -k: argument k was bad (reported); 1: a root of the secular equation was not found

#include "base/types.hpp"

namespace nuv {

/// Merges two halves whose eigenvectors are at hand.
///
/// d       n eigenvalues of the halves in, of the whole out
/// q       n by n, ldq >= max(1, n); the eigenvectors in the same way, with zeros beside those of the halves
/// indxq   the permutations that sort each half, counted from one in each, in; the one that sorts the whole out
/// rho     the element that joins the halves
/// cutpnt  order of the first half, min(1, n / 2) <= cutpnt <= n / 2
/// work    4 n + n^2 elements;  iwork  4 n
template <RealScalar T>
void laed1(Int n, T* d, T* q, Int ldq, Int* indxq, T rho, Int cutpnt, T* work, Int* iwork, Int& info);

/// The part of laed1 behind the deflation.
///
/// k       eigenvalues that are left to the secular equation, 0 <= k <= n;  n1  order of the first half
/// d, q    the first k eigenvalues and eigenvectors out; q has n rows, ldq >= max(1, n)
/// rho     factor of the secular equation
/// dlamda, w   its poles and elements of z, k of each; w is destroyed
/// q2, indx, ctot   what laed2 left in q2, indxc and coltyp
/// s       max(ctot(1) + ctot(2), ctot(2) + ctot(3)) k elements
template <RealScalar T>
void laed3(Int k, Int n, Int n1, T* d, T* q, Int ldq, T rho, T* dlamda, const T* q2, const Int* indx, const Int* ctot,
           T* w, T* s, Int& info);

/// Merges two halves whose eigenvectors are kept as factors.
///
/// icompq  0: eigenvalues alone, q is not used; 1: the product of q with the eigenvectors is kept as well
/// qsiz    rows of q, qsiz >= n for icompq 1
/// d       n eigenvalues of the halves in, of the whole out
/// q       qsiz by n, ldq >= max(1, n)
/// cutpnt  order of the first half, min(1, n) <= cutpnt <= n
/// work    3 n + qsiz n elements, 3 n where q is not used;  iwork  4 n
/// The rest as above and for laed1.
template <RealScalar T>
void laed7(Int icompq, Int n, Int qsiz, Int tlvls, Int curlvl, Int curpbm, T* d, T* q, Int ldq, Int* indxq, T rho,
           Int cutpnt, T* qstore, Int* qptr, Int* prmptr, Int* perm, Int* givptr, Int* givcol, T* givnum, T* work,
           Int* iwork, Int& info);

/// The same for a complex q, which is always there.
///
/// work    qsiz n elements;  rwork  3 n;  iwork  4 n
template <ComplexScalar T>
void laed7(Int n, Int cutpnt, Int qsiz, Int tlvls, Int curlvl, Int curpbm, Real<T>* d, T* q, Int ldq, Real<T> rho,
           Int* indxq, Real<T>* qstore, Int* qptr, Int* prmptr, Int* perm, Int* givptr, Int* givcol, Real<T>* givnum,
           T* work, Real<T>* rwork, Int* iwork, Int& info);

/// Roots kstart ... kstop of a secular equation of order k, then all eigenvectors of the diagonal matrix plus one of
/// rank one; for these the distances of the other roots have to stand in q.
///
/// d       the roots;  q  k by k, ldq >= max(1, k): their distances from the poles
/// n       order of the merge, n >= k;  rho  factor of the secular equation
/// dlamda, w   poles and elements of z, n and k of them; w is destroyed
/// s       k by k, lds >= max(1, k): the eigenvectors; it may be q
template <RealScalar T>
void laed9(Int k, Int kstart, Int kstop, Int n, T* d, T* q, Int ldq, T rho, T* dlamda, T* w, T* s, Int lds, Int& info);

/// The vector by which two halves are joined, the last row of the first one's eigenvectors and the first row of the
/// second one's, from their factors.
///
/// n       order of both together;  q  the blocks, as qstore above
/// z       n elements;  ztemp  n elements of scratch memory
template <RealScalar T>
void laeda(Int n, Int tlvls, Int curlvl, Int curpbm, const Int* prmptr, const Int* perm, const Int* givptr,
           const Int* givcol, const T* givnum, const T* q, const Int* qptr, T* z, T* ztemp, Int& info);

}  // namespace nuv
