#pragma once

// Blocks of the routines that solve least squares by QR and RQ factorisations.

#include <algorithm>

#include "environment/block_plan.hpp"

namespace nuv {

/// The largest block of the factorisations of an m by n matrix, and of products of their unitary factors with `other`
/// columns: workspace for the best of all of them is measured by it.
template <Scalar T>
Int best_block_size(Int m, Int n, Int other) {
  const Tuning<T> qr{.name = RoutineName<T>("GEQRF"), .n1 = m, .n2 = n};
  const Tuning<T> rq{.name = RoutineName<T>("GERQF"), .n1 = m, .n2 = n};
  const Tuning<T> apply_qr{.name = name_of<T>("ORMQR", "UNMQR"), .n1 = m, .n2 = n, .n3 = other};
  const Tuning<T> apply_rq{.name = name_of<T>("ORMRQ", "UNMRQ"), .n1 = m, .n2 = n, .n3 = other};
  return std::max({qr.block_size(), rq.block_size(), apply_qr.block_size(), apply_rq.block_size()});
}

}  // namespace nuv
