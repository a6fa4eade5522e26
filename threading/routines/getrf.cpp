#include <algorithm>

#include "frame/error_report.hpp"
#include "threading/level3/parallel.hpp"
#include "threading/routines/lu_by_strips.hpp"
#include "threading/routines/lu_in_cache.hpp"
#include "threading/runtime.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// The left-looking serial body, whose products find the threads by themselves.
template <Scalar T>
void factor(Int m, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  x_variant::getrf(m, n, {a, lda}, ipiv, info);
}

/// Real multiply-adds from which several threads pay, and columns from which the tasks of the right-looking body do,
/// measured on two threads.
constexpr double least_work = 90e6;
constexpr Int fewest_columns = 256;

template <>
void factor(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info) {
  const Int k = std::min(m, n);
  if (k >= fewest_columns) {
    const int threads = available_threads();
    if (threads > 1 && factor_by_strips(m, n, a, lda, ipiv, info, threads)) return;
  }
  x_variant::getrf(m, n, {a, lda}, ipiv, info);
}

/// Factors by tasks of some microseconds; false, with nothing done, if the matrix or the threads are not for them.
template <Scalar T>
bool factor_by_small_tasks(Int, Int, T*, Int, Int*, Int&) {
  return false;
}

template <>
bool factor_by_small_tasks(Int m, Int n, double* a, Int lda, Int* ipiv, Int& info) {
  const int threads = is_factored_in_cache(m, n) ? threads_for_short_work() : 1;
  if (threads <= 1) return false;
  note_wait(factor_in_cache(m, n, a, lda, ipiv, info, threads));
  return true;
}

}  // namespace

/// LU factorisation of a general m by n matrix with partial pivoting: the checks that the serial body leaves out, then
/// that body or, on several threads, the same operations in another order.
template <Scalar T>
void getrf(Int m, Int n, T* a, Int lda, Int* ipiv, Int& info) {
  info = 0;
  if (m < 0) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, m)) info = -4;
  if (info != 0) return report_bad_argument<T>("GETRF", info);
  if (m == 0 || n == 0) return;
  if (factor_by_small_tasks(m, n, a, lda, ipiv, info)) return;
  const Team team(real_multiply_adds<T>(m, n, std::min(m, n)), least_work);
  factor(m, n, a, lda, ipiv, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/getrf.entries.inc"
