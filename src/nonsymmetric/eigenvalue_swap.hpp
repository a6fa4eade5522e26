#pragma once

// Exchange of two neighbouring eigenvalues on the diagonal of a Schur form, neither of them of a block of order two.

#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/rotation.hpp"

namespace nuv {

/// The rotation of (f, g) to (r, 0). Where f or g is infinite or NaN there is none, and it is NaN.
template <Scalar T>
void rotation_onto_first(T f, T g, Real<T>& cs, T& sn) {
  const auto spread = [](T x) { return (std::real(x) - std::real(x)) + (std::imag(x) - std::imag(x)); };
  const Real<T> none = spread(f) + spread(g);
  if (none == 0) {
    T r;
    lartg(f, g, cs, sn, r);
  } else {
    cs = none;
    sn = T(none);
  }
}

/// Rotates rows and columns j and j + 1 of a Schur form of order n, so that T(j, j) and T(j + 1, j + 1) change places:
/// the eigenvector for the second of the triangle that they make with T(j, j + 1), which stays as it is, is turned onto
/// the first axis. With wantq the columns of Q follow.
template <Scalar T>
void swap_eigenvalues(bool wantq, Int n, Matrix<T> S, Matrix<T> Q, Int j) {
  const T first = S(j, j), second = S(j + 1, j + 1);
  Real<T> cs;
  T sn;
  rotation_onto_first(S(j, j + 1), second - first, cs, sn);
  if (j + 2 <= n) blas::rot(n - j - 1, row(S, j, j + 2), row(S, j + 1, j + 2), cs, sn);
  blas::rot(j - 1, column(S, 1, j), column(S, 1, j + 1), cs, conjugate(sn));
  S(j, j) = second;
  S(j + 1, j + 1) = first;
  if (wantq) blas::rot(n, column(Q, 1, j), column(Q, 1, j + 1), cs, conjugate(sn));
}

}  // namespace nuv
