#include "generalised/pencil_reordering.hpp"

#include <algorithm>

#include "frame/error_report.hpp"
#include "generalised/pencil_swap.hpp"
#include "nonsymmetric/travelling_block.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument up to ilst.
Int check(bool wantq, bool wantz, Int n, Int lda, Int ldb, Int ldq, Int ldz, Int ifst, Int ilst) {
  const Int least = std::max(1, n);
  if (n < 0) return -3;
  if (lda < least) return -5;
  if (ldb < least) return -7;
  if (ldq < (wantq ? least : 1)) return -9;
  if (ldz < (wantz ? least : 1)) return -11;
  if (n == 0) return 0;  // without rows, there is none to name
  if (ifst < 1 || ifst > n) return -12;
  if (ilst < 1 || ilst > n) return -13;
  return 0;
}

}  // namespace

template <RealScalar T>
void tgexc(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int& ifst,
           Int& ilst, T* work, Int lwork, Int& info) {
  info = check(is_true(wantq), is_true(wantz), n, lda, ldb, ldq, ldz, ifst, ilst);
  const std::int64_t least_work = n <= 1 ? 1 : 4 * std::int64_t{n} + 16;
  if (info == 0) {
    work[0] = as_work_size<T>(least_work);
    if (lwork < least_work && lwork != -1) info = -15;
  }
  if (info != 0) return report_bad_argument<T>("TGEXC", info);
  if (lwork == -1 || n <= 1) return;

  const auto swap = [=](Int at, Int first, Int second) {
    Int rejected;
    tgex2(wantq, wantz, n, a, lda, b, ldb, q, ldq, z, ldz, at, first, second, work, lwork, rejected);
    return rejected == 0;
  };
  TravellingBlock block(n, Matrix<const T>{a, lda}, ifst, swap);
  ifst = block.here();
  ilst = block.first_row(ilst);
  if (ifst == ilst) return;
  info = block.move_to(ilst) ? 0 : 1;
  ilst = block.here();
  work[0] = as_work_size<T>(least_work);
}

template <ComplexScalar T>
void tgexc(Logical wantq, Logical wantz, Int n, T* a, Int lda, T* b, Int ldb, T* q, Int ldq, T* z, Int ldz, Int ifst,
           Int& ilst, Int& info) {
  info = check(is_true(wantq), is_true(wantz), n, lda, ldb, ldq, ldz, ifst, ilst);
  if (info != 0) return report_bad_argument<T>("TGEXC", info);
  if (n <= 1) return;

  const bool forward = ifst < ilst;
  Int here = ifst;
  while (here != ilst && info == 0) {
    tgex2(wantq, wantz, n, a, lda, b, ldb, q, ldq, z, ldz, forward ? here : here - 1, info);
    if (info == 0) here += forward ? 1 : -1;
  }
  ilst = here;
}

}  // namespace nuv

#include "generalised/pencil_reordering.entries.inc"
