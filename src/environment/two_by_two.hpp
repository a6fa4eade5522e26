#pragma once

// Eigenvalues, singular values and Schur forms of matrices of order two. Nothing is scaled: results are accurate to a
// few units in the last place unless squares of ratios, or the matrix itself, are near the limits of the range. A NaN
// shows in every result whose formula reads it.

#include "base/types.hpp"

namespace nuv {

/// Eigenvalues of the symmetric matrix
///
///     [ a  b ]
///     [ b  c ]
///
/// rt1     the one of larger magnitude
/// rt2     the other, from the determinant: as accurate as a c - b^2 is
template <RealScalar R>
void lae2(R a, R b, R c, R& rt1, R& rt2);

/// The same with the unit eigenvector (cs1, sn1) for rt1:
///
///     [  cs1  sn1 ] [ a  b ] [ cs1 -sn1 ]   [ rt1   0  ]
///     [ -sn1  cs1 ] [ b  c ] [ sn1  cs1 ] = [  0   rt2 ].
template <RealScalar R>
void laev2(R a, R b, R c, R& rt1, R& rt2, R& cs1, R& sn1);

/// The same for a Hermitian matrix, of which only the real parts of a and c are read:
///
///     [    cs1     conj(sn1) ] [    a     b ] [ cs1 -conj(sn1) ]   [ rt1   0  ]
///     [   -sn1        cs1    ] [ conj(b)  c ] [ sn1     cs1    ] = [  0   rt2 ].
template <ComplexScalar T>
void laev2(T a, T b, T c, Real<T>& rt1, Real<T>& rt2, Real<T>& cs1, T& sn1);

/// Singular values, ssmin <= ssmax, of the triangular matrix
///
///     [ f  g ]
///     [ 0  h ]
template <RealScalar R>
void las2(R f, R g, R h, R& ssmin, R& ssmax);

/// Its singular value decomposition. Here the values carry signs and |ssmax| >= |ssmin|:
///
///     [  csl  snl ] [ f  g ] [ csr -snr ]   [ ssmax   0   ]
///     [ -snl  csl ] [ 0  h ] [ snr  csr ] = [   0   ssmin ].
template <RealScalar R>
void lasv2(R f, R g, R h, R& ssmin, R& ssmax, R& snr, R& csr, R& snl, R& csl);

/// Brings a real matrix to the standard form of a Schur block by a rotation:
///
///     [ a  b ]   [ cs -sn ] [ a'  b' ] [  cs  sn ]
///     [ c  d ] = [ sn  cs ] [ c'  d' ] [ -sn  cs ]
///
/// where either c' = 0, or a' = d' and b' c' < 0, which is a conjugate pair of eigenvalues.
///
/// a, b, c, d              the matrix in, its standard form out
/// (rt1r, rt1i), (rt2r, rt2i)   eigenvalues; of a pair, the one with positive imaginary part comes first
template <RealScalar R>
void lanv2(R& a, R& b, R& c, R& d, R& rt1r, R& rt1i, R& rt2r, R& rt2i, R& cs, R& sn);

}  // namespace nuv
