#pragma once

// What QR, LQ, QL and RQ factorisation have in common. Reflectors are made of columns (QR, QL) or rows (LQ, RQ), from
// the first (QR, LQ) or from the last (QL, RQ). A panel, here of reflectors i ... i + ib - 1 of k, leaves a rest C to
// which they are applied:
//
//     QR   R R | R      LQ   L . | .      QL  C | v v      RQ  C C | C
//          v R | C           L L | .          C | v v          ----+--
//          v v | C           ----+--          C | L v          v v | R
//          v v | C           C C | C          L | L L          v v   v R

#include <algorithm>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "orthogonal/reflector_steps.hpp"

namespace nuv {

/// Factors a matrix one reflector after another.
///
/// tau     as many as there are rows or columns, whichever are fewer, out;  work  an element for each line
template <Scalar T>
void factor_unblocked(const StoredReflectors<T>& lines, T* tau, T* work) {
  const Int k = std::min(lines.order(), lines.count());
  for (Int step = 1; step <= k; ++step) {
    const Int i = lines.forward() ? step : k + 1 - step, line = lines.line(i, k);
    const Range reach = lines.reach(line), tail = lines.tail(line);
    const auto turned = as_vector(lines, line, reach);
    const Vector<T> others = lines.along(tail.first, line);
    larfg(reach.count, lines(lines.unit(line), line), others.data, others.inc, tau[i - 1]);
    apply_reflector_beyond(lines, line, lines.columnwise() ? conjugate(tau[i - 1]) : tau[i - 1], work);
  }
}

/// 0, or minus the position of the first bad argument of m, n, a, lda.
inline Int check_matrix(Int m, Int n, Int lda) {
  if (m < 0) return -1;
  if (n < 0) return -2;
  if (lda < std::max(1, m)) return -4;
  return 0;
}

/// The exported unblocked routine of that name.
template <Scalar T, std::size_t Size>
void checked_unblocked(const char (&name)[Size], Form form, Int m, Int n, T* a, Int lda, T* tau, T* work, Int& info) {
  info = check_matrix(m, n, lda);
  if (info != 0) return report_bad_argument<T>(name, info);
  factor_unblocked(lines_of<T>(form, m, n, {a, lda}), tau, work);
}

}  // namespace nuv
