#pragma once

// Norms of tridiagonal matrices, given by their diagonals.

#include "environment/norms_sweep.hpp"

namespace nuv {

/// dl below and du above d.
template <Scalar T>
struct GeneralTridiagonal {
  const T* dl;
  const T* d;
  const T* du;

  SquareSum<Real<T>> squares(Int n) const {
    SquareSum<Real<T>> sum;
    sum.add(n, d);
    sum.add(n - 1, dl);
    sum.add(n - 1, du);
    return sum;
  }
};

/// e on both sides of d, or its conjugates on one of them: e may be complex where d is real.
template <Scalar D, Scalar E>
struct SymmetricTridiagonal {
  const E* dl;
  const D* d;
  const E* du;

  SymmetricTridiagonal(const D* d, const E* e) : dl(e), d(d), du(e) {}

  SquareSum<Real<D>> squares(Int n) const {
    SquareSum<Real<D>> sum;
    sum.add(n - 1, dl);
    sum.sumsq *= 2;
    sum.add(n, d);
    return sum;
  }
};

/// The largest sum of magnitudes d(i) + next(i) + previous(i - 1): with dl and du the one-norm, with du and dl the
/// infinity-norm.
template <Scalar D, Scalar E>
Real<D> largest_line_of_tridiagonal(Int n, const E* previous, const D* d, const E* next) {
  Real<D> value = 0;
  for (Int i = 0; i < n; ++i) {
    Real<D> sum = magnitude(d[i]);
    if (i < n - 1) sum += magnitude(next[i]);
    if (i > 0) sum += magnitude(previous[i - 1]);
    value = larger(sum, value);
  }
  return value;
}

/// Norm of a matrix of order n >= 1.
template <class Tridiagonal>
auto tridiagonal_norm(Norm norm, Int n, const Tridiagonal& A) -> decltype(A.squares(n).root()) {
  switch (norm) {
    case Norm::largest:
      return larger(largest_magnitude(A.dl, n - 1), larger(largest_magnitude(A.du, n - 1), largest_magnitude(A.d, n)));
    case Norm::one:
      return largest_line_of_tridiagonal(n, A.du, A.d, A.dl);
    case Norm::infinity:
      return largest_line_of_tridiagonal(n, A.dl, A.d, A.du);
    case Norm::frobenius:
      return A.squares(n).root();
    case Norm::none:
      break;
  }
  return 0;
}

}  // namespace nuv
