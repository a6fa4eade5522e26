#pragma once

// Eigenvalues and generalised Schur form of a Hessenberg-triangular pencil, H = Q S Z^H and T = Q P Z^H, by the QZ
// iteration (C. B. Moler and G. W. Stewart, "An algorithm for generalized matrix eigenvalue problems", SIAM J. Numer.
// Anal. 10, 1973; R. C. Ward, "The combination shift QZ algorithm", SIAM J. Numer. Anal. 12, 1975).

#include "base/types.hpp"

namespace nuv {

/// Takes single shifts where eigenvalues look real, and pairs of shifts where they look complex.
///
/// job     'S': the Schur form, 'E': eigenvalues alone
/// compq   'N': Q is not wanted, 'I': q := Q, 'V': q := q Q
/// compz   'N': Z is not wanted, 'I': z := Z, 'V': z := z Z
/// ilo, ihi  H is upper triangular already in rows and columns outside, as ggbal leaves it; 1 and n if nothing is
///         known. 1 <= ilo, ilo - 1 <= ihi <= n; 1 and 0 if n is zero
/// h       n by n, ldh >= n, upper Hessenberg; out, with job 'S' and info = 0, the quasi-triangular S, whose 2 by 2
///         diagonal blocks belong to conjugate pairs; of no use with job 'E'
/// t       n by n, ldt >= n, upper triangular; out, with job 'S' and info = 0, the triangular P, whose diagonal is not
///         negative and whose 2 by 2 diagonal blocks, where S has them, are diagonal; of no use with job 'E'
/// alphar, alphai, beta   n elements each: eigenvalue k is (alphar(k) + i alphai(k)) / beta(k), where beta(k) >= 0. It
///         is zero for an infinite eigenvalue, and alpha as well where the pencil is singular. Conjugate pairs stand
///         beside each other, the positive imaginary part first
/// q       n by n, ldq >= 1, and >= n with compq 'I' or 'V'; else not used
/// z       n by n, ldz >= 1, and >= n with compz 'I' or 'V'; else not used
/// work    lwork elements; work(1) returns the best lwork, which is the least
/// lwork   at least max(1, n); -1 asks for the best and does nothing else
/// info    0, or -k: argument k was bad (reported); k = 1 ... n: the iteration did not converge, and h and t are not in
///         Schur form, but eigenvalues k + 1 ... n are there; k = n + 1 ... 2 n: no shift could be found, and
///         eigenvalues k - n + 1 ... n are there
template <RealScalar T>
void hgeqz(char job, char compq, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* t, Int ldt, T* alphar,
           T* alphai, T* beta, T* q, Int ldq, T* z, Int ldz, T* work, Int lwork, Int& info);

/// Takes single shifts.
///
/// h       out, with job 'S' and info = 0, the triangular S
/// t       out, with job 'S' and info = 0, the triangular P, whose diagonal is real and not negative
/// alpha, beta   n elements each: eigenvalue k is alpha(k) / beta(k), where beta(k) is real and not negative; the
///         diagonals of S and P with job 'S'
/// rwork   n elements
template <ComplexScalar T>
void hgeqz(char job, char compq, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* t, Int ldt, T* alpha, T* beta,
           T* q, Int ldq, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork, Int& info);

}  // namespace nuv
