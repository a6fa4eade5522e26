#pragma once

// The steps of the right-looking LU factorisation, which its schedules put in order.

#include <nuv/nuv_lapack.h>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "threading/routines/columns.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {

/// What one task does: factors the panel `source`, updates `target` with it, or exchanges rows in `target` by its
/// pivots.
struct LuTask {
  enum class Kind { none, panel, update, exchange } kind = Kind::none;
  Columns source = {}, target = {};
  bool is_none() const { return kind == Kind::none; }
};

/// An m by n matrix on the way to its factors, and its pivots.
struct LuSteps {
  Int m;
  Matrix<double> A;
  Int* ipiv;

  /// Does a task. Gives the position of a pivot that is exactly zero, or 0.
  Int run(const LuTask& task) const {
    switch (task.kind) {
      case LuTask::Kind::none:
        break;
      case LuTask::Kind::panel:
        return factor(task.source);
      case LuTask::Kind::update:
        update(task.source, task.target);
        break;
      case LuTask::Kind::exchange:
        exchange(task.source, task.target);
        break;
    }
    return 0;
  }

 private:
  /// Factors a panel by the serial body. Gives the position of a pivot that is exactly zero, or 0.
  Int factor(Columns panel) const {
    const Int j = panel.from;
    Int info = 0;
    x_variant::getrf(m - j, panel.count(), nuv::block(A, j + 1, j + 1), ipiv + j, info);
    for (Int i = j; i < panel.until; ++i) ipiv[i] += j;
    return info > 0 ? info + j : 0;
  }

  void exchange(Columns pivots, Columns target) const {
    const Int columns = target.count(), first = pivots.from + 1, last = pivots.until, one = 1;
    nuv_lapack_dlaswp(&columns, A.at(1, target.from + 1), &A.ld, &first, &last, ipiv, &one);
  }

  /// Brings columns up to date with a panel to their left: those of U beside it, and what lies below them.
  void update(Columns panel, Columns target) const {
    exchange(panel, target);
    const Int jb = panel.count(), r = target.count(), below = m - panel.until;
    const Matrix<double> A12 = nuv::block(A, panel.from + 1, target.from + 1);
    blas::trsm('L', 'L', 'N', 'U', jb, r, 1.0, nuv::block(A, panel.from + 1, panel.from + 1), A12);
    if (below > 0) {
      blas::gemm('N', 'N', below, r, jb, -1.0, nuv::block(A, panel.until + 1, panel.from + 1), A12, 1.0,
                 nuv::block(A, panel.until + 1, target.from + 1));
    }
  }
};

}  // namespace nuv::threading::inline NUV_ISA
