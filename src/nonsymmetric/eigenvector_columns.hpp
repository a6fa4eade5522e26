#pragma once

// What the eigenvectors of quasi-triangular and of triangular matrices have in common: what is asked for, and what
// becomes of a vector once substitution has found it.

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/abs1.hpp"
#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

struct WantedVectors {
  bool right, left, transformed, selected;

  WantedVectors(char side, char howmny)
      : right(is_one_of(side, 'R', 'B')),
        left(is_one_of(side, 'L', 'B')),
        transformed(same_letter(howmny, 'B')),
        selected(same_letter(howmny, 'S')) {}
};

/// 0, or minus the position of the first bad argument among those before mm.
inline Int check_wanted_vectors(char side, char howmny, Int n, Int ldt, Int ldvl, Int ldvr) {
  const WantedVectors wanted(side, howmny);
  if (!wanted.right && !wanted.left) return -1;
  if (!is_one_of(howmny, 'A', 'B', 'S')) return -2;
  if (n < 0) return -4;
  if (ldt < std::max(1, n)) return -6;
  if (ldvl < 1 || (wanted.left && ldvl < n)) return -8;
  if (ldvr < 1 || (wanted.right && ldvr < n)) return -10;
  return 0;
}

/// Between which numbers substitution with a matrix of order n stays.
template <RealScalar R>
struct SubstitutionRange {
  R smallest, largest;

  explicit SubstitutionRange(Int n)
      : smallest(Machine<R>::safe_min * (R(n) / Machine<R>::precision)),
        largest((1 - Machine<R>::precision) / smallest) {}
};

/// Sums of the magnitudes (|re| + |im|) in each column of the strict upper triangle of a matrix of order n.
template <Scalar T>
void sum_columns_above_diagonal(Int n, Matrix<const T> A, Real<T>* sums) {
  for (Int j = 1; j <= n; ++j) sums[j - 1] = blas::asum(j - 1, column(A, 1, j));
}

/// A vector, or one part of a complex pair's: its elements in rows first ... first + count - 1, and the one of its own
/// diagonal element in row own; the others are zero.
template <Scalar T>
struct SubstitutedVector {
  const T* x;
  Int own, first, count;
};

/// Column j := the vector; or, where V is a matrix to multiply by, V x, the columns that it takes being untouched yet.
template <Scalar T>
void store_vector(Int n, const SubstitutedVector<T>& vector, bool transformed, Matrix<T> V, Int j) {
  const auto& [x, own, first, count] = vector;
  const Vector<const T> others{x + (first - 1), 1};
  if (!transformed) {
    std::fill_n(V.at(1, j), n, T(0));
    blas::copy(count, others, column(V, first, j));
    V(own, j) = x[own - 1];
  } else if (count > 0) {
    blas::gemv('N', n, count, T(1), block(V, 1, first), others, x[own - 1], column(V, 1, j));
  } else {
    blas::scal(n, x[own - 1], column(V, 1, j));
  }
}

}  // namespace nuv
