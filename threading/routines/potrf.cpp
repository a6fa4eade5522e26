#include <algorithm>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds from which several threads pay, measured on two.
constexpr double least_work = 10e6;

}  // namespace

/// Cholesky factorisation of a positive definite matrix: the checks that the serial body leaves out, then that body.
/// Nearly all of its work is in products with the columns done so far, which find the threads by themselves.
template <Scalar T>
void potrf(char uplo, Int n, T* a, Int lda, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  if (info != 0) return report_bad_argument<T>("POTRF", info);
  const Team team(real_multiply_adds<T>(n, n, n) / 6, least_work);
  x_variant::potrf(uplo, n, Matrix{a, lda}, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/potrf.entries.inc"
