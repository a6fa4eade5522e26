#pragma once

// The matrix of a generalised Sylvester operator.

#include "base/types.hpp"

namespace nuv {

/// Z := [ I_n (x) A   -B^T (x) I_m ]
///      [ I_n (x) D   -E^T (x) I_m ]
///
/// so that Z (vec R, vec L) = (vec(A R - L B), vec(D R - L E)), with (x) the product of Kronecker. Its smallest
/// singular value is the separation of the pencils A - lambda D and B - lambda E.
///
/// a, d     m by m
/// b, e     n by n
/// lda      leading dimension of all four, >= m, n
/// z        of order 2 m n, ldz >= that order
template <Scalar T>
void lakf2(Int m, Int n, const T* a, Int lda, const T* b, const T* d, const T* e, T* z, Int ldz);

}  // namespace nuv
