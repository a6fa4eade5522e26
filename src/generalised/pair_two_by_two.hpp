#pragma once

// The step of the generalised singular value decomposition at order two (C. C. Paige, "Computing the generalized
// singular value decomposition", SIAM J. Sci. Stat. Comput. 7, 1986), with the choice of the rotation that keeps small
// elements accurate (Z. Bai and J. W. Demmel, "Computing the generalized singular value decomposition", SIAM J. Sci.
// Comput. 14, 1993).

#include "base/types.hpp"

namespace nuv {

/// Unitary U, V and Q that turn two upper triangular matrices of order two into lower triangular ones,
///
///         [ a1  a2 ]     [ x  0 ]          [ b1  b2 ]     [ x  0 ]
///     U^H [  0  a3 ] Q = [ x  x ]      V^H [  0  b3 ] Q = [ x  x ]
///
/// with parallel rows, or, where `upper` is false, two lower triangular matrices into upper ones,
///
///         [ a1   0 ]     [ x  x ]          [ b1   0 ]     [ x  x ]
///     U^H [ a2  a3 ] Q = [ 0  x ]      V^H [ b2  b3 ] Q = [ 0  x ].
///
/// Of the two matrices, the one in which less is lost to cancellation gives Q. Elements that are not finite, or whose
/// products are not, give rotations that are NaN.
///
/// upper   true for upper triangular matrices, false for lower ones
/// a1, a3, b1, b3  the diagonals;  a2, b2  what stands beside them
/// csu, snu  U = [ csu  snu; -conj(snu)  csu ], out;  csv, snv  V of this form;  csq, snq  Q of this form
template <Scalar T>
void lags2(Logical upper, Real<T> a1, T a2, Real<T> a3, Real<T> b1, T b2, Real<T> b3, Real<T>& csu, T& snu,
           Real<T>& csv, T& snv, Real<T>& csq, T& snq);

}  // namespace nuv
