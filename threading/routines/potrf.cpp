#include <algorithm>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "routines.hpp"
#include "threading/level3/parallel.hpp"
#include "threading/routines/cholesky_by_lines.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds from which several threads pay, measured on two.
constexpr double least_work = 2e6;

/// Lines that the serial body takes at a time.
template <Scalar T>
Int block_size(char uplo, Int n) {
  return routine_call::ilaenv(1, RoutineName<T>("POTRF"), {&uplo, 1}, n, -1, -1, -1);
}

/// Factors by tasks if there are several threads, and blocks; false with nothing done if not.
template <Scalar T>
bool factor_by_tasks(char uplo, Int n, Matrix<T> A, Int& info, Team& team) {
  const int threads = available_threads();
  if (threads <= 1) return false;
  const Int nb = block_size<T>(uplo, n);
  return nb > 1 && nb < n && factor_cholesky_by_lines(uplo, n, nb, A, info, threads, team);
}

}  // namespace

/// Cholesky factorisation of a positive definite matrix: the checks that the serial body leaves out, then that body, or
/// the same operations in another order.
template <Scalar T>
void potrf(char uplo, Int n, T* a, Int lda, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  if (info != 0) return report_bad_argument<T>("POTRF", info);
  Team team(real_multiply_adds<T>(n, n, n) / 6, least_work);
  if (factor_by_tasks(uplo, n, Matrix{a, lda}, info, team)) return;
  x_variant::potrf(uplo, n, Matrix{a, lda}, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/potrf.entries.inc"
