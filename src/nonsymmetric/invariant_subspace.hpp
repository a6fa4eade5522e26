#pragma once

// Invariant subspaces for selected eigenvalues, and their condition numbers (Z. Bai, J. W. Demmel and A. McKenney, "On
// computing condition numbers for the nonsymmetric eigenproblem", ACM Trans. Math. Softw. 19, 1993).
//
// job      'N': no condition numbers, 'E': that of the mean of the selected eigenvalues, 'V': that of the subspace,
//          'B': both
// compq    'V': the columns of Q follow, 'N': they don't
// select   n flags; a pair of a real form is selected if either of its flags is set
// n        order of T and Q
// t        Schur form, ldt >= max(1, n); out the selected eigenvalues stand first on its diagonal
// q        n by n, ldq >= max(1, n) for 'V'; out its first m columns span the invariant subspace. Else not looked at,
//          ldq >= 1
// m        number of the selected eigenvalues
// s        for 'E', 'B': a lower bound of the reciprocal condition number of the mean, at most 1, which is too small by
//          sqrt(n) at most
// sep      for 'V', 'B': an estimate of that of the subspace, the separation of T11 from T22; for m = 0 and m = n the
//          one-norm of T
// work     lwork elements; work(1) returns the least lwork: 2 m (n - m) for 'V' and 'B', m (n - m) for 'E', and for 'N'
//          n of a real form, else 1
// lwork    as much; -1 asks for that and does nothing else
// info     0; 1: two blocks were too close to be swapped, T is a Schur form that is reordered in part, s and sep are
//          zero; or -k: argument k was bad (reported)

#include "base/types.hpp"

namespace nuv {

/// Reorders a real Schur form.
///
/// wr, wi  n elements each; real and imaginary parts of the eigenvalues in their new order
/// iwork   liwork elements; iwork(1) returns the least liwork: m (n - m) for 'V' and 'B', else 1
/// liwork  as much; -1 asks for that and does nothing else
template <RealScalar T>
void trsen(char job, char compq, const Logical* select, Int n, T* t, Int ldt, T* q, Int ldq, T* wr, T* wi, Int& m, T& s,
           T& sep, T* work, Int lwork, Int* iwork, Int liwork, Int& info);

/// Reorders a complex Schur form.
///
/// w       n elements; the eigenvalues in their new order
template <ComplexScalar T>
void trsen(char job, char compq, const Logical* select, Int n, T* t, Int ldt, T* q, Int ldq, T* w, Int& m, Real<T>& s,
           Real<T>& sep, T* work, Int lwork, Int& info);

}  // namespace nuv
