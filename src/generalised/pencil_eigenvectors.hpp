#pragma once

// Eigenvectors of a pencil from its generalised Schur form and the Schur vectors, in their place.

#include "environment/extremes.hpp"
#include "generalised/pencil_spine.hpp"
#include "generalised/pencil_vectors.hpp"

namespace nuv {

/// The largest |re| + |im| of a vector, whose parts stand in one or in two columns of V from the j-th on. NaN where one
/// is.
template <Scalar T>
Real<T> largest_component(Int n, Matrix<T> V, Int j, Int parts) {
  Real<T> largest = 0;
  for (Int i = 1; i <= n; ++i) {
    largest = larger_or_nan(largest, abs1(V(i, j)) + (parts == 2 ? abs1(V(i, j + 1)) : Real<T>(0)));
  }
  return largest;
}

/// Makes the largest component of each vector one, unless it is too small for a quotient.
template <Scalar T>
void normalise(const PencilSpine<T>& spine, Matrix<T> V) {
  const Int n = spine.order();
  for (Int j = 1, parts; j <= n; j += parts) {
    parts = j < n && spine.values().alpha.starts_pair(j) ? 2 : 1;
    const Real<T> largest = largest_component(n, V, j, parts);
    if (largest < Machine<Real<T>>::safe_min) continue;
    for (Int p = 0; p < parts; ++p) blas::scal(n, 1 / largest, column(V, 1, j + p));
  }
}

/// The vectors that are wanted, of the pencil that was given. Returns 0, or n + 2 if there are none.
template <Scalar T>
Int find_eigenvectors(PencilSpine<T>& spine) {
  const Int n = spine.order();
  const Matrix<T> S = spine.a(), P = spine.b();
  const PencilVectors<T>& V = spine.vectors();
  const char side = V.left && V.right ? 'B' : V.left ? 'L' : 'R';
  Logical unused = 0;
  Int found = 0, info = 0;
  if constexpr (RealScalar<T>) {
    tgevc(side, 'B', &unused, n, S.data, S.ld, P.data, P.ld, V.L.data, V.L.ld, V.R.data, V.R.ld, n, found, spine.work(),
          info);
  } else {
    tgevc(side, 'B', &unused, n, S.data, S.ld, P.data, P.ld, V.L.data, V.L.ld, V.R.data, V.R.ld, n, found, spine.work(),
          spine.rwork(), info);
  }
  if (info != 0) return n + 2;
  spine.transform_back();
  if (V.left) normalise(spine, V.L);
  if (V.right) normalise(spine, V.R);
  return 0;
}

}  // namespace nuv
