#pragma once

// Norms of tridiagonal matrices, given by their three diagonals.

#include "environment/norms_sweep.hpp"

namespace nuv {

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

/// The matrix of order n with dl below and du above d, for n >= 1. The off-diagonals may be complex where d is real.
template <Scalar D, Scalar E>
Real<D> tridiagonal_norm(Norm norm, Int n, const E* dl, const D* d, const E* du) {
  switch (norm) {
    case Norm::largest:
      return larger(largest_magnitude(dl, n - 1), larger(largest_magnitude(du, n - 1), largest_magnitude(d, n)));
    case Norm::one:
      return largest_line_of_tridiagonal(n, du, d, dl);
    case Norm::infinity:
      return largest_line_of_tridiagonal(n, dl, d, du);
    case Norm::frobenius: {
      SquareSum<Real<D>> squares;
      squares.add(n - 1, dl);
      if (dl == du) {
        squares.double_it();
      } else {
        squares.add(n - 1, du);
      }
      squares.add(n, d);
      return squares.root();
    }
    case Norm::none:
      break;
  }
  return 0;
}

}  // namespace nuv
