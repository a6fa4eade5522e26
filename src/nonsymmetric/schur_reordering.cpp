#include "nonsymmetric/schur_reordering.hpp"

#include <algorithm>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/block_swap.hpp"
#include "nonsymmetric/diagonal_blocks.hpp"
#include "nonsymmetric/eigenvalue_swap.hpp"

namespace nuv {
namespace {

/// 0, or minus the position of the first bad argument.
Int check(char compq, Int n, Int ldt, Int ldq, Int ifst, Int ilst) {
  const bool wantq = same_letter(compq, 'V');
  if (!wantq && !same_letter(compq, 'N')) return -1;
  if (n < 0) return -2;
  if (ldt < std::max(1, n)) return -4;
  if (ldq < (wantq ? std::max(1, n) : 1)) return -6;
  if (ifst < 1 || ifst > n) return -7;
  if (ilst < 1 || ilst > n) return -8;
  return 0;
}

/// A block on its way along the diagonal. Where one of order two splits, its two eigenvalues go on one behind the
/// other.
template <RealScalar R>
struct TravellingBlock {
  bool wantq;
  Int n;
  Matrix<R> S, Q;
  R* work;
  Int here = 0;   ///< its first row
  Int order = 0;  ///< 1 or 2
  bool is_split = false;

  bool is_pair(Int j) const { return nuv::is_pair<R>(S, n, j); }

  Int first_row(Int j) const { return is_pair(j - 1) ? j - 1 : j; }
  Int order_at(Int j) const { return is_pair(j) ? 2 : 1; }

  /// Swaps two neighbours; false if that is rejected.
  bool swap(Int at, Int first, Int second) const {
    Int info;
    laexc(to_logical(wantq), n, S.data, S.ld, Q.data, Q.ld, at, first, second, work, info);
    return info == 0;
  }

  void notice_split() { is_split = is_split || (order == 2 && !is_pair(here)); }

  /// Passes the block behind, or as much of it as it can.
  bool step_forward() {
    const Int behind = here + order, next = order_at(behind);
    if (!is_split) {
      if (!swap(here, order, next)) return false;
    } else {
      if (!swap(here + 1, 1, next)) return false;
      const bool in_parts = next == 2 && !is_pair(here + 1);
      if (!(in_parts ? swap(here, 1, 1) && swap(here + 1, 1, 1) : swap(here, 1, next))) return false;
    }
    here += next;
    notice_split();
    return true;
  }

  /// Passes the block in front.
  bool step_backward() {
    const Int next = is_pair(here - 2) ? 2 : 1;
    if (!is_split) {
      if (!swap(here - next, next, order)) return false;
    } else {
      if (!swap(here - next, next, 1)) return false;
      const bool in_parts = next == 2 && !is_pair(here - 1);
      if (!(in_parts ? swap(here, 1, 1) && swap(here - 1, 1, 1) : swap(here - next + 1, next, 1))) return false;
    }
    here -= next;
    notice_split();
    return true;
  }

  /// Where it has to begin so that it lies over the block that begins in row `to`, or ends where that does.
  Int destination(Int to) const {
    if (here >= to) return to;
    return to + order_at(to) - order;
  }

  /// Goes at least as far as that row; false if it could not.
  bool move(Int to) {
    const bool forward = here < to;
    while (forward ? here < to : here > to) {
      if (!(forward ? step_forward() : step_backward())) return false;
    }
    return true;
  }
};

}  // namespace

template <RealScalar T>
void trexc(char compq, Int n, T* t, Int ldt, T* q, Int ldq, Int& ifst, Int& ilst, T* work, Int& info) {
  info = check(compq, n, ldt, ldq, ifst, ilst);
  if (info != 0) return report_bad_argument<T>("TREXC", info);
  if (n <= 1) return;

  TravellingBlock<T> block{.wantq = same_letter(compq, 'V'), .n = n, .S = {t, ldt}, .Q = {q, ldq}, .work = work};
  ifst = block.first_row(ifst);
  ilst = block.first_row(ilst);
  if (ifst == ilst) return;
  block.here = ifst;
  block.order = block.order_at(ifst);
  info = block.move(block.destination(ilst)) ? 0 : 1;
  ilst = block.here;
}

template <ComplexScalar T>
void trexc(char compq, Int n, T* t, Int ldt, T* q, Int ldq, Int ifst, Int ilst, Int& info) {
  info = check(compq, n, ldt, ldq, ifst, ilst);
  if (info != 0) return report_bad_argument<T>("TREXC", info);

  const bool wantq = same_letter(compq, 'V');
  const Matrix S{t, ldt}, Q{q, ldq};
  for (Int j = ifst; j < ilst; ++j) swap_eigenvalues(wantq, n, S, Q, j);
  for (Int j = ifst; j > ilst; --j) swap_eigenvalues(wantq, n, S, Q, j - 1);
}

}  // namespace nuv

#include "nonsymmetric/schur_reordering.entries.inc"
