#pragma once

// The Schur form of a large Hessenberg matrix: sweeps that chase a chain of small bulges, one for each pair of shifts,
// so that most of their work is in products of matrices (K. Braman, R. Byers and R. Mathias, "The multishift QR
// algorithm. Part I: Maintaining well-focused shifts and level 3 performance", SIAM J. Matrix Anal. Appl. 23, 2002),
// between which eigenvalues are looked for in a window (nonsymmetric/early_deflation.hpp).
//
// wantt       true: h becomes the Schur form; false: eigenvalues are wanted alone, and h is destroyed
// wantz       true: z := z times the transformation
// n           order of H
// ilo, ihi    rows and columns outside are triangular already. 1 <= ilo <= ihi <= n; 1 and 0 if n is zero
// h           n by n, upper Hessenberg, ldh >= max(1, n); out, with wantt and info = 0, upper triangular, but for
//             diagonal blocks of order two, as lanv2 leaves them, for conjugate pairs. What stands below the first
//             subdiagonal is scratch. With info > 0, rows and columns ilo ... info are a Hessenberg matrix with the
//             eigenvalues that were not found
// wr, wi, w   n eigenvalues, real and imaginary parts, or complex; elements ilo ... ihi are set, with info > 0 those
//             behind info. Conjugate pairs stand beside each other, the positive imaginary part first
// iloz, ihiz  rows of Z to be updated, 1 <= iloz <= ilo, ihi <= ihiz <= n
// z           ldz >= ihiz; not touched unless wantz
// work        lwork elements; work(1) returns the best lwork
// lwork       at least max(1, n); with less than the best, there are fewer shifts and smaller windows. -1 asks for the
//             best and does nothing else
// info        0, or k > 0: eigenvalues k + 1 ... ihi were found before the limit on iterations struck

#include "base/types.hpp"

namespace nuv {

/// The Schur form of a matrix of any order. Orders up to 11 are left to lahqr.
template <RealScalar T>
void laqr0(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info);
template <ComplexScalar T>
void laqr0(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info);

/// The same for the windows of laqr0 and for its shifts: this one takes both from lahqr, so that recursion ends.
template <RealScalar T>
void laqr4(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info);
template <ComplexScalar T>
void laqr4(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, Int iloz, Int ihiz, T* z,
           Int ldz, T* work, Int lwork, Int& info);

}  // namespace nuv
