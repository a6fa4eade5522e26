#pragma once

// The range into which a matrix is brought before its singular values or its eigenvalues are looked for.

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
    if (is_needed()) lascl('G', 0, 0, norm_, target_, m, n, A.data, A.ld, ignored);
  }

  bool is_needed() const { return target_ != 0; }

  /// Takes it back from n values.
  template <Scalar T>
  void undo(Int n, T* x) const {
    undo('G', n, 1, Matrix{x, std::max(1, n)});
  }

  /// Takes it back from an m by n matrix of a type of lascl.
  template <Scalar T>
  void undo(char type, Int m, Int n, Matrix<T> A) const {
    Int ignored = 0;
    if (is_needed()) lascl(type, 0, 0, target_, norm_, m, n, A.data, A.ld, ignored);
  }

 private:
  R norm_, target_ = 0;  ///< target zero: left as it is
};

}  // namespace nuv
