#pragma once

// Eigenvectors of a tridiagonal matrix from representations L D L^T of its shifts: L unit lower bidiagonal, D diagonal
// (I. S. Dhillon and B. N. Parlett, Multiple representations to compute orthogonal eigenvectors of symmetric
// tridiagonal matrices, Linear Algebra Appl. 387, 2004; the same, Orthogonal eigenvectors and relative gaps, SIAM J.
// Matrix Anal. Appl. 25, 2004).
//
// d, l     the n elements of D and the n - 1 of L below its diagonal
// ld, lld  the n - 1 products l(i) d(i), and l(i)^2 d(i)
// pivmin   the least magnitude of a pivot where a sweep met a zero one

#include "base/types.hpp"

namespace nuv {

/// The r-th column of the inverse of rows b1 ... bn of L D L^T - lambda I, scaled so that z(r) = 1: an eigenvector if
/// lambda is close to an eigenvalue and r well chosen.
///
/// gaptol   entries of z count as zero from where the residual that this leaves is below gaptol
/// z        the vector on isuppz(1) ... isuppz(2), and a zero on either side of that; elsewhere unchanged
/// wantnc   whether to count; negcnt  then the number of eigenvalues below lambda, else -1
/// ztz      square of the norm of z;  nrminv  its inverse root
/// mingma   the r-th diagonal element of the inverse, inverted
/// r        the row of the twist in b1 ... bn, or 0: it becomes the one with the least |mingma|
/// resid    norm of the residual of z / |z|;  rqcorr  what to add to lambda for the Rayleigh quotient of z
/// work     4 n numbers
template <Scalar T>
void lar1v(Int n, Int b1, Int bn, Real<T> lambda, const Real<T>* d, const Real<T>* l, const Real<T>* ld,
           const Real<T>* lld, Real<T> pivmin, Real<T> gaptol, T* z, Logical wantnc, Int& negcnt, Real<T>& ztz,
           Real<T>& mingma, Int& r, Int* isuppz, Real<T>& nrminv, Real<T>& resid, Real<T>& rqcorr, Real<T>* work);

}  // namespace nuv
