#pragma once

// The diagonal blocks of a Schur form, one after another.

#include <cmath>

#include "base/matrix.hpp"

namespace nuv {

/// Whether a block of order two begins in row j of a Schur form of order n.
template <Scalar T>
bool is_pair(Matrix<const T> S, Int n, Int j) {
  if constexpr (RealScalar<T>) {
    return j >= 1 && j < n && S(j + 1, j) != 0;
  } else {
    return false;
  }
}

/// Rows and columns of a diagonal block.
struct DiagonalBlock {
  Int first, last;

  Int order() const { return last - first + 1; }
};

/// Calls visit(block) for each diagonal block of a Schur form of order n, from the first one on or from the last one.
template <Scalar T, class Visit>
void for_each_diagonal_block(Matrix<const T> S, Int n, bool ascending, Visit visit) {
  if (ascending) {
    for (Int j = 1; j <= n; ++j) {
      const Int first = j;
      if (is_pair(S, n, j)) ++j;
      visit(DiagonalBlock{first, j});
    }
  } else {
    for (Int j = n; j >= 1; --j) {
      const Int last = j;
      if (is_pair(S, n, j - 1)) --j;
      visit(DiagonalBlock{j, last});
    }
  }
}

/// The eigenvalues of a real Schur form of order n, as its blocks in standard form tell them.
template <RealScalar T>
void read_eigenvalues(Int n, Matrix<const T> S, T* wr, T* wi) {
  for_each_diagonal_block(S, n, true, [&](DiagonalBlock block) {
    const Int j = block.first, k = block.last;
    wr[j - 1] = S(j, j);
    wr[k - 1] = S(k, k);
    const T distance = j == k ? T(0) : std::sqrt(std::abs(S(j, k))) * std::sqrt(std::abs(S(k, j)));
    wi[j - 1] = distance;
    if (j != k) wi[k - 1] = negated(distance);
  });
}

}  // namespace nuv
