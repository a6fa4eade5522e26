#pragma once

// What merges of two halves of a bidiagonal matrix do before their secular equation, whatever they keep of the vectors.
//
// The values of both halves and the row that joins them are counted by slots: slot 1 is that row, whose value is zero,
// then follow the values of the first half and those of the second, each half in the order of its rows. A value needs
// no equation if its element of z is negligible, and of two that are nearly equal a rotation makes one whose element
// is zero. Negligible is what is no more than eight units of rounding of the last value or of the joining elements.

#include <algorithm>
#include <cmath>

#include "environment/machine_constants.hpp"
#include "environment/sorting.hpp"
#include "environment/sums_of_squares.hpp"
#include "symmetric/deflation_order.hpp"

namespace nuv {

/// Sizes of a merge: nl rows and nl + 1 columns, the row that joins, nr rows and nr + sqre columns.
struct MergedHalves {
  Int nl, nr, sqre;

  Int n() const { return nl + nr + 1; }
  Int m() const { return n() + sqre; }

  /// Columns of the second half.
  Int columns_behind() const { return nr + sqre; }

  /// The first half's right vector of no value, the last one of it. Where sqre is one the second half has one, too.
  Int null_line() const { return nl + 1; }

  /// The row of the singular vectors of a slot.
  Int line_of(Int slot) const {
    if (slot == 1) return null_line();
    return slot <= nl + 1 ? slot - 1 : slot;
  }

  /// 0, or minus the position of the first bad size, the first of which is argument `position`.
  Int check(Int position) const {
    if (nl < 1) return -position;
    if (nr < 1) return -(position + 1);
    return sqre < 0 || sqre > 1 ? -(position + 2) : 0;
  }

  /// Moves what belongs to lines of the first half into their slots; the first slot gets `joining`.
  template <class Element>
  void move_to_slots(Element* x, Element joining) const {
    std::copy_backward(x, x + nl, x + nl + 1);
    x[0] = joining;
  }
};

/// z := the joining row in terms of the right vectors.
///
/// last    last elements of the first half's nl + 1 right vectors;  first  first elements of the second half's
/// z       m elements by slots, the last of which is that of the second half's null vector, if there is one
template <RealScalar R>
void form_joining_row(const MergedHalves& halves, R alpha, const R* last, R beta, const R* first, R* z) {
  const Int nl = halves.nl;
  z[0] = alpha * last[nl];
  for (Int i = 0; i < nl; ++i) z[i + 1] = alpha * last[i];
  for (Int i = 0; i < halves.columns_behind(); ++i) z[nl + 1 + i] = beta * first[i];
}

/// What is negligible, with d by slots.
template <RealScalar R>
R negligible_in_merge(const MergedHalves& halves, const R* d, R alpha, R beta) {
  const R joining = std::max(std::abs(alpha), std::abs(beta));
  return 8 * Machine<R>::eps * std::max(std::abs(d[halves.n() - 1]), joining);
}

/// order(1) ... order(n - 1) := slots 2 to n in increasing order of d.
///
/// d       n elements by slots
/// idxq    n places: first the permutation that sorts the first half, its places counted from one; behind one place
///         that is not looked at that of the second half
/// sorted, merged   n places of scratch memory
template <RealScalar R>
void sort_slots(const MergedHalves& halves, const R* d, const Int* idxq, R* sorted, Int* merged, Int* order) {
  const Int nl = halves.nl, nr = halves.nr;
  const auto slot = [=](Int i) { return i < nl ? idxq[i] + 1 : idxq[i + 1] + nl + 1; };
  for (Int i = 0; i < nl + nr; ++i) sorted[i] = d[slot(i) - 1];
  lamrg(nl, nr, sorted, 1, 1, merged);
  for (Int i = 0; i < nl + nr; ++i) order[i] = slot(merged[i] - 1);
}

/// Finds the values that need no equation.
///
/// order   as above;  idxp  n slots: the k that are left in increasing order of d, the first of which is slot 1, then
///         the others in decreasing order
/// rotate(done, kept, c, s)   is told of each rotation of the vectors of two slots
///
/// Gives k.
template <RealScalar R, class Rotate>
Int deflate_slots(const MergedHalves& halves, const R* d, R* z, R negligible, const Int* order, Int* idxp,
                  Rotate rotate) {
  idxp[0] = 1;
  DeflationOrder<R> result(halves.n() - 1, d, idxp + 1);
  result.run(
      order, [=](Int slot) { return std::abs(z[slot - 1]) <= negligible; },
      [=](Int first, Int second) {
        if (!(std::abs(d[second - 1] - d[first - 1]) <= negligible)) return false;
        R &z1 = z[first - 1], &z2 = z[second - 1];
        const R length = lapy2(z2, z1);
        const R c = z2 / length, s = negated(z1) / length;
        z1 = 0;
        z2 = length;
        rotate(first, second, c, s);
        return true;
      });
  return 1 + result.k();
}

/// A rotation of the two null vectors: the first, slot 1, is to be c times it plus s times the other.
template <RealScalar R>
struct NullRotation {
  R c = 1, s = 0;
};

/// Takes the element of the second null vector from z to the first one. What is left for slot 1 is not negligible.
template <RealScalar R>
NullRotation<R> join_null_vectors(const MergedHalves& halves, R* z, R negligible) {
  const R z1 = z[0], z2 = halves.sqre == 1 ? z[halves.m() - 1] : R(0);
  const R length = halves.sqre == 1 ? lapy2(z1, z2) : std::abs(z1);
  if (length <= negligible) {
    z[0] = negligible;
    return {};
  }
  if (halves.sqre == 0) return {};
  z[0] = length;
  return {z1 / length, z2 / length};
}

/// dsigma := d in the order of idxp, and z in the same order, of which k elements are left. The values that are done
/// stand in the last n - k elements of d as well. The poles get distances from zero that can be seen.
template <RealScalar R>
void gather_poles(const MergedHalves& halves, Int k, R* d, R* z, R negligible, const Int* idxp, R* dsigma) {
  const Int n = halves.n();
  for (Int i = 0; i < k; ++i) dsigma[i] = z[idxp[i] - 1];
  std::copy_n(dsigma, k, z);
  for (Int i = 0; i < n; ++i) dsigma[i] = d[idxp[i] - 1];
  std::copy(dsigma + k, dsigma + n, d + k);
  if (k > 1 && dsigma[1] <= negligible / 2) dsigma[1] = negligible / 2;
}

}  // namespace nuv
