#pragma once

// Steps of which the routines that work with stored reflectors are made. nw is the size of C that is not the order of
// the reflectors.

#include <algorithm>
#include <utility>

#include "environment/conjugated.hpp"
#include "orthogonal/householder.hpp"
#include "orthogonal/stored_reflectors.hpp"

namespace nuv {

// ------------------------------------------------------------------------------------------------------ one reflector

/// Some elements of a reflector as those of a vector, while the result lives: where they stand in a row, as conjugates,
/// they are conjugated, and again on the way out.
template <Scalar T>
[[nodiscard]] Conjugated<T> as_vector(const StoredReflectors<T>& V, Int i, Range elements) {
  return {elements.count, V.along(elements.first, i), !V.columnwise()};
}

/// C := H C (side 'L') or C H for reflector i, which stands as a vector, with this tau. Its unit element is put in
/// place for so long.
///
/// work    nw elements
template <Scalar T>
void apply_reflector(const StoredReflectors<T>& V, Int i, char side, T tau, Int nw, Matrix<T> C, T* work) {
  const bool left = same_letter(side, 'L');
  const Range reach = V.reach(i);
  const Vector<T> v = V.along(reach.first, i);
  T& unit = V(V.unit(i), i);
  const T kept = std::exchange(unit, T(1));
  larf(side, left ? reach.count : nw, left ? nw : reach.count, v.data, v.inc, tau, C.data, C.ld, work);
  unit = kept;
}

/// The same for the lines beyond that of the reflector: from the left if they are columns, else from the right.
///
/// work    an element for each of them
template <Scalar T>
void apply_reflector_beyond(const StoredReflectors<T>& lines, Int line, T tau, T* work) {
  const Range beyond = lines.beyond({line, 1});
  if (beyond.count == 0) return;
  apply_reflector(lines, line, lines.columnwise() ? 'L' : 'R', tau, beyond.count,
                  lines.from(lines.reach(line).first, beyond.first), work);
}

// ----------------------------------------------------------------------------------------------- a block of reflectors

/// Calls visit(range) for k > 0 reflectors in blocks of nb, the first block from reflector 1, in rising or falling
/// order.
template <class Visit>
void for_blocks_in_order(Int k, Int nb, bool ascends, Visit visit) {
  const Int blocks = (k - 1) / nb + 1;
  for (Int step = 0; step < blocks; ++step) {
    const Int i = 1 + (ascends ? step : blocks - 1 - step) * nb;
    visit(Range{i, std::min(nb, k - i + 1)});
  }
}

/// The factor T of a block of reflectors, as larft forms it, but for any memory: where the pool refuses some, the same
/// T is formed without, and nobody hears of it.
///
/// t       k by k; the triangle is written
template <Scalar T>
void form_factor(const StoredReflectors<const T>& V, const T* tau, Matrix<T> t);

/// C := op(H) C or C op(H) as larfb makes it of its letters.
///
/// W       nw by k, workspace
template <Scalar T>
void apply_block(const StoredReflectors<T>& V, char side, char trans, Matrix<T> t, Int nw, Matrix<T> C, Matrix<T> W) {
  const bool left = same_letter(side, 'L');
  const Matrix<T> own = V.from(1, 1);
  larfb(side, trans, V.form().direct(), V.form().storev(), left ? V.order() : nw, left ? nw : V.order(), V.count(),
        own.data, own.ld, t.data, t.ld, C.data, C.ld, W.data, W.ld);
}

/// The same for the lines beyond a block: from the left if they are columns, else from the right. Forms the factor.
///
/// work    a column of ldwork >= lines.count() elements for each reflector: T in the first rows, W below
template <Scalar T>
void apply_block_beyond(const StoredReflectors<T>& lines, Range own, char trans, const T* tau, T* work, Int ldwork) {
  const Range beyond = lines.beyond(own), reach = lines.reach(own);
  if (beyond.count == 0) return;
  const StoredReflectors<T> V = lines.part(reach, own);
  const Matrix<T> t{work, ldwork}, W{work + own.count, ldwork};
  form_factor<T>(V, tau, t);
  apply_block(V, lines.columnwise() ? 'L' : 'R', trans, t, beyond.count, lines.from(reach.first, beyond.first), W);
}

}  // namespace nuv
