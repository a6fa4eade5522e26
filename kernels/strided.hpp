#pragma once

// Access to vectors as the kernels take them: a negative increment walks from the far end.

#include "base/types.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// The element that counts as first: x itself, or the far end when the increment is negative.
template <class T>
T* first_element(T* x, Int n, Int incx) {
  return incx >= 0 ? x : x - std::ptrdiff_t{n - 1} * incx;
}

/// Element i, from zero, of a vector whose first element is given.
template <class T>
T& element(T* first, Int i, Int incx) {
  return first[std::ptrdiff_t{i} * incx];
}

}  // namespace nuv::kernels::inline NUV_ISA
