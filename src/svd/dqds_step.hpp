#pragma once

// One step of dqds on a block: rows that have converged are split off at its end, the block is turned about if its
// elements grow downwards, a shift is chosen, and a transform made with it, again and again with less until it
// succeeds.
//
// i0, n0  first and last row of the block; n0 falls with each value that is found. A step that empties the block makes
//         no transform.
// z       two sets of q and e, see qd_array.hpp; values found stand at q(i) of set 0
// pp      the current set; the caller changes it after each step
// dmin    the least d of the last transform; not positive before the first: minus a lower bound of the eigenvalues
// sigma, desig   sum of all shifts, and what its rounding lost
// qmax    a bound of q
// nfail, iter, ndiv   numbers of shifts that were too large, of transforms, and of divisions
// ieee    see lasq5
// ttype ... tau   the last choice of a shift and what the last transform told, see dqds_shift.hpp

#include "base/types.hpp"
#include "svd/dqds_shift.hpp"

namespace nuv {

/// What goes from step to step. The names are those of the arguments above.
template <RealScalar R>
struct DqdsState {
  Int i0, n0;
  R* z;
  Int pp;
  R dmin, sigma, desig, qmax;
  std::int64_t nfail, iter, ndiv;
  Logical ieee;
  Int ttype = 0;
  R dmin1 = 0, dmin2 = 0, dn = 0, dn1 = 0, dn2 = 0, tau = 0;
  R g = first_shift_factor<R>;  ///< see dqds_shift.hpp
};

template <RealScalar R>
void advance(DqdsState<R>& state);

/// The step with its state in arguments. Shifts of the kind for which nothing is known begin anew with each call.
template <RealScalar R>
void lasq3_internal(Int i0, Int& n0, R* z, Int pp, R& dmin, R& sigma, R& desig, R& qmax, Int& nfail, Int& iter,
                    Int& ndiv, Logical ieee, Int& ttype, R& dmin1, R& dmin2, R& dn, R& dn1, R& dn2, R& tau);

/// The same under its earlier name.
template <RealScalar R>
void lazq3(Int i0, Int& n0, R* z, Int pp, R& dmin, R& sigma, R& desig, R& qmax, Int& nfail, Int& iter, Int& ndiv,
           Logical ieee, Int& ttype, R& dmin1, R& dmin2, R& dn, R& dn1, R& dn2, R& tau);

/// The same with what is not an argument here kept in the library: one array at a time in the whole process.
template <RealScalar R>
void lasq3(Int i0, Int& n0, R* z, Int pp, R& dmin, R& sigma, R& desig, R& qmax, Int& nfail, Int& iter, Int& ndiv,
           Logical ieee);

/// The choice of a shift, lasq4_internal, with g kept in the library in the same way.
///
/// n0in ... dn2   the last row before the step's deflations, and what the last transform told
/// ttype   the kind of choice, in and out
template <RealScalar R>
void lasq4(Int i0, Int n0, const R* z, Int pp, Int n0in, R dmin, R dmin1, R dmin2, R dn, R dn1, R dn2, R& tau,
           Int& ttype);

}  // namespace nuv
