#pragma once

// Elements of random matrices, one at a time: the element (i, j) of an m by n matrix that is given its diagonal,
// graded, pivoted, made sparse and cut to a band (J. Demmel, A. McKenney, A test matrix generation suite, Argonne
// National Laboratory, MCS-P69-0389, 1989). Nothing is checked.
//
// kl, ku   what lies below the kl-th diagonal or above the ku-th is zero
// idist    distribution of what lies off the diagonal, see generators/random_numbers.hpp; iseed their state
// d        the diagonal, min(m, n) numbers
// igrade   0: no grading; 1: diag(dl) A; 2: A diag(dr); 3: diag(dl) A diag(dr); 4: diag(dl) A diag(dl)^-1;
//          5: diag(dl) A diag(dl)^H; 6: diag(dl) A diag(dl)^T
// dl, dr   m and n numbers, read where a grading asks for them
// ipvtng   0: no pivoting; 1: of the rows; 2: of the columns; 3: of both
// iwork    the permutation, for pivoting
// sparse   probability for an element to be zero, whatever it would be otherwise; one number is drawn for it where it
//          is positive

#include "base/types.hpp"

namespace nuv {

/// The element at (i, j), made of the one that stands at (iwork(i), iwork(j)) before pivoting. The band is one of the
/// matrix after pivoting, so that zeros outside draw no numbers.
template <Scalar T>
T latm2(Int m, Int n, Int i, Int j, Int kl, Int ku, Int idist, Int* iseed, const T* d, Int igrade, const T* dl,
        const T* dr, Int ipvtng, const Int* iwork, Real<T> sparse);

/// The element that stands at (i, j) before pivoting, and its place (isub, jsub) = (iwork(i), iwork(j)) after it. The
/// numbers that are drawn for a full matrix don't depend on its pivoting.
template <Scalar T>
T latm3(Int m, Int n, Int i, Int j, Int& isub, Int& jsub, Int kl, Int ku, Int idist, Int* iseed, const T* d, Int igrade,
        const T* dl, const T* dr, Int ipvtng, const Int* iwork, Real<T> sparse);

}  // namespace nuv
