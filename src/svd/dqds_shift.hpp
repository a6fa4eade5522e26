#pragma once

// The choice of a shift for dqds: B. N. Parlett, O. A. Marques, "An implementation of the dqds algorithm (positive
// case)", Linear Algebra Appl. 309, 2000, section 6.
//
// i0, n0  first and last row of the block; at least three rows
// z       two sets of q and e, see qd_array.hpp;  pp  the current one; the other is the one from which it was made
// n0in    the last row before the step's deflations
// dmin ... dn2   what the last transform told, see dqds_transforms.hpp
// tau     the shift;  ttype  the kind of choice that led to it: minus the number of the case in the paper; in, that of
//         the last choice, less eleven or twelve for each time that it failed
// g       part of dmin that a shift takes when nothing better is known; grows while that goes on

#include "base/types.hpp"

namespace nuv {

/// The first value of g.
template <RealScalar R>
inline constexpr R first_shift_factor = R(0.25);

/// Chooses the shift.
template <RealScalar R>
void lasq4_internal(Int i0, Int n0, const R* z, Int pp, Int n0in, R dmin, R dmin1, R dmin2, R dn, R dn1, R dn2, R& tau,
                    Int& ttype, R& g);

/// The same under its earlier name.
template <RealScalar R>
void lazq4(Int i0, Int n0, const R* z, Int pp, Int n0in, R dmin, R dmin1, R dmin2, R dn, R dn1, R dn2, R& tau,
           Int& ttype, R& g);

}  // namespace nuv
