#pragma once

// What the QR iterations on small Hessenberg matrices have in common: when a subdiagonal element counts as zero, and
// the loop that isolates eigenvalues at the lower end, one block of the Schur form after another.

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/abs1.hpp"
#include "environment/machine_constants.hpp"

namespace nuv {

/// When a subdiagonal element may be set to zero: if that is negligible beside its diagonal neighbours, and if it moves
/// the eigenvalues of the block of order two around it by no more than rounding errors do (M. Ahues and F. Tisseur,
/// "A new deflation criterion for the QR algorithm", 1997).
template <Scalar T>
struct DeflationCriterion {
  using R = Real<T>;

  Matrix<T> H;
  Int first, last;  ///< rows and columns that are not decoupled yet
  R smlnum;         ///< what is zero in any company

  DeflationCriterion(Matrix<T> H_, Int first_, Int last_, Int order)
      : H(H_), first(first_), last(last_), smlnum(Machine<R>::safe_min * (R(order) / Machine<R>::precision)) {}

  /// Whether h(k, k - 1) may be set to zero.
  ///
  /// s       a sum that the second condition is scaled by; left alone where the first one decides
  bool holds(Int k, R& s) const {
    constexpr R ulp = Machine<R>::precision;
    const R subdiagonal = abs1(H(k, k - 1)), diagonal = abs1(H(k, k));
    if (subdiagonal <= smlnum) return true;
    R neighbours = abs1(H(k - 1, k - 1)) + diagonal;
    if (neighbours == 0) {
      if (k - 2 >= first) neighbours += abs1(H(k - 1, k - 2));
      if (k + 1 <= last) neighbours += abs1(H(k + 1, k));
    }
    if (!(subdiagonal <= ulp * neighbours)) return false;

    const R superdiagonal = abs1(H(k - 1, k)), difference = abs1(H(k - 1, k - 1) - H(k, k));
    const R ab = std::max(subdiagonal, superdiagonal), ba = std::min(subdiagonal, superdiagonal);
    const R aa = std::max(diagonal, difference), bb = std::min(diagonal, difference);
    s = aa + ab;
    return ba * (ab / s) <= std::max(smlnum, ulp * (bb * (aa / s)));
  }
};

/// A Hessenberg matrix on its way to Schur form, and what its transformations reach.
template <Scalar T>
struct SchurIteration {
  using R = Real<T>;

  bool wantt, wantz;
  Int n, ilo, ihi;
  Matrix<T> H;
  Int iloz, ihiz;
  Matrix<T> Z;
  Int i1 = 1, i2 = n;  ///< rows and columns of H that are transformed; without wantt, those of the active block
  /// The sum by which something was scaled last. An exceptional shift takes it as it is.
  R s = 0;

  /// Of real matrices, blocks of order two are left with conjugate pairs.
  static constexpr Int largest_block = RealScalar<T> ? 2 : 1;
  static constexpr int last_sweep = 30;

  static bool is_exceptional(int its) { return its == 10 || its == 20; }

  Int rows_of_z() const { return ihiz - iloz + 1; }

  /// Sets to zero what stands two and three below the diagonal.
  void clear_below_subdiagonal() const {
    for (Int j = ilo; j <= ihi - 3; ++j) H(j + 2, j) = H(j + 3, j) = T(0);
    if (ilo <= ihi - 2) H(ihi, ihi - 2) = T(0);
  }
};

/// Sweeps over the rows up to i until a block l ... i of at most as many rows is decoupled as is left alone in a Schur
/// form. False if that takes too long.
///
/// iteration   a SchurIteration with `sweep(its, l, i)`, which transforms the active block l ... i
template <class Iteration>
bool decouple(Iteration& iteration, Int& l, Int i) {
  const auto H = iteration.H;
  const DeflationCriterion criterion(H, iteration.ilo, iteration.ihi, iteration.ihi - iteration.ilo + 1);
  l = iteration.ilo;
  for (int its = 0; its <= Iteration::last_sweep; ++its) {
    Int k = i;
    while (k > l && !criterion.holds(k, iteration.s)) --k;
    l = k;
    if (l > iteration.ilo) H(l, l - 1) = 0;
    if (l > i - Iteration::largest_block) return true;
    if (!iteration.wantt) {
      iteration.i1 = l;
      iteration.i2 = i;
    }
    iteration.sweep(its, l, i);
  }
  return false;
}

/// Decouples all blocks. 0, or the last row of the one that would not come off.
///
/// iteration   with `finish(l, i)`, which stores the eigenvalues of a block l ... i
template <class Iteration>
Int decouple_all(Iteration& iteration) {
  for (Int i = iteration.ihi, l; i >= iteration.ilo; i = l - 1) {
    if (!decouple(iteration, l, i)) return i;
    iteration.finish(l, i);
  }
  return 0;
}

}  // namespace nuv
