#pragma once

// The range into which the numbers of a merge are brought.

#include <algorithm>
#include <cmath>

#include "environment/scaling.hpp"
#include "svd/merged_halves.hpp"

namespace nuv {

/// Divides the values of two halves and the elements that join them by the largest of their magnitudes.
template <RealScalar R>
class MergeScaling {
 public:
  /// d       n elements; the one between the halves becomes zero
  MergeScaling(const MergedHalves& halves, R* d, R alpha, R beta) : n_(halves.n()), alpha_(alpha), beta_(beta) {
    d[halves.nl] = 0;
    R largest = std::max(std::abs(alpha), std::abs(beta));
    for (Int i = 0; i < n_; ++i) largest = std::max(largest, std::abs(d[i]));
    if (largest == 0) return;
    norm_ = largest;
    Int ignored;
    lascl('G', 0, 0, norm_, R(1), n_, 1, d, n_, ignored);
    alpha_ /= norm_;
    beta_ /= norm_;
  }

  R alpha() const { return alpha_; }
  R beta() const { return beta_; }

  void undo(R* d) const {
    Int ignored;
    lascl('G', 0, 0, R(1), norm_, n_, 1, d, n_, ignored);
  }

 private:
  Int n_;
  R alpha_, beta_, norm_ = 1;
};

}  // namespace nuv
