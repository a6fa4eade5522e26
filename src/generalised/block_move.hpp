#pragma once

// Moves of diagonal blocks of a pencil in generalised Schur form, real or complex.

#include "generalised/pencil_form.hpp"
#include "generalised/pencil_reordering.hpp"

namespace nuv {

/// Moves a diagonal block to another row, as tgexc does; false if that failed.
///
/// work    lwork elements, at least 4 n + 16; not touched for complex forms
template <Scalar T>
bool move_block(const PencilForm<T>& form, Int from, Int to, T* work, Int lwork) {
  const auto& [wantq, wantz, n, A, B, Q, Z] = form;
  Int info;
  if constexpr (RealScalar<T>) {
    tgexc(to_logical(wantq), to_logical(wantz), n, A.data, A.ld, B.data, B.ld, Q.data, Q.ld, Z.data, Z.ld, from, to,
          work, lwork, info);
  } else {
    tgexc(to_logical(wantq), to_logical(wantz), n, A.data, A.ld, B.data, B.ld, Q.data, Q.ld, Z.data, Z.ld, from, to,
          info);
  }
  return info == 0;
}

}  // namespace nuv
