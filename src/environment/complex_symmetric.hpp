#pragma once

// The eigenproblem of complex symmetric, not Hermitian, matrices of order two.

#include "base/types.hpp"

namespace nuv {

/// Eigenvalues of the complex symmetric matrix [a b; b c], and eigenvectors that are orthogonal without conjugation:
///
///     [  cs1  sn1 ] [ a  b ] [ cs1 -sn1 ]   [ rt1   0  ]
///     [ -sn1  cs1 ] [ b  c ] [ sn1  cs1 ] = [  0   rt2 ],   cs1^2 + sn1^2 = 1.
///
/// rt1, rt2  |rt1| >= |rt2|
/// evscal    by what the vector (1, (rt1 - a) / b) was multiplied to make it (cs1, sn1); 1 if b = 0. Zero if that would
///           make the vectors longer than ten: those of a double eigenvalue may coincide and have the square 0. Then
///           (cs1, sn1) is left unscaled, and the second vector means nothing.
template <ComplexScalar T>
void laesy(T a, T b, T c, T& rt1, T& rt2, T& evscal, T& cs1, T& sn1);

}  // namespace nuv
