#pragma once

// The diagonal blocks of a Schur form, one after another.

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

}  // namespace nuv
