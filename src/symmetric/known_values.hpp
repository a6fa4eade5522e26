#pragma once

// What a representation tree knows of the eigenvalues of a block.

#include <algorithm>
#include <cmath>

#include "blas.hpp"
#include "symmetric/representation_node.hpp"
#include "symmetric/sturm_counts.hpp"

namespace nuv {

/// Eigenvalues next to each other, the first of which is number `index` of the block, counted from one.
template <RealScalar R>
struct KnownValues {
  Int count, index;
  R *x, *error, *gap;  ///< n places each: values, each less the shift of its representation; gaps to the next ones
  R gap_below;         ///< below the first, at least

  R left(Int k) const { return x[k] - error[k]; }
  R right(Int k) const { return x[k] + error[k]; }
  R gap_before(Int k) const { return k == 0 ? gap_below : gap[k - 1]; }

  /// The last value from `first` on, up to `last`, that a relative gap of `least` does not separate from the one
  /// before.
  Int end_of_group(Int first, Int last, R least) const {
    Int end = first;
    while (end < last && gap[end] < least * std::abs(x[end])) ++end;
    return end;
  }

  bool refine(const RepresentationNode<R>& node, Int first, Int last, R rtol1, R rtol2) const {
    return node.refine(index + first, index + last, rtol1, rtol2, index, x, gap, error);
  }

  /// Adds neighbours as long as relative gaps are smaller than `least`: a representation determines the values of a
  /// cluster if its shift lies beside the whole of it. False if bisection fails.
  bool complete_clusters(const RepresentationNode<R>& root, R least, R rtol1, R rtol2) {
    return complete_below(root, least, rtol1, rtol2) && complete_above(root, least, rtol1, rtol2);
  }

 private:
  bool complete_below(const RepresentationNode<R>& root, R least, R rtol1, R rtol2) {
    while (index > 1) {
      const R bound = left(0) - least * std::abs(left(0));
      const Int added = index - 1 - count_below(root, bound);
      if (added <= 0) {
        gap_below = std::max(gap_below, left(0) - bound);
        return true;
      }
      const R end = right(0);
      for (R* const numbers : {x, error, gap}) std::copy_backward(numbers, numbers + count, numbers + count + added);
      count += added;
      index -= added;
      gap_below = 0;
      place_between(bound, end, 0, added);
      if (!refine(root, 0, added, rtol1, rtol2)) return false;
    }
    return true;
  }

  bool complete_above(const RepresentationNode<R>& root, R least, R rtol1, R rtol2) {
    while (index + count <= root.n) {
      const Int last = count - 1;
      const R bound = right(last) + least * std::abs(right(last));
      const Int added = count_below(root, bound) - (index + last);
      if (added <= 0) {
        gap[last] = std::max(gap[last], bound - right(last));
        return true;
      }
      count += added;
      gap[last] = 0;
      place_between(left(last), bound, last + 1, added);
      if (!refine(root, last, last + added, rtol1, rtol2)) return false;
    }
    return true;
  }

  static Int count_below(const RepresentationNode<R>& root, R bound) {
    return laneg(root.n, root.d, root.lld, bound, root.pivmin, root.n);
  }

  void place_between(R low, R high, Int first, Int added) const {
    std::fill_n(x + first, added, (low + high) / 2);
    std::fill_n(error + first, added, (high - low) / 2);
    std::fill_n(gap + first, added, R(0));
  }
};

}  // namespace nuv
