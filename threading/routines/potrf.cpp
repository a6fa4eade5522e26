#include <nuv/nuv_lapack.h>

#include <algorithm>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "threading/level3/parallel.hpp"
#include "threading/routines/cholesky_in_cache.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds from which several threads pay, measured on two: those of tasks, and those that share products.
constexpr double least_work_in_cache = 2e6, least_work = 10e6;

/// Lines that the serial body takes at a time.
template <Scalar T>
Int block_size(char uplo, Int n) {
  const Int ispec = 1, none = -1;
  const RoutineName<T> routine("POTRF");
  const Text name = routine;
  return nuv_lapack_ilaenv(&ispec, name.data, &uplo, &n, &none, &none, &none, name.length, 1);
}

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
  const double multiply_adds = real_multiply_adds<T>(n, n, n) / 6;
  if (multiply_adds >= least_work_in_cache && multiply_adds < least_work) {
    const int threads = available_threads();
    const Int nb = block_size<T>(uplo, n);
    if (threads > 1 && nb > 1 && nb < n && factor_cholesky_in_cache(uplo, n, nb, Matrix{a, lda}, info, threads)) return;
  }
  const Team team(multiply_adds, least_work);
  x_variant::potrf(uplo, n, Matrix{a, lda}, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/potrf.entries.inc"
