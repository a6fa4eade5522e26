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
#include <utility>

#include "base/matrix.hpp"
#include "frame/error_report.hpp"
#include "orthogonal/forms.hpp"
#include "orthogonal/householder.hpp"

namespace nuv {

/// Some neighbouring reflectors and the part of the matrix that they are applied to.
template <Scalar T>
struct Panel {
  Int order;    ///< of the reflectors
  Matrix<T> V;  ///< their vectors: order by their number, or its transpose
  Int rest;     ///< columns of C, or its rows
  Matrix<T> C;

  Panel(Form form, Int m, Int n, Matrix<T> A, Int i, Int ib) : V(A), C(A) {
    const Int length = form.rowwise ? n : m, lines = form.rowwise ? m : n, k = std::min(m, n);
    if (form.backward) {
      const Int first = lines - k + i;
      order = length - k + i + ib - 1;
      V = form.rowwise ? block(A, first, 1) : block(A, 1, first);
      rest = first - 1;
    } else {
      order = length - i + 1;
      V = block(A, i, i);
      rest = lines - i - ib + 1;
      C = form.rowwise ? block(A, i + ib, i) : block(A, i, i + ib);
    }
  }
};

/// Factors an m by n matrix one reflector after another.
///
/// tau     min(m, n), out;  work  n (QR, QL) or m (LQ, RQ) elements
template <Scalar T>
void factor_unblocked(Form form, Int m, Int n, Matrix<T> A, T* tau, T* work) {
  const Int k = std::min(m, n);
  for (Int step = 1; step <= k; ++step) {
    const Int i = form.backward ? k + 1 - step : step;
    const Panel<T> panel(form, m, n, A, i, 1);
    const Vector<T> v = form.rowwise ? row(panel.V, 1, 1) : column(panel.V, 1, 1);
    if (form.rowwise) conjugate_vector(panel.order, v);

    T& corner = v.data[form.backward ? std::ptrdiff_t{panel.order - 1} * v.inc : 0];
    T* const others = form.backward ? v.data : v.data + v.inc;
    larfg(panel.order, corner, others, v.inc, tau[i - 1]);
    if (panel.rest > 0) {
      const T kept = std::exchange(corner, T(1));
      if (form.rowwise) {
        larf('R', panel.rest, panel.order, v.data, v.inc, tau[i - 1], panel.C.data, panel.C.ld, work);
      } else {
        larf('L', panel.order, panel.rest, v.data, v.inc, conjugate(tau[i - 1]), panel.C.data, panel.C.ld, work);
      }
      corner = kept;
    }
    if (form.rowwise) conjugate_vector(panel.order, v);
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
  factor_unblocked(form, m, n, {a, lda}, tau, work);
}

}  // namespace nuv
