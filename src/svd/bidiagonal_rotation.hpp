#pragma once

// The rotations that take what stands beside the diagonal of a bidiagonal matrix to the other side.

#include <cmath>

#include "environment/rotation.hpp"

namespace nuv {

/// Turns a lower bidiagonal matrix into an upper one by rotations of neighbouring rows, or an upper one into a lower
/// one by rotations of columns.
///
/// n         elements of d
/// count     n - 1, or n for a matrix with one line more, whose last element is rotated away
/// cosines, sines   count each
template <RealScalar R>
void rotate_to_other_side(Int n, Int count, R* d, R* e, R* cosines, R* sines) {
  for (Int i = 0; i < count; ++i) {
    R r;
    if (std::isfinite(d[i]) && std::isfinite(e[i])) {
      lartg(d[i], e[i], cosines[i], sines[i], r);
    } else {
      r = cosines[i] = sines[i] = (d[i] - d[i]) + (e[i] - e[i]);  // there is no such rotation
    }
    d[i] = r;
    if (i + 1 < n) {
      e[i] = sines[i] * d[i + 1];
      d[i + 1] = cosines[i] * d[i + 1];
    } else {
      e[i] = 0;
    }
  }
}

}  // namespace nuv
