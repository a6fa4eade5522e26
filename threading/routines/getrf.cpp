#include <algorithm>

#include "frame/error_report.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {

/// LU factorisation of a general m by n matrix with partial pivoting: the checks that the serial body leaves out, then
/// that body.
template <Scalar T>
void getrf(Int m, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  info = 0;
  if (m < 0) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, m)) info = -4;
  if (info != 0) return report_bad_argument<T>("GETRF", info);
  if (m == 0 || n == 0) return;
  x_variant::getrf(m, n, {a, lda}, ipiv, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/getrf.entries.inc"
