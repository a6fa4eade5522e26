#include "nonsymmetric/schur_reordering.hpp"

#include <algorithm>

#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/block_swap.hpp"
#include "nonsymmetric/eigenvalue_swap.hpp"
#include "nonsymmetric/travelling_block.hpp"

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

}  // namespace

template <RealScalar T>
void trexc(char compq, Int n, T* t, Int ldt, T* q, Int ldq, Int& ifst, Int& ilst, T* work, Int& info) {
  info = check(compq, n, ldt, ldq, ifst, ilst);
  if (info != 0) return report_bad_argument<T>("TREXC", info);
  if (n <= 1) return;

  const auto swap = [=](Int at, Int first, Int second) {
    Int rejected;
    laexc(to_logical(same_letter(compq, 'V')), n, t, ldt, q, ldq, at, first, second, work, rejected);
    return rejected == 0;
  };
  TravellingBlock block(n, Matrix<const T>{t, ldt}, ifst, swap);
  ifst = block.here();
  ilst = block.first_row(ilst);
  if (ifst == ilst) return;
  info = block.move_to(ilst) ? 0 : 1;
  ilst = block.here();
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
