#pragma once

// True magnitudes, sqrt(re^2 + im^2), of the elements of a complex vector.

#include "base/types.hpp"

namespace nuv {

/// Position, from one, of the first element of largest magnitude; 0 for n < 1. Element i stands at x[(i - 1) incx]. An
/// element takes the place of the best so far unless that is at least as large, so a NaN takes it, and gives it to the
/// next.
template <ComplexScalar T>
Int imax1(Int n, const T* x, Int incx);

/// Sum of the magnitudes of n elements. Element i stands at x[(i - 1) incx].
template <ComplexScalar T>
Real<T> sum1(Int n, const T* x, Int incx);

}  // namespace nuv
