#pragma once

// Eigenvectors of a pair (S, P) in generalised Schur form by substitution, and of the pair that it was made of (C. B.
// Moler and G. W. Stewart, "An algorithm for generalized matrix eigenvalue problems", SIAM J. Numer. Anal. 10, 1973).
// Right vectors x have beta S x = alpha P x, left ones beta y^H S = alpha y^H P. Pair and vectors are scaled on the
// way, so that nothing overflows; each vector has a largest element of |re| + |im| = 1 at last. Where alpha and beta
// both vanish, as the pair is singular, the vector of column j is column j of the identity.
//
// side      'R': right eigenvectors, 'L': left ones, 'B': both
// howmny    'A': all, 'B': all, multiplied by the matrices in vl and vr, 'S': the selected ones
// select    n flags: which vectors, for 'S' alone; a pair of eigenvalues of a real form is selected if either of its
//           flags is set
// n         order of S and P
// vl        n by mm, left vectors, ldvl >= max(1, n) if there are any, else 1; for 'B' the matrix Q of a factorisation
//           Q (S, P) Z^H in
// vr        n by mm, right vectors, ldvr likewise; for 'B' the matrix Z of that factorisation in
// mm        columns of vl and vr, at least m
// m         columns that vectors take: n, or for 'S' as many as are selected

#include "base/types.hpp"

namespace nuv {

/// Of a real pair. The vector of a complex pair of eigenvalues, of that with positive imaginary part, takes two
/// columns, real and imaginary part.
///
/// s       n by n, upper quasi-triangular, lds >= max(1, n)
/// p       n by n, upper triangular, ldp >= max(1, n); diagonal and not singular where s has a block of order two
/// work    6*n elements
/// info    0; k > 0: the block of order two in rows k and k + 1 has real eigenvalues, and there are no vectors; or -k:
///         argument k was bad (reported), s and p if they have not the form above
template <RealScalar T>
void tgevc(char side, char howmny, const Logical* select, Int n, const T* s, Int lds, const T* p, Int ldp, T* vl,
           Int ldvl, T* vr, Int ldvr, Int mm, Int& m, T* work, Int& info);

/// Of a complex pair.
///
/// s       n by n, upper triangular, lds >= max(1, n)
/// p       n by n, upper triangular with a real diagonal, ldp >= max(1, n)
/// work    2*n elements
/// rwork   2*n elements
/// info    0, or -k: argument k was bad (reported), p if its diagonal is not real
template <ComplexScalar T>
void tgevc(char side, char howmny, const Logical* select, Int n, const T* s, Int lds, const T* p, Int ldp, T* vl,
           Int ldvl, T* vr, Int ldvr, Int mm, Int& m, T* work, Real<T>* rwork, Int& info);

}  // namespace nuv
