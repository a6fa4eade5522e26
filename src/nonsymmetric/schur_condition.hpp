#pragma once

// Condition numbers of single eigenvalues and eigenvectors of a Schur form (Z. Bai, J. W. Demmel and A. McKenney, "On
// computing condition numbers for the nonsymmetric eigenproblem", ACM Trans. Math. Softw. 19, 1993).

#include "base/types.hpp"
#include "solvers/inverse_norm.hpp"

namespace nuv {

/// Reciprocal condition numbers, of a pair of a real form the same for both.
///
/// job     'E': of eigenvalues, 'V': of eigenvectors, 'B': both
/// howmny  'A': of all, 'S': of the selected ones
/// select  n flags; a pair is selected if either of its flags is set. Not looked at for 'A'
/// n       order of T
/// t       Schur form, a real one with blocks in standard form, ldt >= max(1, n)
/// vl, vr  the left and right eigenvectors that belong to s, as trevc gives them, n by m each; ldvl, ldvr >= 1 and for
///         'E' and 'B' >= n. Not looked at for 'V'
/// s       mm elements; the cosines of the angles between left and right eigenvectors. Not touched for 'V'
/// sep     mm elements; estimates of the separation of each eigenvalue from all others: how much of T has to change so
///         that they meet. Zero where the eigenvalue could not be moved to the top. Not touched for 'E'
/// mm      room for as many, at least m
/// m       number of condition numbers of a kind
/// work    ldwork by n + 6, ldwork >= 1 and for 'V' and 'B' >= n; not touched for 'E'
/// iwork   2n - 2 integers (real) or rwork, n real numbers (complex); not touched for 'E'
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void trsna(char job, char howmny, const Logical* select, Int n, const T* t, Int ldt, const T* vl, Int ldvl, const T* vr,
           Int ldvr, Real<T>* s, Real<T>* sep, Int mm, Int& m, T* work, Int ldwork, SecondWork<T>* second, Int& info);

}  // namespace nuv
