#pragma once

#include <algorithm>

#include "frame/option_matching.hpp"

namespace nuv::kernels::inline NUV_ISA {

/// 0, or minus the position of the first bad argument of uplo, trans, diag, n, a, lda, x, incx.
inline Int check_triangular_vector(char uplo, char trans, char diag, Int n, Int lda, Int incx) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!is_one_of(trans, 'N', 'T', 'C')) return -2;
  if (!is_one_of(diag, 'U', 'N')) return -3;
  if (n < 0) return -4;
  if (lda < std::max(1, n)) return -6;
  if (incx == 0) return -8;
  return 0;
}

}  // namespace nuv::kernels::inline NUV_ISA
