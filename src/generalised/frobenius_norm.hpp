#pragma once

// The Frobenius norm of several matrices together.

#include <cmath>

#include "base/matrix.hpp"
#include "environment/sums_of_squares.hpp"

namespace nuv {

template <RealScalar R>
class FrobeniusNorm {
 public:
  /// Adds a column of m elements.
  template <Scalar T>
  FrobeniusNorm& add(Int m, const T* x) {
    lassq(m, x, 1, scale_, sum_);
    return *this;
  }

  /// Adds an m by n matrix.
  template <class T>
  FrobeniusNorm& add(Int m, Int n, Matrix<T> A) {
    for (Int j = 1; j <= n; ++j) add(m, A.at(1, j));
    return *this;
  }

  R value() const { return scale_ * std::sqrt(sum_); }

 private:
  R scale_ = 0, sum_ = 1;
};

}  // namespace nuv
