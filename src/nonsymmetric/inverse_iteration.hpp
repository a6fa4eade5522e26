#pragma once

// Eigenvectors of an upper Hessenberg matrix for selected ones of its eigenvalues, by inverse iteration. Right vectors
// x have H x = w x, left ones y^H H = w y^H; each has a largest element of |re| + |im| = 1.
//
// side      'R': right eigenvectors, 'L': left ones, 'B': both
// eigsrc    'Q': the eigenvalues come from QR iterations with H itself, each in the rows of the diagonal block of H, as
//           zeros of the subdiagonal cut it, to which it belongs; 'N': nothing is known of them
// initv     'N': no start vectors, 'U': they stand in the columns of vl and vr where the vectors will
// select    n elements: which vectors
// h         n by n, ldh >= max(1, n)
// vl        n by mm, left vectors, ldvl >= max(1, n) if there are any, else 1
// vr        the same for right vectors
// mm        columns of vl and vr, at least m
// m         columns that the vectors of the selected values take
// ifaill    mm elements: of each column of vl, zero, or the number of its eigenvalue if the iteration failed
// ifailr    the same for vr
// info      0, or -k: argument k was bad (reported), or the number of columns, left and right ones, where the iteration
//           failed
//
// Of eigenvalues that are the same up to rounding, the later ones are moved apart, so that their vectors differ.

#include "base/types.hpp"

namespace nuv {

/// The vector of a complex pair, of the value that stands first, takes two columns, real and imaginary part.
///
/// select  a pair counts as selected if either of its elements is true; then the first is true and the second false
/// wr      n real parts of eigenvalues, pairs next to each other; some are moved
/// wi      n imaginary parts
/// work    (n + 2) * n elements
template <RealScalar T>
void hsein(char side, char eigsrc, char initv, Logical* select, Int n, const T* h, Int ldh, T* wr, const T* wi, T* vl,
           Int ldvl, T* vr, Int ldvr, Int mm, Int& m, T* work, Int* ifaill, Int* ifailr, Int& info);

/// w       n eigenvalues; some are moved
/// work    n * n elements
/// rwork   n elements
template <ComplexScalar T>
void hsein(char side, char eigsrc, char initv, const Logical* select, Int n, const T* h, Int ldh, T* w, T* vl, Int ldvl,
           T* vr, Int ldvr, Int mm, Int& m, T* work, Real<T>* rwork, Int* ifaill, Int* ifailr, Int& info);

}  // namespace nuv
