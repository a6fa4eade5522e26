#pragma once

// A representation of the tree while its eigenvalues are looked at.

#include "base/types.hpp"
#include "symmetric/bisection_of_representations.hpp"

namespace nuv {

/// L D L^T = T - shift I for a block T of order n.
template <RealScalar R>
struct RepresentationNode {
  Int n;
  R *d, *l;     ///< n and n - 1 elements
  R *ld, *lld;  ///< products of these
  R shift;
  R diameter;  ///< of the spectrum
  R pivmin;
  R* scratch;     ///< 4 n numbers for what is called
  Int* integers;  ///< 2 n

  void form_products() const {
    for (Int i = 0; i < n - 1; ++i) {
      ld[i] = l[i] * d[i];
      lld[i] = l[i] * ld[i];
    }
  }

  /// Bisects for the eigenvalues `first` to `last`, by their indices. The arrays begin with eigenvalue `origin`.
  bool refine(Int first, Int last, R rtol1, R rtol2, Int origin, R* w, R* wgap, R* werr) const {
    Int info;
    larrb(n, d, lld, first, last, rtol1, rtol2, origin - 1, w, wgap, werr, scratch, integers, pivmin, diameter, n,
          info);
    return info == 0;
  }

  /// The same for eigenvalues `first` and `last` > `first` alone.
  void refine_ends(Int first, Int last, R rtol, Int origin, R* w, const R* wgap, R* werr) const {
    nuv::refine_ends(n, d, lld, first, last, rtol, origin - 1, w, wgap, werr, pivmin, diameter);
  }
};

}  // namespace nuv
