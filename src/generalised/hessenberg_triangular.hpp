#pragma once

// Reduction of a pencil to Hessenberg-triangular form, H = Q^H A Z and T = Q^H B Z, by plane rotations (C. B. Moler and
// G. W. Stewart, "An algorithm for generalized matrix eigenvalue problems", SIAM J. Numer. Anal. 10, 1973).

#include "base/types.hpp"

namespace nuv {

/// Reduces A to upper Hessenberg form and keeps B upper triangular: a rotation of two rows takes an element of A below
/// the subdiagonal away, one of two columns what the first put below the diagonal of B.
///
/// compq   'N': Q is not wanted, 'I': q := Q, 'V': q := q Q, for the q of a QR factorisation that made B triangular
/// compz   'N': Z is not wanted, 'I': z := Z, 'V': z := z Z
/// ilo, ihi  A is upper triangular already in rows and columns outside, as ggbal leaves it; 1 and n if nothing is
///         known. 1 <= ilo, ilo - 1 <= ihi <= n; 1 and 0 if n is zero
/// a       n by n, lda >= max(1, n); out H, with zeros below its subdiagonal
/// b       n by n, ldb >= max(1, n), upper triangular: what stands below the diagonal is not read. Out T, with zeros
///         there
/// q       n by n, ldq >= 1, and >= n with compq 'I' or 'V'; else not used
/// z       n by n, ldz >= 1, and >= n with compz 'I' or 'V'; else not used
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void gghrd(char compq, char compz, Int n, Int ilo, Int ihi, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz,
           Int& info);

}  // namespace nuv
