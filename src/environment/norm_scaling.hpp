#pragma once

// The range into which a matrix is brought before a system is solved with it, or its singular values or its eigenvalues
// are looked for.

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_general.hpp"
#include "environment/scaling.hpp"

namespace nuv {

/// Brings a matrix into a range of norms, and its values out of it.
template <RealScalar R>
class NormScaling {
 public:
  /// Into the range in which squares of elements are numbers.
  template <Scalar T>
  NormScaling(Int m, Int n, Matrix<T> A)
      : NormScaling(m, n, A, std::sqrt(Machine<R>::safe_min) / Machine<R>::precision) {}

  /// Into the range in which nothing is squared: roundings of the largest element, and their reciprocals, are normal
  /// numbers.
  template <Scalar T>
  static NormScaling without_squares(Int m, Int n, Matrix<T> A) {
    return {m, n, A, Machine<R>::safe_min / Machine<R>::precision};
  }

  /// The largest magnitude; NaN, not zero, where nothing but zeros and NaN is there.
  R norm() const { return norm_; }

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

  /// Does the same to an m by n matrix as was done to the first.
  template <Scalar T>
  void redo(Int m, Int n, Matrix<T> A) const {
    Int ignored = 0;
    if (is_needed()) lascl('G', 0, 0, norm_, target_, m, n, A.data, A.ld, ignored);
  }

 private:
  /// Into the range from `smallest` to its reciprocal.
  template <Scalar T>
  NormScaling(Int m, Int n, Matrix<T> A, R smallest) : norm_(lange('M', m, n, A.data, A.ld, static_cast<R*>(nullptr))) {
    const R largest = 1 / smallest;
    // The largest magnitude passes over a NaN; the norm of Frobenius does not.
    if (norm_ == 0) norm_ = lange('F', m, n, A.data, A.ld, static_cast<R*>(nullptr));
    if (norm_ > 0 && norm_ < smallest) target_ = smallest;
    if (norm_ > largest) target_ = largest;
    redo(m, n, A);
  }

  R norm_, target_ = 0;  ///< target zero: left as it is
};

}  // namespace nuv
