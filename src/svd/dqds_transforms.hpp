#pragma once

// The transforms of dqds. From the qd array of a matrix L U, one of them makes that of
//
//     L' U' = U L - tau I
//
// i0, n0  first and last row of the part of the array that is transformed; nothing is done with less than three rows
// z       two sets of q and e, see qd_array.hpp;  pp  the set that is read, the other one is written
// dn, dnm1, dnm2   the last d's: d(i) is what q'(i) would be without e(i)
// dmin    the least d: if it is not negative, it is an upper bound of the least eigenvalue;  dmin1, dmin2  the same
//         without the last one, and the last two
//
// The place of e'(n0) receives the least e', the last two left out. NaNs show in dmin.

#include "base/types.hpp"

namespace nuv {

/// With a shift. Before it divides by anything but positive numbers the transform ends, with dmin negative.
///
/// ieee    true: the transform comes to its end without a look at the numbers it divides by
template <RealScalar R>
void lasq5(Int i0, Int n0, R* z, Int pp, R tau, R& dmin, R& dmin1, R& dmin2, R& dn, R& dnm1, R& dnm2, Logical ieee);

/// Without a shift, safe from overflow, from avoidable underflow and from divisions by zero.
template <RealScalar R>
void lasq6(Int i0, Int n0, R* z, Int pp, R& dmin, R& dmin1, R& dmin2, R& dn, R& dnm1, R& dnm2);

}  // namespace nuv
