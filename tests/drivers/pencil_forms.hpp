#pragma once

// Generalised Schur forms for the calls of the lists.

#include "base/matrix.hpp"

namespace nuv::test {

/// Makes a generalised Schur form of two matrices, a real one with a pair in front if its order allows; its eigenvalues
/// are about (2 + shift) / 2.
template <Scalar T>
void make_schur_form(Int n, Matrix<T> S, Matrix<T> P, Real<T> shift) {
  for (Int j = 1; j <= n; ++j) {
    S(j, j) += T(shift);
    for (Int i = j + 1; i <= n; ++i) S(i, j) = P(i, j) = T(0);
  }
  if (RealScalar<T> && n > 1) {
    S(2, 2) = S(1, 1);
    S(2, 1) = -S(1, 2);
    P(1, 2) = T(0);
  }
}

}  // namespace nuv::test
