#pragma once

// One sweep of the implicit QL or QR iteration with Wilkinson's shift, its rotations generated in place.

#include "environment/sums_of_squares.hpp"
#include "svd/sweep_rotation.hpp"

namespace nuv {

/// The sweep over an unreduced matrix of order n + 1, diagonal d and e beside it: with n rotations from the first row
/// down (QR), the shift taken from the last rows, or from the last row up (QL), the shift from the first rows. Where
/// `keeps` says so, cosine and sine of the rotation in the plane (i, i + 1) become cosine[i - 1] and sine[i - 1].
template <bool downwards, RealScalar R>
void implicit_sweep(bool keeps, Int n, R* d, R* e, R* cosine, R* sine) {
  // Both sweeps in the order of the first: D(k) and E(k) are counted from where the sweep begins.
  const auto place = [=](Int k) { return downwards ? k - 1 : n - k; };
  const auto D = [=](Int k) -> R& { return d[downwards ? k - 1 : n + 1 - k]; };
  const auto E = [=](Int k) -> R& { return e[place(k)]; };

  R g = (D(n) - D(n + 1)) / (2 * E(n));
  R r = lapy2(g, R(1));
  g = (D(1) - D(n + 1)) + E(n) / (g >= 0 ? g + r : g - r);
  R s = 1, c = 1, p = 0;
  for (Int k = 1; k <= n; ++k) {
    const R f = s * E(k), b = c * E(k);
    rotation_of_sweep<Normalised::by_division>(g, f, c, s, r);
    if (k != 1) E(k - 1) = r;
    g = D(k) - p;
    r = (c + c) * b + (D(k + 1) - g) * s;
    p = s * r;
    D(k) = g + p;
    g = r * c - b;
    if (keeps) {
      cosine[place(k)] = c;
      sine[place(k)] = downwards ? s : negated(s);
    }
  }
  D(n + 1) -= p;
  E(n) = g;
}

}  // namespace nuv
