#pragma once

// Eigenvalues and Schur form of an upper Hessenberg matrix, H = Z T Z^H.

#include "base/types.hpp"

namespace nuv {

/// Takes the QR iteration in two forms: for small matrices nonsymmetric/double_shift_qr.hpp, for large ones
/// nonsymmetric/multishift_qr.hpp, which also helps where the former fails.
///
/// job     'S': the Schur form, 'E': eigenvalues alone
/// compz   'N': no vectors, 'I': z := Z, 'V': z := z Z, which takes it for granted that z is the product of reflectors
///         that orghr makes: its rows outside ilo ... ihi are left alone
/// ilo, ihi  rows and columns outside are triangular already, as gebal leaves them; 1 and n if nothing is known.
///         1 <= ilo <= ihi <= n; 1 and 0 if n is zero
/// h       n by n, ldh >= max(1, n), upper Hessenberg; out, with job 'S' and info = 0, T, with 2 by 2 diagonal blocks
///         for conjugate pairs, whose diagonal elements are equal and the others of opposite sign; destroyed with
///         job 'E'
/// wr, wi  n real and imaginary parts of eigenvalues, in the order of T with job 'S'. Conjugate pairs stand beside each
///         other, the positive imaginary part first
/// z       n by n, ldz >= 1, and >= n with compz 'I' or 'V'; else not used
/// work    lwork elements; work(1) returns the best lwork
/// lwork   at least max(1, n); with less than the best, there are fewer shifts and smaller windows. -1 asks for the
///         best and does nothing else
/// info    0, or -k: argument k was bad (reported); k > 0: eigenvalues 1 ... ilo - 1 and k + 1 ... n were found before
///         the limit on iterations struck, and rows and columns ilo ... k of h are a Hessenberg matrix with the others.
///         With job 'S', h is similar to what it was, by the transformation that went to z
template <RealScalar T>
void hseqr(char job, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, T* z, Int ldz, T* work,
           Int lwork, Int& info);

/// w       n eigenvalues, the diagonal of T with job 'S'
template <ComplexScalar T>
void hseqr(char job, char compz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, T* z, Int ldz, T* work, Int lwork,
           Int& info);

}  // namespace nuv
