#pragma once

// The arithmetic as it is measured, for callers that want to see for themselves. The rest of the library takes the
// parameters of environment/machine.hpp.

#include "base/types.hpp"

namespace nuv {

/// Base, digits and manner of rounding (M. A. Malcolm, Algorithms to reveal properties of floating-point arithmetic,
/// CACM 15, 1972; W. M. Gentleman, S. B. Marovich, More on algorithms that reveal properties of floating point
/// arithmetic units, CACM 17, 1974).
///
/// beta     base
/// t        digits of the mantissa in that base
/// rnd      whether addition rounds rather than chops
/// ieee1    whether it rounds ties to even
template <RealScalar R>
void lamc1(Int& beta, Int& t, Logical& rnd, Logical& ieee1);

/// The arithmetic in full.
///
/// beta, t, rnd    as above
/// eps             smallest number that can be taken from 1 so that the difference is below 1
/// emin, rmin      smallest exponent before gradual underflow, and beta^(emin - 1)
/// emax, rmax      largest exponent before overflow, and the largest number
template <RealScalar R>
void lamc2(Int& beta, Int& t, Logical& rnd, R& eps, Int& emin, R& rmin, Int& emax, R& rmax);

/// a + b, rounded to R on the way through memory, whatever registers hold.
template <RealScalar R>
R lamc3(R a, R b);

/// The exponent emin at which start, divided by the base again and again, is no longer recovered by multiplying back.
template <RealScalar R>
void lamc4(Int& emin, R start, Int base);

/// Largest exponent emax and largest number rmax of p digits that go with a smallest exponent emin.
///
/// ieee     whether the largest exponent stands for infinities
template <RealScalar R>
void lamc5(Int beta, Int p, Int emin, Logical ieee, Int& emax, R& rmax);

}  // namespace nuv
