#pragma once

// The eigenproblem of complex symmetric, not Hermitian, matrices of order two, and the rotation that solves it.

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

/// (x, y) := (c x + s y, c y - s x) for n pairs of elements; orthogonal without conjugation if c^2 + s^2 = 1.
///
/// cx, cy  n elements each, by steps incx and incy; of a negative step the last element comes first
template <ComplexScalar T>
void lacrt(Int n, T* cx, Int incx, T* cy, Int incy, T c, T s);

}  // namespace nuv
