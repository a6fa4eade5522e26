#pragma once

#include <algorithm>

#include "frame/option_matching.hpp"

namespace nuv::threading {

/// 0, or minus the position of the first bad argument of side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb.
inline Int check_triangular_matrix(char side, char uplo, char transa, char diag, Int m, Int n, Int lda, Int ldb) {
  if (!is_one_of(side, 'L', 'R')) return -1;
  if (!is_one_of(uplo, 'U', 'L')) return -2;
  if (!is_one_of(transa, 'N', 'T', 'C')) return -3;
  if (!is_one_of(diag, 'U', 'N')) return -4;
  if (m < 0) return -5;
  if (n < 0) return -6;
  if (lda < std::max(1, same_letter(side, 'L') ? m : n)) return -9;
  if (ldb < std::max(1, m)) return -11;
  return 0;
}

/// The indices 1 to n, upward or downward: the order in which a triangular product or solve may overwrite its operand.
template <class Visit>
void walk(Int n, bool upward, Visit visit) {
  if (upward) {
    for (Int i = 1; i <= n; ++i) visit(i);
  } else {
    for (Int i = n; i >= 1; --i) visit(i);
  }
}

}  // namespace nuv::threading
