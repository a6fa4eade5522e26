#pragma once

// A pencil in generalised Schur form with what follows its transformations.

#include "base/matrix.hpp"

namespace nuv {

/// (A, B), which is transformed from the left with the columns of Q and from the right with those of Z.
template <Scalar T>
struct PencilForm {
  bool wantq, wantz;
  Int n;
  Matrix<T> A, B, Q, Z;
};

}  // namespace nuv
