#pragma once

// Spectra of test matrices: the singular values or eigenvalues that a matrix is made to have (J. Demmel, A. McKenney,
// A test matrix generation suite, Argonne National Laboratory, MCS-P69-0389, 1989).

#include "base/types.hpp"

namespace nuv {

/// True for the modes in which a spectrum is spread between 1 and 1 / cond, so that it has a largest magnitude to scale
/// by; the others are those of given and of plain random numbers.
constexpr bool mode_uses_cond(Int mode) {
  return mode != 0 && mode != 6 && mode != -6;
}

/// Fills d as a mode says.
///
/// mode      1: 1, then all 1 / cond;          2: all 1, but for a last 1 / cond
///           3: geometric from 1 to 1 / cond;  4: arithmetic from 1 to 1 / cond
///           5: random in (1 / cond, 1), with logarithms distributed uniformly
///           6: random from the distribution idist
///           0: d is left as it is;            negative: the same in reverse order
/// cond      at least 1 in modes 1 to 5
/// irsign    1: in modes 1 to 5 each number is multiplied by a random sign, a complex number by a random point of the
///           unit circle; 0: none is
/// idist     1 ... 3 in mode 6, see generators/random_numbers.hpp
/// iseed     state of the random numbers, see there
/// d         n numbers
/// info      0, or -k: argument k was bad (reported); n = 0 is never bad
template <Scalar T>
void latm1(Int mode, Real<T> cond, Int irsign, Int idist, Int* iseed, T* d, Int n, Int& info);

}  // namespace nuv
