#pragma once

#include <algorithm>

#include "frame/option_matching.hpp"

namespace nuv::threading::inline NUV_ISA {

/// 0, or minus the position of the first bad argument of transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc.
inline Int check_gemm(char transa, char transb, Int m, Int n, Int k, Int lda, Int ldb, Int ldc) {
  if (!is_one_of(transa, 'N', 'T', 'C')) return -1;
  if (!is_one_of(transb, 'N', 'T', 'C')) return -2;
  if (m < 0) return -3;
  if (n < 0) return -4;
  if (k < 0) return -5;
  if (lda < std::max(1, same_letter(transa, 'N') ? m : k)) return -8;
  if (ldb < std::max(1, same_letter(transb, 'N') ? k : n)) return -10;
  if (ldc < std::max(1, m)) return -13;
  return 0;
}

}  // namespace nuv::threading::inline NUV_ISA
