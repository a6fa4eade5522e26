#pragma once

// Scaling by a quotient that may itself lie outside the exponent range, in as many steps as that takes.

#include "base/types.hpp"

namespace nuv {

/// A := (cto / cfrom) A without over- or underflow on the way, as long as the result is in range. With an infinity or a
/// NaN the quotient is what arithmetic makes of the two, and so is its product with each entry.
///
/// type    'G': full m by n, 'L', 'U': lower, upper trapezoid, 'H': upper Hessenberg,
///         'B', 'Q': lower, upper half of a symmetric band matrix (kl = ku, m = n),
///         'Z': band matrix in the layout of its factorisation, the kl rows on top left alone
/// kl, ku  diagonals below and above the main one; looked at for 'B', 'Q' and 'Z' alone
/// cfrom   not zero
/// a       lda >= max(1, m), for 'B' kl + 1, for 'Q' ku + 1, for 'Z' 2 kl + ku + 1
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void lascl(char type, Int kl, Int ku, Real<T> cfrom, Real<T> cto, Int m, Int n, T* a, Int lda, Int& info);

/// x := (1 / sa) x in the same way; sa may be any number, zero among them. n elements, incx > 0 apart.
template <Scalar T>
void rscl(Int n, Real<T> sa, T* x, Int incx);

}  // namespace nuv
