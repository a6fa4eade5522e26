#pragma once

// The range into which the matrix and the right-hand sides of a least-squares problem are brought.

#include "base/matrix.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_general.hpp"
#include "environment/scaling.hpp"

namespace nuv {

/// How a matrix is brought into the range in which roundings of its largest element, and their reciprocals, are normal
/// numbers.
template <RealScalar R>
struct ElementScaling {
  R norm = 0;    ///< the largest magnitude; NaN, not zero, where nothing but zeros and NaN is there
  R target = 0;  ///< zero: left as it is

  template <Scalar T>
  ElementScaling(Int m, Int n, Matrix<T> A) : norm(lange('M', m, n, A.data, A.ld, static_cast<R*>(nullptr))) {
    constexpr R smallest = Machine<R>::safe_min / Machine<R>::precision, largest = 1 / smallest;
    // The largest magnitude passes over a NaN; the norm of Frobenius does not.
    if (norm == 0) norm = lange('F', m, n, A.data, A.ld, static_cast<R*>(nullptr));
    if (norm > 0 && norm < smallest) target = smallest;
    if (norm > largest) target = largest;
  }

  template <Scalar T>
  void apply(Int m, Int n, Matrix<T> A) const {
    Int ignored = 0;
    if (target != 0) lascl('G', 0, 0, norm, target, m, n, A.data, A.ld, ignored);
  }

  /// Takes it back from a matrix of a type of lascl.
  template <Scalar T>
  void undo(char type, Int m, Int n, Matrix<T> A) const {
    Int ignored = 0;
    if (target != 0) lascl(type, 0, 0, target, norm, m, n, A.data, A.ld, ignored);
  }
};

}  // namespace nuv
