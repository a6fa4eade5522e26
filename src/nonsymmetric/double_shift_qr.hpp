#pragma once

// The Schur form of a small Hessenberg matrix by implicit QR steps (J. G. F. Francis, "The QR transformation", Computer
// J. 4, 1961/62): with pairs of shifts for real matrices, with single ones for complex matrices.
//
// wantt   whether the whole Schur form is wanted; otherwise eigenvalues alone, and what is left in H is of no use
// wantz   whether to multiply Z by the transformations
// ilo     first row and column that are not triangular yet, 1 <= ilo <= max(1, ihi); with wantt, rows above it are
//         transformed as well
// ihi     last row and column of that kind, ihi <= n; with wantt, columns behind it are transformed as well
// h       n by n, ldh >= max(1, n); what stands two and three below the diagonal of those rows and columns is set to
//         zero
// iloz    first row of Z to be transformed
// ihiz    last row of Z to be transformed
// z       ldz >= max(1, ihiz), as many columns as H
// info    0, or i: the limit of 30 sweeps for an eigenvalue struck. Eigenvalues i + 1 ... ihi are there, and rows and
//         columns ilo ... i of H are a Hessenberg matrix with the others
//
// Nothing is checked; n = 0 does nothing.

#include "base/types.hpp"

namespace nuv {

/// Real matrices: to a quasi-triangular form whose blocks of order two are as lanv2 makes them.
///
/// wr, wi  n elements, of which ilo ... ihi are written: real and imaginary parts of eigenvalues, as they stand on the
///         diagonal with wantt; of a conjugate pair, the one with positive imaginary part first
template <RealScalar T>
void lahqr(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* wr, T* wi, Int iloz, Int ihiz, T* z,
           Int ldz, Int& info);

/// Complex matrices: to triangular form.
///
/// w       n elements, of which ilo ... ihi are written: eigenvalues, as they stand on the diagonal with wantt
template <ComplexScalar T>
void lahqr(Logical wantt, Logical wantz, Int n, Int ilo, Int ihi, T* h, Int ldh, T* w, Int iloz, Int ihiz, T* z,
           Int ldz, Int& info);

}  // namespace nuv
