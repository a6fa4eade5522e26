#pragma once

// One QR sweep with many shifts, by a chain of small bulges (K. Braman, R. Byers and R. Mathias, "The multishift QR
// algorithm. Part I: Maintaining well-focused shifts and level 3 performance", SIAM J. Matrix Anal. Appl. 23, 2002).
// Nothing is checked.

#include "base/types.hpp"

namespace nuv {

/// A scalar multiple of the first column of (H - s1 I) (H - s2 I), scaled so that it neither overflows nor vanishes
/// without need; zero where that is zero.
///
/// n       2 or 3; another one does nothing
/// h       n by n, ldh >= n; it need not be of Hessenberg form
/// sr1, si1, sr2, si2   shifts, both real or conjugate to each other
/// v       n elements
template <RealScalar T>
void laqr1(Int n, const T* h, Int ldh, T sr1, T si1, T sr2, T si2, T* v);

/// The same for complex matrices.
///
/// s1, s2  shifts
template <ComplexScalar T>
void laqr1(Int n, const T* h, Int ldh, T s1, T s2, T* v);

/// A sweep over a real Hessenberg matrix.
///
/// wantt   whether the whole Schur form is being computed; otherwise nothing outside rows and columns ktop ... kbot is
///         transformed
/// wantz   whether to multiply Z by the transformations
/// kacc22  1 or 2: reflectors are accumulated, and matrices multiplied by products of them; with 2, by products of
///         which the zeros are left out. Any other value: each reflector is applied by itself
/// n       order of H
/// ktop    first row and column of an active block: h(ktop, ktop - 1) is zero or doesn't exist
/// kbot    its last row and column: h(kbot + 1, kbot) is zero or doesn't exist
/// nshfts  number of shifts; an odd one is rounded down, and less than two do nothing
/// sr, si  nshfts real and imaginary parts of shifts, of which conjugates are neighbours; real ones are brought
///         together
/// h       n by n, ldh >= max(1, n)
/// iloz    first row of Z to be transformed
/// ihiz    last row of Z to be transformed
/// z       ldz >= max(1, ihiz), n columns
/// v       3 by nshfts / 2 elements for reflectors, ldv >= 3
/// u       3 nshfts - 3 by 3 nshfts - 3 elements for their product, ldu >= 3 nshfts - 3
/// nv      rows that are multiplied at once, at least 1
/// wv      nv by 3 nshfts - 3, ldwv >= nv
/// nh      columns that are multiplied at once, at least 1
/// wh      3 nshfts - 3 by nh, ldwh >= 3 nshfts - 3
template <RealScalar T>
void laqr5(Logical wantt, Logical wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts, T* sr, T* si, T* h, Int ldh,
           Int iloz, Int ihiz, T* z, Int ldz, T* v, Int ldv, T* u, Int ldu, Int nv, T* wv, Int ldwv, Int nh, T* wh,
           Int ldwh);

/// A sweep over a complex Hessenberg matrix.
///
/// s       nshfts shifts
template <ComplexScalar T>
void laqr5(Logical wantt, Logical wantz, Int kacc22, Int n, Int ktop, Int kbot, Int nshfts, T* s, T* h, Int ldh,
           Int iloz, Int ihiz, T* z, Int ldz, T* v, Int ldv, T* u, Int ldu, Int nv, T* wv, Int ldwv, Int nh, T* wh,
           Int ldwh);

}  // namespace nuv
