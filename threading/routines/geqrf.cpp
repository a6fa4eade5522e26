#include <algorithm>

#include "frame/error_report.hpp"
#include "threading/level3/parallel.hpp"
#include "threading/routines/qr_by_strips.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds from which several threads pay, measured on two.
constexpr double least_work = 12e6;

}  // namespace

/// QR factorisation of a general m by n matrix: the checks that the serial body leaves out, then the same operations in
/// another order, or that body, nearly all of whose work is in products that find the threads by themselves.
template <Scalar T>
void geqrf(Int m, Int n, T* a, Int lda, T* tau, T* work, Int lwork, Int& info) {
  info = 0;
  if (m < 0) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, m)) info = -4;
  else if (lwork < std::max(1, n) && lwork != -1) info = -7;
  if (info != 0) return report_bad_argument<T>("GEQRF", info);
  const bool by_strips = lwork != -1 && is_factored_by_strips(m, n);
  Team team(real_multiply_adds<T>(m, n, std::min(m, n)), by_strips ? 0 : least_work);
  const int threads = by_strips ? available_threads() : 1;
  if (threads > 1 && factor_qr_by_strips(m, n, a, lda, tau, work, lwork, info, threads, team)) return;
  x_variant::geqrf(m, n, Matrix{a, lda}, tau, work, lwork, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/geqrf.entries.inc"
