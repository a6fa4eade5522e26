#pragma once

// The range into which a matrix is brought before its singular values are looked for.

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_general.hpp"
#include "environment/scaling.hpp"

namespace nuv {

/// Brings a matrix into the range in which squares of its elements are numbers, and its values out of it.
template <RealScalar R>
class NormScaling {
 public:
  template <Scalar T>
  NormScaling(Int m, Int n, Matrix<T> A) : norm_(lange('M', m, n, A.data, A.ld, static_cast<R*>(nullptr))) {
    const R smallest = std::sqrt(Machine<R>::safe_min) / Machine<R>::precision, largest = 1 / smallest;
    if (norm_ > 0 && norm_ < smallest) target_ = smallest;
    if (norm_ > largest) target_ = largest;
    Int ignored = 0;
    if (target_ != 0) lascl('G', 0, 0, norm_, target_, m, n, A.data, A.ld, ignored);
  }

  void undo(Int n, R* x) const {
    Int ignored = 0;
    if (target_ != 0) lascl('G', 0, 0, target_, norm_, n, 1, x, std::max(1, n), ignored);
  }

 private:
  R norm_, target_ = 0;  ///< target zero: left as it is
};

}  // namespace nuv
