#pragma once

// The merge of two eigensystems D1, Q1 and D2, Q2 into that of
//
//     [ T1    ]         T            [ Q1    ] (                 T ) [ Q1    ]T
//     [    T2 ]  + rho v v    =      [    Q2 ] ( diag(D1, D2) + rho z z ) [    Q2 ]
//
// begins with what needs no secular equation: an eigenvalue whose element of z is negligible stays as it is, and of two
// that are nearly equal a rotation makes one whose element is zero (J. J. M. Cuppen, A divide and conquer method for
// the symmetric tridiagonal eigenproblem, Numer. Math. 36, 1981; J. J. Dongarra, D. C. Sorensen, SIAM J. Sci. Stat.
// Comput. 8, 1987). Negligible is rho |z(i)| of up to eight units of rounding of the largest |d(i)| or |z(i)|.
//
// n       order of both together
// d       their eigenvalues, n elements
// rho     the element that joins the halves in; half its magnitude is what the halves have lost of it on either side.
//         The factor of the secular equation out, positive, for a z of norm one
// z       last row of Q1, then first row of Q2; destroyed
// indxq   the permutations that sort each half, counted from one in each; destroyed
// k       eigenvalues that are left to the secular equation
// dlamda  those, in increasing order, and w their elements of z; n elements each
// info    0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Deflates and gathers the eigenvectors of the two halves for products without their zero blocks.
///
/// n1      order of the first half, min(1, n / 2) <= n1 <= n / 2
/// d       the last n - k elements: the eigenvalues that are done, in decreasing order
/// q       n by n, ldq >= max(1, n): Q1 and Q2 with zeros beside them in; the last n - k columns: the eigenvectors that
///         are done
/// q2      n^2 elements: n1 rows of the columns that are not zero there, then n - n1 rows of those not zero there
/// indx, indxp   n places of scratch memory
/// indxc   the places in dlamda of the columns in q2, the first k of n
/// coltyp  max(4, n) elements, the first four of which are the numbers of columns with elements above alone, in both
///         halves, below alone, and of those that are done
template <RealScalar T>
void laed2(Int& k, Int n, Int n1, T* d, T* q, Int ldq, Int* indxq, T& rho, T* z, T* dlamda, T* w, T* q2, Int* indx,
           Int* indxc, Int* indxp, Int* coltyp, Int& info);

/// Deflates where the eigenvectors of the halves are kept as products of factors, of which this is a part.
///
/// icompq  0: eigenvalues alone, q and q2 are not used; 1: Q is kept as well
/// qsiz    rows of Q, qsiz >= n for icompq 1
/// d       the last n - k elements: the eigenvalues that are done, in decreasing order
/// q       qsiz by n, ldq >= max(1, n); the last n - k columns out: vectors that are done
/// cutpnt  order of the first half, min(1, n) <= cutpnt <= n
/// q2      qsiz by n, ldq2 >= max(1, n): the columns of Q in the order of perm
/// perm    the columns that go to the secular equation, in the order of dlamda, then those that are done
/// givptr  number of rotations; givcol  2 by that many: pairs of columns;  givnum  2 by that many: cosines and sines
/// indxp, indx   n places of scratch memory
template <RealScalar T>
void laed8(Int icompq, Int& k, Int n, Int qsiz, T* d, T* q, Int ldq, Int* indxq, T& rho, Int cutpnt, T* z, T* dlamda,
           T* q2, Int ldq2, T* w, Int* perm, Int& givptr, Int* givcol, T* givnum, Int* indxp, Int* indx, Int& info);

/// The same for a complex Q, which is always kept.
template <ComplexScalar T>
void laed8(Int& k, Int n, Int qsiz, T* q, Int ldq, Real<T>* d, Real<T>& rho, Int cutpnt, Real<T>* z, Real<T>* dlamda,
           T* q2, Int ldq2, Real<T>* w, Int* indxp, Int* indx, Int* indxq, Int* perm, Int& givptr, Int* givcol,
           Real<T>* givnum, Int& info);

}  // namespace nuv
