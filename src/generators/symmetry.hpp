#pragma once

// What a square matrix of test data equals: its transpose or its adjoint. Real symmetric matrices count as Hermitian.

#include "base/types.hpp"

namespace nuv {

struct Symmetric {
  /// Element (j, i) where (i, j) is x.
  template <Scalar T>
  static T mirrored(T x) {
    return x;
  }

  /// A number without what rounding has left in it that may not stand on the diagonal.
  template <Scalar T>
  static T on_diagonal(T x) {
    return x;
  }
};

struct Hermitian {
  template <Scalar T>
  static T mirrored(T x) {
    return conjugate(x);
  }

  template <Scalar T>
  static T on_diagonal(T x) {
    return std::real(x);
  }
};

}  // namespace nuv
