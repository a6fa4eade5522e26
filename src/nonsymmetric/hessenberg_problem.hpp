#pragma once

// What the routines of the QR iteration share.

#include "base/matrix.hpp"
#include "nonsymmetric/eigenvalue_array.hpp"

namespace nuv {

/// Orders up to this one are for the iteration without bulges in chains (nonsymmetric/double_shift_qr.hpp), whatever
/// the tuning tables say.
inline constexpr Int least_multishift_order = 11;

/// Exceptional shifts are the eigenvalues of [f s, g s; s, f s], f and g these, plus a diagonal element, for a size s
/// of the matrix.
template <RealScalar R>
inline constexpr R exceptional_diagonal = R(0.75);
template <RealScalar R>
inline constexpr R exceptional_corner = R(-0.4375);

/// A Hessenberg matrix of which the Schur form, or the eigenvalues alone, are wanted, and a matrix whose rows iloz ...
/// ihiz take part in the transformations of columns.
template <Scalar T>
struct HessenbergProblem {
  bool wantt, wantz;
  Int n;
  Matrix<T> H;
  EigenvalueArray<T> w;
  Int iloz, ihiz;
  Matrix<T> Z;
};

}  // namespace nuv
