#pragma once

// Scaling by a quotient that may itself lie outside the exponent range, in as many steps as that takes.

#include "base/types.hpp"

namespace nuv {

/// A := (cto / cfrom) A for finite cto and cfrom, as long as the result is in range.
///
/// type    'G': full m by n, 'L', 'U': lower, upper trapezoid, 'H': upper Hessenberg,
///         'B', 'Q': lower, upper half of a symmetric band matrix (kl = ku, m = n),
///         'Z': band matrix in the layout of its factorisation, the kl rows on top left alone
/// kl, ku  diagonals below and above the main one; looked at for 'B', 'Q' and 'Z' alone
/// a       lda >= max(1, m), for 'B' kl + 1, for 'Q' ku + 1, for 'Z' 2 kl + ku + 1
/// info    0, or -k: argument k was bad (reported)
template <Scalar T>
void lascl(char type, Int kl, Int ku, Real<T> cfrom, Real<T> cto, Int m, Int n, T* a, Int lda, Int& info);

/// x := x / sa for a finite sa, as long as the result is in range. n elements, incx > 0 apart.
template <Scalar T>
void rscl(Int n, Real<T> sa, T* x, Int incx);

}  // namespace nuv
