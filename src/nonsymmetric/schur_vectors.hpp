#pragma once

// Eigenvectors of a Schur form by substitution, and of the matrix that it was made of (G. Peters and J. H. Wilkinson,
// "Eigenvectors of real and complex matrices by LR and QR triangularizations", Numer. Math. 16, 1970). Right vectors x
// have T x = w x, left ones y^H T = w y^H. Where they would overflow they are scaled on the way; each has a largest
// element of |re| + |im| = 1 at last.
//
// side      'R': right eigenvectors, 'L': left ones, 'B': both
// howmny    'A': all, 'B': all, multiplied by the matrices in vl and vr, 'S': the selected ones
// select    n elements: which vectors, for 'S' alone
// t         n by n Schur form, ldt >= max(1, n)
// vl        n by mm, left vectors, ldvl >= max(1, n) if there are any, else 1; for 'B' the matrix Q of a factorisation
//           Q T Q^H in
// vr        the same for right vectors
// mm        columns of vl and vr, at least m
// m         columns that vectors take: n, or for 'S' as many as are selected
// info      0, or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Of a quasi-triangular matrix, whose diagonal blocks of order two are in standard form: equal diagonal elements, and
/// off-diagonal ones of opposite signs. The vector of a complex pair, of its value with positive imaginary part, takes
/// two columns, real and imaginary part.
///
/// select  a pair counts as selected if either of its elements is true; then the first is true and the second false
/// work    3*n elements
template <RealScalar T>
void trevc(char side, char howmny, Logical* select, Int n, const T* t, Int ldt, T* vl, Int ldvl, T* vr, Int ldvr,
           Int mm, Int& m, T* work, Int& info);

/// Of an upper triangular matrix.
///
/// t       its diagonal is changed on the way, and put back
/// work    2*n elements
/// rwork   n elements
template <ComplexScalar T>
void trevc(char side, char howmny, const Logical* select, Int n, T* t, Int ldt, T* vl, Int ldvl, T* vr, Int ldvr,
           Int mm, Int& m, T* work, Real<T>* rwork, Int& info);

}  // namespace nuv
