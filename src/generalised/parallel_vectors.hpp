#pragma once

#include "base/types.hpp"

namespace nuv {

/// The smaller singular value of the n by 2 matrix (x y), from its QR factorisation: zero where the vectors are
/// parallel.
///
/// n       length of the vectors; none or one are parallel
/// x, y    n elements each, destroyed;  incx, incy  their distances, positive
/// ssmin   the singular value, out
template <Scalar T>
void lapll(Int n, T* x, Int incx, T* y, Int incy, Real<T>& ssmin);

}  // namespace nuv
